// UTF-8 decoding of arbitrary bytes: the single-character calls on an exactly
// sized buffer (no terminator, so any read past the bytes given is caught),
// the inline decoder against the class-table walk, and the string calls on
// an exactly sized NUL-terminated copy.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/text.h"
#include "text/utf8_codec.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void single_characters(const uint8_t *data, size_t size)
{
    std::vector<char> bytes(data, data + size);  // exactly `size` bytes
    const char *p = bytes.data();
    for (size_t at = 0; at < size; ++at) {
        size_t avail = size - at;
        ox_wchar wc = 0;
        int len = 0;
        int r = ox_utf8_to_wc(&wc, p + at, avail, &len);
        int n = ox_utf8_len(p + at, avail);
        check(r == 0   ? (len >= 1 && static_cast<size_t>(len) <= avail && n == len)
              : r == 1 ? (len == -1 && n == -1)
                       : (r == 31 && len == 0 && n == 0));
        check(is_utf8_mb(p + at, avail) == (r != 1));

        uint32_t a = 0, b = 0;
        const auto *u = reinterpret_cast<const unsigned char *>(p + at);
        int la = cairn::utf8::decode_by_table(u, avail, &a);
        int lb = cairn::utf8::decode(u, avail, &b);
        check(la == lb && (la < 0 || a == b));
        if (la > 0) {
            unsigned char enc[8];
            check(cairn::utf8::encode(a, enc) == la);  // a valid sequence is the shortest form
            check(std::memcmp(enc, u, static_cast<size_t>(la)) == 0);
        }
    }
}

void strings(const uint8_t *data, size_t size)
{
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    const char *s = text.data();
    int chars = ox_utf8s_len(s);
    check(is_utf8_mbs(s) == (chars >= 0));
    check(ox_calc_utf8_len(s) <= 2 * size);
    int next = utf8_num_bytes_in_next_utf8_char(s);
    check(next >= 0 && next <= 6 && static_cast<size_t>(next) <= size);

    int width = utf8_ttystrlen(s);
    int walked = 0;
    for (int i = 0; s[i]; ++i) {
        int w = utf8_ttywidth(s, &i);
        check(w == 1 || w == 2);
        check(static_cast<size_t>(i) < std::strlen(s));
        walked += w;
    }
    check(walked == width);
    check(ox_utf8swidth(s, 1 << 30) == width);
    check(ox_mbswidth(s, 3) <= width);

    for (size_t out_size : {size_t{7}, size_t{8}, size / 2 + 7, size + 1}) {
        std::vector<char> out(out_size);
        char *r = utf8_truncate_to_char_boundary(s, out.data(), out_size);
        if (r != nullptr)
            check(std::strlen(r) < out_size && std::memcmp(r, s, std::strlen(r)) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    single_characters(data, size);
    strings(data, size);
    return 0;
}
