#include "text/utf8_codec.hpp"

namespace cairn::utf8 {

int decode_by_table(const unsigned char *s, std::size_t avail, uint32_t *value)
{
    if (avail == 0)
        return kInvalid;
    const unsigned char lead = s[0];
    uint32_t v = lead;
    std::size_t used = 1;
    for (int row = 0; row < kMaxSequence; ++row) {
        const ClassRow &r = kClassTable[row];
        if ((lead & r.lead_mask) == r.lead_value) {
            v &= r.limit;
            if (v < r.minimum)
                return kInvalid;
            *value = v;
            return row + 1;
        }
        if (used >= avail)
            return kInvalid;
        // A NUL byte fails here as well, so a terminator is never passed.
        unsigned c = s[used++] ^ 0x80u;
        if (c > 63)
            return kInvalid;
        v = (v << 6) + c;
    }
    return kInvalid;
}

}  // namespace cairn::utf8
