#include "frame/system_messages.hpp"

#include <algorithm>
#include <iterator>

namespace cairn {
namespace {

using MessageRow = SystemMessageRow;

constexpr MessageRow kRows[] = {
#include "frame/system_message_texts.inc"
};

constexpr bool rows_sorted()
{
    for (std::size_t i = 1; i < std::size(kRows); ++i)
        if (kRows[i - 1].code >= kRows[i].code)
            return false;
    return true;
}
static_assert(rows_sorted(), "message rows must be sorted by code");

}  // namespace

const SystemMessageRow *system_message_rows(std::size_t *count)
{
    *count = std::size(kRows);
    return kRows;
}

const char *system_message_text(uint32_t code)
{
    const MessageRow *end = std::end(kRows);
    const MessageRow *row = std::lower_bound(
        std::begin(kRows), end, code, [](const MessageRow &r, uint32_t c) { return r.code < c; });
    return row != end && row->code == code ? row->text : nullptr;
}

}  // namespace cairn
