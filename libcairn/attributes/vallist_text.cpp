// Text forms of value lists: the comma form both ways, printing, the debug
// line and the numbered display.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "attributes/value_record.hpp"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

using namespace cairn::values;

namespace {

bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Writes the comma form into `out` (when not NULL) and returns its length.
size_t comma_form(const val_t *list, int limit, char *out)
{
    static const char kEmpty[] = "<empty>", kMore[] = ", ...";
    size_t len = 0, running = 0;
    auto put = [&](const char *s, size_t n) {
        if (out)
            std::memcpy(out + len, s, n);
        len += n;
    };
    if (list == nullptr)
        put(kEmpty, sizeof kEmpty - 1);
    for (const val_t *v = list; v != nullptr; v = v->next) {
        size_t n = std::strlen(v->value);
        size_t step = n + (v->next ? 2 : 0);
        if (limit > 0 && v != list && running + step > static_cast<size_t>(limit)) {
            put(kMore, sizeof kMore - 1);
            break;
        }
        if (v != list)
            put(", ", 2);
        put(v->value, n);
        running += step;
    }
    if (out)
        out[len] = '\0';
    return len;
}

// Display columns: three when the values are many and narrow, two when
// they are several and fit the wider field, one otherwise.
int display_columns(const val_t *list)
{
    int n = 0;
    size_t widest = 0;
    for (; list != nullptr; list = list->next, ++n)
        widest = std::max(widest, static_cast<size_t>(utf8_ttystrlen(list->value)));
    if (n > 20 && widest <= 21)
        return 3;
    if (n > 10 && widest <= 24)
        return 2;
    return 1;
}

}  // namespace

extern "C" {

val_t *vallist_new_from_csv(const char *text)
{
    if (text == nullptr)
        return nullptr;
    val_t *head = nullptr;
    val_t **link = &head;
    const char *p = text;
    for (;;) {
        while (*p != '\0' && (is_space(*p) || *p == ','))
            ++p;
        if (*p == '\0')
            break;
        const char *end = std::strchr(p, ',');
        if (end == nullptr)
            end = p + std::strlen(p);
        const char *cut = end;
        while (cut > p && is_space(cut[-1]))
            --cut;
        *link = make(p, static_cast<size_t>(cut - p));
        link = &(*link)->next;
        p = end;
    }
    return head;
}

char *vallist_to_csv(const val_t *list, int limit)
{
    char *text = static_cast<char *>(xmalloc(comma_form(list, limit, nullptr) + 1));
    comma_form(list, limit, text);
    return text;
}

void vallist_print(FILE *stream, const val_t *list)
{
    if (stream == nullptr)
        return;
    for (; list != nullptr; list = list->next)
        val_print(stream, list);
    ox_fprintf(stream, "\n");
}

void vallist_dprint(const char *label, const val_t *list)
{
    char *csv = vallist_to_csv(list, 0);
    debugprintf("%s%s%s\n", label ? label : "", label ? ": " : "", csv);
    cairn::mem_free(csv);
}

void vallist_display(FILE *stream, const val_t *list)
{
    if (stream == nullptr)
        stream = stdout;
    int columns = display_columns(list);
    int n = 0;
    for (const val_t *v = list; v != nullptr; v = v->next)
        ++n;
    if (columns == 1) {
        int i = 0;
        for (; list != nullptr; list = list->next)
            ox_fprintf(stream, "\t%2d) %s\n", ++i, list->value);
        return;
    }
    auto **texts = static_cast<const char **>(xmalloc(sizeof(char *) * static_cast<size_t>(n)));
    int i = 0;
    for (; list != nullptr; list = list->next)
        texts[i++] = list->value;
    int rows = (n + columns - 1) / columns;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            int index = c * rows + r;
            if (index >= n)
                break;
            if (columns == 2)
                ox_fprintf(stream, "\t%2d) %-24s", index + 1, texts[index]);
            else
                ox_fprintf(stream, " %2d) %-21s", index + 1, texts[index]);
        }
        ox_fprintf(stream, "\n");
    }
    cairn::mem_free(texts);
}

int vallist_to_argv(const val_t *list, int *count, char ***vector)
{
    if (count == nullptr || vector == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    *count = 0;
    *vector = nullptr;
    int n = 0;
    for (const val_t *v = list; v != nullptr; v = v->next)
        ++n;
    auto **copies =
        static_cast<char **>(cairn::mem_calloc(static_cast<size_t>(n) + 1, sizeof(char *)));
    if (copies == nullptr)
        return -1;
    for (int i = 0; list != nullptr; list = list->next, ++i) {
        copies[i] = cairn::mem_strdup(list->value);
        if (copies[i] == nullptr) {
            for (int j = 0; j < i; ++j)
                cairn::mem_free(copies[j]);
            cairn::mem_free(copies);
            return -1;
        }
    }
    *count = n;
    *vector = copies;
    return 0;
}

}  // extern "C"
