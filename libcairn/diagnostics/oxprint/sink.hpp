// Where formatted text goes: a caller's buffer (bounded or trusted), storage
// the formatter allocates and enlarges, or nowhere (measuring).  The sink
// always counts the full length of the text, also past a cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace cairn::oxprint {

class Sink {
public:
    // Bounded by `size` bytes including the terminator; a NULL `buf` or size
    // 0 only measures.
    static Sink bounded(char *buf, std::size_t size) { return Sink(buf, buf ? size : 0, false); }
    // The caller guarantees room for the whole text.
    static Sink unbounded(char *buf) { return Sink(buf, SIZE_MAX, false); }
    // Storage of `size` bytes that the sink enlarges as the text grows
    // (`buf` from the library's allocator; the sink may move it).
    static Sink growing(char *buf, std::size_t size) { return Sink(buf, size, true); }

    void put(const char *s, std::size_t n)
    {
        total_ += n;
        if (n < cap_ - len_) {  // room for the bytes and the terminator
            std::memcpy(buf_ + len_, s, n);
            len_ += n;
        } else {
            put_slow(s, n);
        }
    }

    void put(char c) { put(&c, 1); }

    // n copies of c.
    void fill(char c, std::size_t n)
    {
        if (n != 0)
            fill_slow(c, n);
    }

    // Count `n` bytes that are not stored (the caller knows they would not
    // fit).
    void skip(std::size_t n) { total_ += n; }

    // Bytes the sink can still store (SIZE_MAX while it may grow).
    std::size_t room() const
    {
        if (growing_ && !growth_failed_)
            return SIZE_MAX;
        return buf_ == nullptr || cap_ == 0 ? 0 : cap_ - 1 - len_;
    }

    // Terminate the text (when there is a buffer).
    void finish();

    // Cut the text back to nothing (after a failed format).
    void clear();

    char *data() const { return buf_; }
    std::size_t length() const { return len_; }   // bytes in the buffer
    std::size_t total() const { return total_; }  // bytes the whole text needs
    bool cut() const { return total_ != len_; }
    bool growth_failed() const { return growth_failed_; }

private:
    Sink(char *buf, std::size_t cap, bool growing) : buf_(buf), cap_(cap), growing_(growing) {}

    void put_slow(const char *s, std::size_t n);
    void fill_slow(char c, std::size_t n);
    bool grow(std::size_t need);

    char *buf_;
    std::size_t cap_;  // bytes of storage, terminator included
    std::size_t len_ = 0;
    std::size_t total_ = 0;
    bool growing_;
    bool growth_failed_ = false;
};

}  // namespace cairn::oxprint
