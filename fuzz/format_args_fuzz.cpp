// Formats from arbitrary bytes: the argument counter, and the formatter
// itself with a fetcher table that hands out harmless values instead of
// reading an argument list, in bounded and sized allocating modes.
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/text.h"
#include "platform/alloc.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// Readable both as the narrow text "ab" and as the wide text "ab".
const uint16_t kDualText[4] = {0x6261, 0, 0x62, 0};
const ox_wchar kWideText[3] = {'a', 'b', 0};

void fetch_int(va_list *, ox_fmt_arg *slot) { slot->i = 42; }
void fetch_unsigned(va_list *, ox_fmt_arg *slot) { slot->u = 0xBEEFu; }
void fetch_double(va_list *, ox_fmt_arg *slot) { slot->d = -1.5; }
void fetch_long_double(va_list *, ox_fmt_arg *slot) { slot->ld = 2.25L; }
void fetch_text(va_list *, ox_fmt_arg *slot) { slot->p = kDualText; }
void fetch_wide(va_list *, ox_fmt_arg *slot) { slot->p = kWideText; }

const ox_fmt_fetchers kHarmless = {{fetch_int, fetch_int, fetch_unsigned, fetch_wide, fetch_text,
                                    fetch_double, fetch_long_double, fetch_text, fetch_text,
                                    fetch_text}};

int format(char *buf, size_t size, char **result, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = i18n_vsnprintf_map(buf, size, result, &kHarmless, nullptr, fmt, ap);
    va_end(ap);
    return n;
}

// Widths and precisions of millions are correct but slow to produce (the C
// library makes every digit of a huge float precision): keep numbers short.
bool has_long_number(const char *s)
{
    int run = 0;
    for (; *s; ++s) {
        run = (*s >= '0' && *s <= '9') ? run + 1 : 0;
        if (run > 4)
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::vector<char> fmt(data, data + size);
    fmt.push_back('\0');
    int count = get_formatted_args_num(fmt.data());
    check(count >= 0);
    if (has_long_number(fmt.data()))
        return 0;

    for (size_t out_size : {size_t{1}, size_t{7}, size_t{300}}) {
        std::vector<char> out(out_size);
        int n = format(out.data(), out_size, nullptr, fmt.data());
        // "%c" may put a NUL byte inside the text: check the terminator only.
        check(n >= 0 && static_cast<size_t>(n) < out_size && out[static_cast<size_t>(n)] == '\0');
    }
    char *text = nullptr;
    int n = format(nullptr, 4096, &text, fmt.data());
    if (text != nullptr) {
        check(n >= 0 && n < 4096 && text[n] == '\0');
        cairn::mem_free(text);
    } else {
        check(n == 0);  // a failed format: positions, or a specification too long
    }
    return 0;
}
