// The compiled-in product information table.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "frame/build_info.h"
#include "frame/notice.hpp"

namespace {

constexpr const char kProduct[] = "Quillmark";

const char *const kTable[] = {
    "@(#) Product:      Quillmark",
    "@(#) Release:      " CAIRN_RELEASE ".Build." CAIRN_BUILD_NUMBER,
    "@(#) Build number: " CAIRN_BUILD_NUMBER,
    "@(#) Build date:   " CAIRN_BUILD_DATE,
    "Build arch.:  " CAIRN_BUILD_ARCH,
    "@(#) Build info:   DBG=" CAIRN_BUILD_DEBUG ",OPT=" CAIRN_BUILD_OPT,
    nullptr,
};

}  // namespace

extern "C" {

const char *ox_product_get_string(void) { return kProduct; }

const char *ox_product_get_value(const char *key)
{
    if (key == nullptr)
        return "";
    for (const char *const *line = kTable; *line; ++line) {
        const char *at = std::strstr(*line, key);
        const char *colon = at ? std::strchr(at + std::strlen(key), ':') : nullptr;
        if (colon == nullptr)
            continue;
        const char *value = colon + 1;
        while (*value && !std::isgraph(static_cast<unsigned char>(*value)))
            ++value;
        return value;
    }
    return "";
}

void oxprint_productinfo(void)
{
    for (const char *const *line = kTable; *line; ++line) {
        char text[512];
        std::snprintf(text, sizeof text, "%s\n", *line);
        cairn::post_notice(0, 50000, 2, text);
    }
}

}  // extern "C"
