#include "diagnostics/oxprint/sink.hpp"

#include "platform/alloc.hpp"

namespace cairn::oxprint {

bool Sink::grow(std::size_t need)
{
    if (!growing_ || growth_failed_)
        return false;
    std::size_t cap = cap_;
    while (cap < need)
        cap = cap > SIZE_MAX / 2 ? need : cap * 2;
    auto *bigger = static_cast<char *>(mem_realloc(buf_, cap));
    if (bigger == nullptr) {
        growth_failed_ = true;
        return false;
    }
    buf_ = bigger;
    cap_ = cap;
    return true;
}

void Sink::put_slow(const char *s, std::size_t n)
{
    if (buf_ == nullptr || cap_ == 0)
        return;
    if (grow(len_ + n + 1)) {
        std::memcpy(buf_ + len_, s, n);
        len_ += n;
        return;
    }
    std::size_t room = cap_ - 1 - len_;
    std::memcpy(buf_ + len_, s, room);
    len_ += room;
}

void Sink::fill_slow(char c, std::size_t n)
{
    // One memset of what can be stored; the rest is only counted, so a
    // width costs nothing once the buffer is full.
    total_ += n;
    if (buf_ == nullptr || cap_ == 0)
        return;
    if (n >= cap_ - len_)
        grow(len_ + n + 1);
    std::size_t room = cap_ - 1 - len_;
    std::size_t k = n < room ? n : room;
    std::memset(buf_ + len_, c, k);
    len_ += k;
}

void Sink::finish()
{
    if (buf_ != nullptr && cap_ > 0)
        buf_[len_] = '\0';
}

void Sink::clear()
{
    len_ = 0;
    total_ = 0;
    finish();
}

}  // namespace cairn::oxprint
