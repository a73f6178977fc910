// String hashes offered for table keys: djb2 over bytes, and a
// case-insensitive multiplicative hash with a seed.
#include <cctype>
#include <cstdint>

#include "cairn/concurrency.h"
#include "cairn/containers.h"

namespace {

unsigned char g_lower[256];
ox_once_t g_lower_once = OX_ONCE_INIT;

// Filled once, from the C library's tolower of every non-zero byte.
void fill_lower()
{
    for (int c = 1; c < 256; ++c)
        g_lower[c] = static_cast<unsigned char>(std::tolower(c));
}

}  // namespace

extern "C" {

uint32_t ox_hash_string(const char *string)
{
    uint32_t value = 5381;
    if (string == nullptr)
        return value;
    for (auto *p = reinterpret_cast<const unsigned char *>(string); *p; ++p)
        value = (value << 5) + value + *p;
    return value;
}

uint32_t hashstr(const char *string, uint32_t seed)
{
    if (string == nullptr || *string == '\0')
        return seed;
    ox_once(&g_lower_once, fill_lower);
    uint32_t value = seed;
    for (auto *p = reinterpret_cast<const unsigned char *>(string); *p; ++p)
        value = value * 231u + g_lower[*p];
    return value == 0 ? 1 : value;
}

}  // extern "C"
