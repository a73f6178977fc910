// Single characters and lengths: decoding and encoding one character, the
// validity tests and the length counters.
#include <cstring>

#include "cairn/text.h"
#include "text/text_result.hpp"
#include "text/utf8_codec.hpp"

using namespace cairn;
using text::set_if;

namespace {

inline const unsigned char *bytes(const char *s)
{
    return reinterpret_cast<const unsigned char *>(s);
}

}  // namespace

extern "C" {

int ox_utf8_to_wc(ox_wchar *wc, const char *s, size_t avail, int *len)
{
    set_if(len, -1);
    if (s == nullptr || avail == 0)
        return text::bad_arguments();
    if (*s == '\0') {
        set_if(wc, ox_wchar{0});
        set_if(len, 0);
        return text::bad_arguments();
    }
    uint32_t value = 0;
    int n = utf8::decode(bytes(s), avail, &value);
    if (n == utf8::kInvalid)
        return text::kReplaced;
    set_if(wc, static_cast<ox_wchar>(value));
    set_if(len, n);
    return text::kOk;
}

int ox_wc_to_utf8(char *out, ox_wchar wc, int *len)
{
    if (out == nullptr) {
        set_if(len, 0);
        return text::bad_arguments();
    }
    int n = utf8::encode(wc, reinterpret_cast<unsigned char *>(out));
    set_if(len, n);
    return text::kOk;
}

int ox_utf8_len(const char *s, size_t avail)
{
    if (s == nullptr)
        return 0;
    if (avail == 0)
        return utf8::kInvalid;
    if (*s == '\0')
        return 0;
    uint32_t value = 0;
    return utf8::decode(bytes(s), avail, &value);
}

int ox_utf8s_len(const char *s)
{
    if (s == nullptr)
        return 0;
    const unsigned char *p = bytes(s);
    int count = 0;
    uint32_t value = 0;
    while (*p) {
        int n = utf8::decode(p, SIZE_MAX, &value);
        if (n == utf8::kInvalid)
            return -1;
        p += n;
        ++count;
    }
    return count;
}

int is_utf8_mb(const char *s, size_t avail)
{
    if (s == nullptr || avail == 0)
        return 0;
    uint32_t value = 0;
    return *s == '\0' || utf8::decode(bytes(s), avail, &value) != utf8::kInvalid;
}

int is_utf8_mbs(const char *s) { return ox_utf8s_len(s) >= 0; }

int utf8_num_bytes_in_next_utf8_char(const char *s)
{
    if (s == nullptr || *s == '\0')
        return 0;
    const unsigned char *p = bytes(s);
    if (p[1] == '\0' || p[0] < 0xC0)
        return 1;
    int n = 1;
    while (n < utf8::kMaxSequence && utf8::is_continuation(p[n]))
        ++n;
    return n;
}

size_t ox_calc_utf8_len(const char *s)
{
    if (s == nullptr)
        return 0;
    size_t n = 0;
    for (const unsigned char *p = bytes(s); *p; ++p)
        n += *p < 0x80 ? 1 : 2;
    return n;
}

}  // extern "C"
