// The printf family of the output path: format once, then decide by the
// stream whether the text goes out as UTF-8 or in the locale's encoding.
#include <cerrno>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "diagnostics/oxprint/excepted_fds.hpp"
#include "diagnostics/oxprint/output_path.hpp"

using namespace cairn::oxprint;

extern "C" {

int ox_vfprintf(FILE *stream, const char *fmt, va_list ap)
{
    if (stream == nullptr || fmt == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    const int fd = fileno(stream);
    const bool utf8 = is_utf8_descriptor(fd);
    const bool console = is_console(fd);
    if (utf8 && !console && stream != message_log_stream())
        return write_formatted(stream, fmt, ap);

    FormattedText text(fmt, ap);
    if (text.size() == 0)
        return 0;
    if (utf8 && !console)  // the message log: its text stays UTF-8 here
        return write_text(stream, text.data());
    if (!console && writer_hook_installed())
        return write_text(stream, text.data());  // the hook converts, if at all
    LocaleText converted(text.data(), text.size());
    return write_text(stream, converted.data());
}

int ox_fprintf(FILE *stream, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vfprintf(stream, fmt, ap);
    va_end(ap);
    return n;
}

int ox_vprintf(const char *fmt, va_list ap) { return ox_vfprintf(stdout, fmt, ap); }

int ox_printf(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vfprintf(stdout, fmt, ap);
    va_end(ap);
    return n;
}

}  // extern "C"
