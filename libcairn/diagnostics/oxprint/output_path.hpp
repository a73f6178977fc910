// The output path's shared pieces: the final writer, the formatted and the
// converted text, and the stream tests.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace cairn::oxprint {

// Formatted text kept on the stack when short (at most 19455 bytes), on
// the heap when longer.  When the heap cannot be had the text is cut.  An
// optional `lead` goes ahead of the formatted text (a debug line's prefix),
// so that a whole line is made in one buffer.
class FormattedText {
public:
    static constexpr std::size_t kStackSize = 19456;

    FormattedText(const char *fmt, va_list ap, const char *lead = "", std::size_t lead_len = 0);
    ~FormattedText();
    FormattedText(const FormattedText &) = delete;
    FormattedText &operator=(const FormattedText &) = delete;

    const char *data() const { return heap_ ? heap_ : stack_; }
    std::size_t size() const { return size_; }

private:
    char stack_[kStackSize];
    char *heap_ = nullptr;
    std::size_t size_ = 0;
};

// UTF-8 text in the locale's encoding for a converted stream or terminal:
// the text itself when the locale passes UTF-8 through, or when the
// conversion buffer cannot be allocated.
class LocaleText {
public:
    LocaleText(const char *utf8, std::size_t len);
    ~LocaleText();
    LocaleText(const LocaleText &) = delete;
    LocaleText &operator=(const LocaleText &) = delete;

    const char *data() const { return text_; }

private:
    const char *text_;
    char *owned_ = nullptr;
    char stack_[4096];
};

// The final writer: the hook when one is installed, else the default.
int write_formatted(FILE *stream, const char *fmt, va_list ap);
int write_text(FILE *stream, const char *text);
bool writer_hook_installed();

// A terminal or other character device.
bool is_console(int fd);

// The message subsystem's open log stream, which gets its own treatment.
FILE *message_log_stream();
void set_message_log_stream(FILE *stream);

}  // namespace cairn::oxprint
