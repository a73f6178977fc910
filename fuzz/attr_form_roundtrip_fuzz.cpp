// Printing keeps values: an attribute whose values are cut from arbitrary
// text (at NUL-free 0x01 bytes) is printed, and reading the printed values
// back by the quoting rules gives the original values (a quoted value
// loses one last line feed).  The line width is wide enough that no value
// is broken into pieces.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cairn/attributes.h"

namespace {

// Reads the values of a printed form back; false when the form is malformed.
bool read_values(const std::string &form, std::vector<std::string> &values,
                 std::vector<bool> &quoted)
{
    size_t p = form.find(": ");
    if (p == std::string::npos)
        return false;
    p += 2;
    if (form.compare(p, 2, ";\n") == 0)
        return p + 2 == form.size();
    for (;;) {
        while (form.compare(p, 1, "\n") == 0 ||
               (p < form.size() && form[p] == ' ' && values.size() > 0))
            ++p;  // a value on a new line, under column 30
        std::string v;
        bool q = p < form.size() && form[p] == '"';
        if (q) {
            for (++p; p < form.size() && form[p] != '"'; ++p) {
                if (form[p] == '\\')
                    ++p;
                if (p < form.size())
                    v += form[p];
            }
            ++p;
        } else {
            while (p < form.size() && form[p] != ',' && form[p] != ';')
                v += form[p++];
        }
        values.push_back(v);
        quoted.push_back(q);
        if (form.compare(p, 2, ";\n") == 0)
            return p + 2 == form.size();
        if (form.compare(p, 2, ", ") != 0)
            return false;
        p += 2;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    text = text.substr(0, text.find('\0'));
    attr_t *a = attr_new("fuzz", nullptr);
    std::vector<std::string> original;
    size_t start = 0;
    while (start <= text.size() && !text.empty()) {
        size_t end = text.find('\x01', start);
        std::string v =
            text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        vallist_add(&a->values, v.c_str());
        original.push_back(v);
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    int width = 1 << 24;
    int need = attr_sprintf(nullptr, 0, width, a, 0, 1, 0);
    std::string form(static_cast<size_t>(need) + 1, '\0');
    attr_sprintf(form.data(), need + 1, width, a, 0, 0, 0);
    form.resize(static_cast<size_t>(need));
    std::vector<std::string> values;
    std::vector<bool> quoted;
    if (!read_values(form, values, quoted) || values.size() != original.size())
        std::abort();
    for (size_t i = 0; i < values.size(); ++i) {
        std::string want = original[i];
        if (quoted[i] && !want.empty() && want.back() == '\n')
            want.pop_back();
        if (values[i] != want)
            std::abort();
    }
    attr_elem_free(a);
    return 0;
}
