// Helpers for attribute-list tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cairn/attributes.h"
#include "value_test_util.hpp"

namespace cairn::testing {

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
