// Reading and writing the next pointer of a classic list record: the first
// field of any record type, reached through memcpy so that no record type
// is read through another's pointer type.
#pragma once

#include <cstring>

namespace cairn::classic {

inline void *next_of(const void *elem)
{
    void *next;
    std::memcpy(&next, elem, sizeof next);
    return next;
}

inline void set_next(void *elem, void *next) { std::memcpy(elem, &next, sizeof next); }

// The list head (or an out pointer) behind a `void *` address argument.
inline void *load(const void *address) { return next_of(address); }
inline void store(void *address, void *value) { set_next(address, value); }

// Appends records to a hand-back list in the order met, in constant time.
class HandBack {
public:
    explicit HandBack(void *out) : out_(out)
    {
        if (out_)
            store(out_, nullptr);
    }
    void add(void *elem)
    {
        set_next(elem, nullptr);
        if (out_ == nullptr)
            return;
        if (tail_)
            set_next(tail_, elem);
        else
            store(out_, elem);
        tail_ = elem;
    }

private:
    void *out_;
    void *tail_ = nullptr;
};

}  // namespace cairn::classic
