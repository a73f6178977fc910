// The string conversions and utilities on arbitrary bytes: every output
// buffer is exactly the size passed, so a write past it is caught; the
// locale conversions run in a UTF-8 and in a Latin-1 locale.
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cairn/text.h"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

const char *const kLocales[] = {"C.UTF-8", "en_US.ISO-8859-1", "C"};

void wide_round_trip(const char *s, size_t len)
{
    std::vector<ox_wchar> wide(len + 1);
    size_t units = 0;
    int r = ox_utf8s_to_wcs(wide.data(), s, wide.size(), &units);
    check((r == 0 || r == 1) && units <= len && wide[units] == 0);

    // U+10000, U+20000, ... keep only their low 16 bits, which are 0: the
    // wide text then ends there.
    const size_t wide_len = ox_wcslen(wide.data());
    check(wide_len <= units);
    size_t need = 0;
    int rn = ox_wcs_to_utf8s(nullptr, wide.data(), 0, &need);
    check(wide_len == 0 ? rn == 0 : rn == 46);
    std::vector<char> back(need + 1);
    size_t written = 0;
    check(ox_wcs_to_utf8s(back.data(), wide.data(), back.size(), &written) == 0 && written == need);
    check(is_utf8_mbs(back.data()));

    for (size_t size : {size_t{1}, size_t{2}, len / 3 + 1}) {
        std::vector<ox_wchar> small(size);
        size_t n = 0;
        ox_utf8s_to_wcs(small.data(), s, size, &n);
        check(n < size && small[n] == 0);
        std::vector<char> narrow(size);
        int rw = ox_wcs_to_utf8s(narrow.data(), wide.data(), size, &n);
        check((rw == 0 || rw == 46) && n < size && narrow[n] == '\0');
    }
}

void locale_conversions(const char *s, size_t len)
{
    for (size_t size : {size_t{1}, size_t{4}, len + 1, 3 * len + 1}) {
        std::vector<char> out(size);
        size_t n = 0;
        int r = ox_mbs_to_utf8s(out.data(), s, size, &n);
        check(r == 0 || r == 1 || r == 46 || (r == 31 && len == 0));
        check(n < size && out[n] == '\0' && is_utf8_mbs(out.data()));
        r = ox_utf8s_to_mbs(out.data(), s, size, &n);
        check(r == 0 || r == 1 || (r == 31 && len == 0));
        check(n < size && out[n] == '\0');
        r = ox_mbs_to_mbts(out.data(), s, size, &n);
        check(n < size && out[n] == '\0' && std::memcmp(out.data(), s, n) == 0);
        (void)r;
    }
    size_t counted = 0;
    ox_mbs_to_utf8s(nullptr, s, 0, &counted);
}

void utilities(const char *s, size_t len)
{
    size_t half = len / 2;
    std::vector<char> dst(half + 1);
    check(ox_strlcpy(dst.data(), s, dst.size()) == len);
    check(ox_strlcat(dst.data(), s, dst.size()) >= len);
    (void)ox_straicmp(s, dst.data());
    const char *needle = s + half;
    const char *hit = ox_stristr(s, needle);
    check(hit != nullptr && hit <= needle);
    check(ox_strnstr(s, needle, len) != nullptr);
    (void)ox_strcount(s, "a");
    (void)ox_strtoll(s);

    std::vector<char> buf(len + 8);
    std::memcpy(buf.data(), s, len + 1);
    int n = ox_strreplace(buf.data(), buf.size(), "\xC3", "XY");
    check(n >= -1 && std::strlen(buf.data()) < buf.size());
    std::vector<char> path(5);
    size_t copied = 0;
    ox_ensure_path_encoding(path.data(), s, path.size(), &copied);
    check(copied < path.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    std::setlocale(LC_ALL, kLocales[data[0] % 3]);
    std::vector<char> text(data + 1, data + size);
    text.push_back('\0');
    const size_t len = std::strlen(text.data());
    wide_round_trip(text.data(), len);
    locale_conversions(text.data(), len);
    utilities(text.data(), len);
    return 0;
}
