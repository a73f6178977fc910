#include "concurrency/free_slot_index.hpp"

#include <cstring>

#include "platform/alloc.hpp"

namespace cairn {

FreeSlotIndex::~FreeSlotIndex()
{
    for (int l = 0; l < levels_; ++l)
        mem_free(level_[l]);
}

// Re-size every level for `bits` slots (rounded up to a power of two so that
// growth is amortised) and rebuild the upper levels from level 0.
bool FreeSlotIndex::reserve(std::size_t bits)
{
    std::size_t cap = 64;
    while (cap < bits)
        cap *= 2;
    uint64_t *fresh[kMaxLevels] = {};
    std::size_t words[kMaxLevels] = {};
    int levels = 0;
    for (std::size_t n = cap / 64;; n = (n + 63) / 64) {
        words[levels] = n;
        fresh[levels] = static_cast<uint64_t *>(mem_calloc(n, sizeof(uint64_t)));
        if (fresh[levels] == nullptr) {
            for (int l = 0; l <= levels; ++l)
                mem_free(fresh[l]);
            return false;
        }
        ++levels;
        if (n == 1)
            break;
    }
    if (levels_ > 0)
        std::memcpy(fresh[0], level_[0], words_[0] * sizeof(uint64_t));
    for (int l = 1; l < levels; ++l)
        for (std::size_t w = 0; w < words[l - 1]; ++w)
            if (fresh[l - 1][w])
                fresh[l][w / 64] |= uint64_t{1} << (w % 64);
    for (int l = 0; l < levels_; ++l)
        mem_free(level_[l]);
    for (int l = 0; l < levels; ++l) {
        level_[l] = fresh[l];
        words_[l] = words[l];
    }
    levels_ = levels;
    reserved_ = cap;
    return true;
}

bool FreeSlotIndex::grow(std::size_t bits)
{
    if (bits <= bits_)
        return true;
    if (bits > reserved_ && !reserve(bits))
        return false;
    for (std::size_t i = bits_; i < bits; ++i)
        insert(i);
    bits_ = bits;
    return true;
}

void FreeSlotIndex::insert(std::size_t i)
{
    for (int l = 0; l < levels_; ++l) {
        uint64_t &word = level_[l][i / 64];
        bool was_empty = word == 0;
        word |= uint64_t{1} << (i % 64);
        if (!was_empty)
            return;
        i /= 64;
    }
}

void FreeSlotIndex::erase(std::size_t i)
{
    for (int l = 0; l < levels_; ++l) {
        uint64_t &word = level_[l][i / 64];
        word &= ~(uint64_t{1} << (i % 64));
        if (word != 0)
            return;
        i /= 64;
    }
}

long FreeSlotIndex::lowest() const
{
    if (levels_ == 0 || level_[levels_ - 1][0] == 0)
        return -1;
    std::size_t i = 0;
    for (int l = levels_ - 1; l >= 0; --l)
        i = i * 64 + static_cast<std::size_t>(__builtin_ctzll(level_[l][i]));
    return static_cast<long>(i);
}

}  // namespace cairn
