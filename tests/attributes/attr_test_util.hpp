// Helpers for value-list and attribute-list tests: building lists from
// initialiser lists, reading them back, and freeing them at the end of a
// scope.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "cairn/attributes.h"

namespace cairn::testing {

using Texts = std::vector<std::string>;

inline Texts texts(const val_t *v)
{
    Texts out;
    for (; v; v = v->next)
        out.emplace_back(v->value);
    return out;
}

inline val_t *make_list(const Texts &t)
{
    val_t *head = nullptr;
    for (const auto &s : t)
        vallist_add(&head, s.c_str());
    return head;
}

// Owns a value list for one scope.
struct Vals {
    val_t *head = nullptr;
    Vals() = default;
    explicit Vals(const Texts &t) : head(make_list(t)) {}
    explicit Vals(val_t *v) : head(v) {}
    ~Vals() { vallist_free(head); }
    Vals(const Vals &) = delete;
    Vals &operator=(const Vals &) = delete;
    Texts get() const { return texts(head); }
};

// Everything a call writes to a temporary stream.
template <typename Fn>
std::string stream_text(Fn fn)
{
    FILE *f = std::tmpfile();
    fn(f);
    std::fflush(f);
    std::string out;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        out.append(buf, n);
    std::fclose(f);
    return out;
}

using Attrs = std::vector<std::pair<std::string, Texts>>;

inline Attrs attrs(const attr_t *a)
{
    Attrs out;
    for (; a; a = a->next)
        out.emplace_back(a->name, texts(a->values));
    return out;
}

// Owns an attribute list for one scope.
struct AttrList {
    attr_t *head = nullptr;
    AttrList() = default;
    explicit AttrList(attr_t *a) : head(a) {}
    explicit AttrList(const Attrs &spec)
    {
        for (const auto &[name, values] : spec) {
            attr_t *a = attrlist_add(&head, name.c_str(), nullptr);
            for (const auto &v : values)
                vallist_add(&a->values, v.c_str());
        }
    }
    ~AttrList() { attrlist_free(head); }
    AttrList(const AttrList &) = delete;
    AttrList &operator=(const AttrList &) = delete;
    Attrs get() const { return attrs(head); }
};

}  // namespace cairn::testing
