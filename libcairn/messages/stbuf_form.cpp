#include "messages/stbuf_form.hpp"

#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/utilities.h"
#include "messages/number_token.hpp"
#include "messages/structext_record.hpp"
#include "messages/text_sink.hpp"
#include "platform/alloc.hpp"

namespace cairn::msg {
namespace {

constexpr std::size_t kMaxToken = 256;
// The shortest argument: " 0 0 " (an empty text).
constexpr std::size_t kMinArgBytes = 5;

// Reads the text's parts in order; any fault leaves `ok` false for good.
struct Reader {
    const char *p;
    const char *end;

    std::size_t left() const { return static_cast<std::size_t>(end - p); }
    bool blank()
    {
        if (p == end || *p != ' ')
            return false;
        ++p;
        return true;
    }
    // A token: the bytes up to the next blank or the end, 1 to 256 of them,
    // read as a number within [lo, hi].
    bool number(long long lo, long long hi, long long *out)
    {
        const char *stop = static_cast<const char *>(std::memchr(p, ' ', left()));
        std::size_t n = static_cast<std::size_t>((stop != nullptr ? stop : end) - p);
        if (n == 0 || n > kMaxToken || !parse_number(p, n, lo, hi, out))
            return false;
        p += n;
        return true;
    }
};

// The arguments after the count: false when one is malformed.
bool read_args(Reader &r, structext &st, int count)
{
    st.args = static_cast<structext_arg *>(
        xcalloc(static_cast<std::size_t>(count), sizeof(structext_arg)));
    st.argcount = count;
    for (int i = 0; i < count; ++i) {
        long long desc = 0;
        long long len = 0;
        if (!r.blank() || !r.number(INT32_MIN, INT32_MAX, &desc) || !r.blank() ||
            !r.number(0, static_cast<long long>(r.left()), &len) || !r.blank() ||
            static_cast<std::size_t>(len) > r.left())
            return false;
        st.args[i] = {static_cast<int32_t>(desc), copy_bytes(r.p, static_cast<std::size_t>(len))};
        r.p += len;
    }
    return true;
}

}  // namespace

char *write_stbuf(const structext &st, bool cut)
{
    const char *form = st.form != nullptr ? st.form : "";
    return build_text([&](Sink &s) {
        std::size_t form_len = std::strlen(form);
        s.num(static_cast<int32_t>(st.msgid));
        s.put(" ");
        s.num(static_cast<long long>(form_len));
        s.put(" ");
        s.put(form, form_len);
        if (st.argcount < 1 || st.args == nullptr)
            return;
        s.put(" ");
        s.num(st.argcount);
        for (int i = 0; i < st.argcount; ++i) {
            const char *text = st.args[i].text != nullptr ? st.args[i].text : "null";
            std::size_t n = std::strlen(text);
            if (cut && n > MSG_STBUF_ARG_MAX)
                n = MSG_STBUF_ARG_MAX;
            s.put(" ");
            s.num(st.args[i].desc);
            s.put(" ");
            s.num(static_cast<long long>(n));
            s.put(" ");
            s.put(text, n);
        }
    });
}

structext *parse_stbuf(const char *text, std::size_t len)
{
    Reader r{text, text + len};
    long long id = 0;
    long long form_len = 0;
    if (!r.number(INT32_MIN, UINT32_MAX, &id) || !r.blank() ||
        !r.number(0, static_cast<long long>(r.left()), &form_len) || !r.blank() ||
        static_cast<std::size_t>(form_len) > r.left())
        return nullptr;
    auto *st = static_cast<structext *>(xcalloc(1, sizeof(structext)));
    st->msgid = static_cast<uint32_t>(id);
    st->form = copy_bytes(r.p, static_cast<std::size_t>(form_len));
    r.p += form_len;
    // A count that is missing, malformed or not the form's keeps the form
    // alone; a count that cannot fit in what is left is malformed.
    long long count = 0;
    int wanted = get_formatted_args_num(st->form);
    if (r.left() == 0 || !r.blank() || !r.number(0, INT32_MAX, &count) || count != wanted ||
        count == 0)
        return st;
    if (static_cast<std::size_t>(count) > r.left() / kMinArgBytes ||
        !read_args(r, *st, static_cast<int>(count))) {
        msg_structext_free(st);
        return nullptr;
    }
    return st;
}

}  // namespace cairn::msg

using namespace cairn::msg;

extern "C" {

char *msg_structext_to_stbuf(const structext *st)
{
    return st != nullptr && st->form != nullptr ? write_stbuf(*st, true) : nullptr;
}

structext *msg_stbuf_to_structext(const char *text)
{
    return text != nullptr ? parse_stbuf(text, std::strlen(text)) : nullptr;
}

}  // extern "C"
