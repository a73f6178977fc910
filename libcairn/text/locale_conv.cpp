// UTF-8 and the current locale's multibyte text.  The C library's restartable
// conversions are used with a private state, so that the calls are safe in
// every thread.
#include "text/locale_conv.hpp"

#include <langinfo.h>

#include <climits>
#include <cstring>
#include <cwchar>

#include "cairn/text.h"
#include "text/text_result.hpp"
#include "text/utf8_codec.hpp"

using namespace cairn;
using text::set_if;

namespace {

// The longest multibyte character the reader asks the C library about.
constexpr std::size_t kMaxMultibyte = 5;

// Raw bytes 0x80..0xFF travel through UTF-8 as U+F880..U+F8FF.
constexpr uint32_t kRawByteFirst = 0xF880;
constexpr uint32_t kRawByteLast = 0xF8FF;

void store_empty(char *out, std::size_t size)
{
    if (out && size > 0)
        out[0] = '\0';
}

// Read one character of the locale's text at `p` (`left` bytes before the
// terminator) as a code point (all 21 bits: characters above U+FFFF keep
// their value).  Returns the bytes used; 0 when unreadable.
std::size_t read_multibyte(const char *p, std::size_t left, uint32_t *unit, std::mbstate_t *st)
{
    wchar_t wc = 0;
    std::size_t k = std::mbrtowc(&wc, p, left < kMaxMultibyte ? left : kMaxMultibyte, st);
    if (k == static_cast<std::size_t>(-1) || k == static_cast<std::size_t>(-2) || k == 0) {
        *st = std::mbstate_t{};
        return 0;
    }
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): a wide character, not a char
    *unit = static_cast<uint32_t>(wc);
    return k;
}

// Write one decoded unit in the locale's encoding into `tmp`.  Returns the
// bytes, or 0 when the locale cannot express it.
std::size_t write_multibyte(uint32_t unit, char *tmp, std::mbstate_t *st)
{
    if (unit >= kRawByteFirst && unit <= kRawByteLast) {
        tmp[0] = static_cast<char>(unit & 0xFF);
        return 1;
    }
    std::size_t k = std::wcrtomb(tmp, static_cast<wchar_t>(unit), st);
    if (k == static_cast<std::size_t>(-1)) {
        *st = std::mbstate_t{};
        return 0;
    }
    return k;
}

// Copy whole multibyte characters of `in`; an unreadable byte is copied on
// its own.
int copy_multibyte(char *out, const char *in, std::size_t size, std::size_t *count)
{
    set_if(count, std::size_t{0});
    if (out == nullptr || in == nullptr || size == 0)
        return text::bad_arguments();
    std::mbstate_t st{};
    std::size_t left = std::strlen(in);
    std::size_t n = 0;
    while (left > 0) {
        std::size_t k = std::mbrlen(in + n, left < kMaxMultibyte ? left : kMaxMultibyte, &st);
        if (k == static_cast<std::size_t>(-1) || k == static_cast<std::size_t>(-2) || k == 0) {
            st = std::mbstate_t{};
            k = 1;
        }
        if (n + k >= size) {
            out[n] = '\0';
            set_if(count, n);
            return text::output_full();
        }
        std::memcpy(out + n, in + n, k);
        n += k;
        left -= k;
    }
    out[n] = '\0';
    set_if(count, n);
    return text::kOk;
}

}  // namespace

namespace cairn::text {

int mbs_to_utf8(char *out, const char *in, std::size_t size, std::size_t *count, std::size_t *used)
{
    set_if(count, std::size_t{0});
    set_if(used, std::size_t{0});
    if (in == nullptr || *in == '\0') {
        store_empty(out, size);
        return bad_arguments();
    }
    auto *o = reinterpret_cast<unsigned char *>(out);
    std::mbstate_t st{};
    std::size_t left = std::strlen(in);
    const char *p = in;
    std::size_t n = 0;
    int result = kOk;
    bool full = false;
    while (left > 0) {
        uint32_t unit = 0;
        std::size_t k = read_multibyte(p, left, &unit, &st);
        if (k == 0) {
            unit = '?';
            k = 1;
            result = kReplaced;
        }
        std::size_t len = static_cast<std::size_t>(utf8::encoded_length(unit));
        if (n + len >= size) {
            full = true;
            if (o)
                break;
        }
        if (o)
            utf8::encode(unit, o + n);
        n += len;
        p += k;
        left -= k;
    }
    if (o && size > 0)
        o[n] = '\0';
    set_if(count, n);
    set_if(used, static_cast<std::size_t>(p - in));
    return full ? output_full() : result;
}

bool is_valid_utf8(const char *text)
{
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    std::size_t left = std::strlen(text);
    while (left > 0) {
        uint32_t value = 0;
        int len = utf8::decode(p, left, &value);
        // Sequences of five and six bytes, values past U+10FFFF and the
        // surrogate halves are not UTF-8.
        if (len == utf8::kInvalid || len > 4 || value > 0x10FFFF ||
            (value >= 0xD800 && value <= 0xDFFF))
            return false;
        p += len;
        left -= static_cast<std::size_t>(len);
    }
    return true;
}

bool locale_passes_utf8()
{
    const char *codeset = nl_langinfo(CODESET);
    return codeset == nullptr || std::strcmp(codeset, "UTF-8") == 0 ||
           std::strcmp(codeset, "ANSI_X3.4-1968") == 0;
}

}  // namespace cairn::text

extern "C" {

int ox_mbs_to_utf8s(char *out, const char *in, size_t size, size_t *count)
{
    return text::mbs_to_utf8(out, in, size, count, nullptr);
}

int ox_utf8s_to_mbs(char *out, const char *in, size_t size, size_t *count)
{
    set_if(count, size_t{0});
    if (in == nullptr || *in == '\0' || size == 0 || out == nullptr) {
        store_empty(out, size);
        return text::bad_arguments();
    }
    const auto *p = reinterpret_cast<const unsigned char *>(in);
    const std::size_t room = size - 1;
    std::mbstate_t st{};
    std::size_t n = 0;
    int result = text::kOk;
    uint32_t value = 0;
    while (*p != '\0' && n < room) {
        int len = utf8::decode(p, SIZE_MAX, &value);
        if (len == utf8::kInvalid) {
            out[n++] = '?';
            ++p;
            result = text::kReplaced;
            continue;
        }
        if (len == 1) {
            out[n++] = static_cast<char>(*p++);
            continue;
        }
        char tmp[MB_LEN_MAX];
        // The 16-bit unit, as the platform's wide text holds it: U+F880..
        // U+F8FF carry raw bytes whatever the sequence's length.
        std::size_t k = write_multibyte(static_cast<uint16_t>(value), tmp, &st);
        if (k == 0) {
            tmp[0] = '?';
            k = 1;
            result = text::kReplaced;
        }
        if (k > room - n)
            break;  // the character's bytes do not fit: stop before it
        std::memcpy(out + n, tmp, k);
        n += k;
        p += len;
    }
    out[n] = '\0';
    set_if(count, n);
    return result;
}

int ox_mbsoem_to_utf8s(char *out, const char *in, size_t size, size_t *count)
{
    return ox_mbs_to_utf8s(out, in, size, count);
}

int ox_utf8s_to_mbsoem(char *out, const char *in, size_t size, size_t *count)
{
    return ox_utf8s_to_mbs(out, in, size, count);
}

int ox_mbs_to_mbts(char *out, const char *in, size_t size, size_t *count)
{
    return copy_multibyte(out, in, size, count);
}

int ox_mbts_to_mbs(char *out, const char *in, size_t size, size_t *count)
{
    return copy_multibyte(out, in, size, count);
}

int ox_utf8s_to_mbts(char *out, const char *in, size_t size, size_t *count)
{
    return ox_utf8s_to_mbs(out, in, size, count);
}

}  // extern "C"
