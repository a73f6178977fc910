#include "messages/number_token.hpp"

namespace cairn::msg {

bool parse_number(const char *s, std::size_t n, long long lo, long long hi, long long *out)
{
    bool negative = n > 0 && s[0] == '-';
    std::size_t i = negative ? 1 : 0;
    if (i == n)
        return false;
    long long value = 0;
    for (; i < n; ++i) {
        if (s[i] < '0' || s[i] > '9')
            return false;
        value = value * 10 + (s[i] - '0');
        if (value > 0xFFFFFFFFLL + 1)  // far beyond every range asked for
            return false;
    }
    value = negative ? -value : value;
    if (value < lo || value > hi)
        return false;
    *out = value;
    return true;
}

}  // namespace cairn::msg
