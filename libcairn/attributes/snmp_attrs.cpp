// Parsing "name=value" sections separated by commas into an attribute list.
#include <cstring>

#include "cairn/attributes.h"
#include "cairn/messages.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

namespace {

bool blank(char c) { return c == ' ' || c == '\t'; }

// The part of `text` that holds the sections (new text): up to the closing
// quote of a quoted text, else the text without trailing blanks.
char *section_text(const char *text)
{
    while (blank(*text))
        ++text;
    if (*text == '"') {
        ++text;
        const char *close = std::strchr(text, '"');
        size_t n = close ? static_cast<size_t>(close - text) : std::strlen(text);
        char *copy = static_cast<char *>(xmalloc(n + 1));
        std::memcpy(copy, text, n);
        copy[n] = '\0';
        return copy;
    }
    char *copy = xstrdup(text);
    size_t n = std::strlen(copy);
    while (n > 0 && blank(copy[n - 1]))
        copy[--n] = '\0';
    return copy;
}

}  // namespace

extern "C" int snmp_str_to_attrs(const char *text, attr_t **list)
{
    if (text == nullptr || list == nullptr)
        return 0;
    char *sections = section_text(text);
    if (*sections == '\0') {
        cairn::mem_free(sections);
        return 0;
    }
    int set = 0;
    char *section = sections;
    for (;;) {
        char *comma = std::strchr(section, ',');
        if (comma != nullptr)
            *comma = '\0';
        char *equals = std::strchr(section, '=');
        if (equals == nullptr) {
            msg_print(0, 172000, MSG_TO_STDERR, "ignoring bad section %s\n", MSG_ARG_TEXT,
                      *section ? section : "?");
        } else {
            *equals = '\0';
            attrlist_set(list, section, equals + 1);
            ++set;
        }
        if (comma == nullptr)
            break;
        section = comma + 1;
    }
    cairn::mem_free(sections);
    return set;
}
