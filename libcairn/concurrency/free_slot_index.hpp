// A set of slot numbers that finds its lowest member in O(log64 n): a tree of
// 64-bit words where a bit at one level says "the word below has a bit set".
// The object registry uses it to reuse the lowest free slot without scanning.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn {

class FreeSlotIndex {
public:
    FreeSlotIndex() = default;
    ~FreeSlotIndex();
    FreeSlotIndex(const FreeSlotIndex &) = delete;
    FreeSlotIndex &operator=(const FreeSlotIndex &) = delete;

    // Extend the universe to `bits` slots, all new ones members.
    // Returns false (nothing changed) when memory runs out.
    bool grow(std::size_t bits);
    void insert(std::size_t i);
    void erase(std::size_t i);
    // The lowest member, or -1 when the set is empty.
    long lowest() const;
    std::size_t size() const { return bits_; }

private:
    static constexpr int kMaxLevels = 6;
    bool reserve(std::size_t bits);

    uint64_t *level_[kMaxLevels] = {};
    std::size_t words_[kMaxLevels] = {};
    int levels_ = 0;
    std::size_t bits_ = 0;
    std::size_t reserved_ = 0;
};

}  // namespace cairn
