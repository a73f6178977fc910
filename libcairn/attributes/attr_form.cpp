// The printed form of attributes: names right-aligned in 28 columns, values
// quoted where a reader would misread them, wrapped under column 30, and
// secret values hidden.
#include <atomic>
#include <cstring>

#include "messages/msg_render.hpp"
#include "cairn/attributes.h"
#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/text.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"

namespace {

constexpr int kNameColumns = 28;
constexpr int kValueColumn = 30;
constexpr size_t kLongestName = 508;
constexpr int kPrintWidth = 80;
// Forms this long or longer bypass the message printer.
constexpr int kDirectPrintBytes = 17408;
constexpr char kHidden[] = "*******";

std::atomic<int> g_hide_passwords{1};

// Bounded output that keeps counting past the end of the buffer.
struct Out {
    char *buf;
    size_t size;
    size_t len = 0;
    void put(const char *s, size_t n)
    {
        if (buf != nullptr && len < size) {
            size_t room = size - 1 - len;
            std::memcpy(buf + len, s, n < room ? n : room);
        }
        len += n;
    }
    void put(const char *s) { put(s, std::strlen(s)); }
    void blanks(int n)
    {
        for (; n > 0; --n)
            put(" ", 1);
    }
    void finish()
    {
        if (buf != nullptr && size > 0)
            buf[len < size ? len : size - 1] = '\0';
    }
};

bool needs_quotes(const char *v)
{
    size_t n = std::strlen(v);
    if (n == 0 || std::strpbrk(v, "\n\"#,:;\\") != nullptr)
        return true;
    auto edge = [](char c) { return c == ' ' || c == '\t'; };
    return edge(v[0]) || edge(v[n - 1]);
}

// The value as printed (new text): quoted when forced or needed, with
// quotes and backslashes escaped and a last line feed dropped.
char *quote(const char *v, bool force)
{
    if (!force && !needs_quotes(v))
        return xstrdup(v);
    size_t n = std::strlen(v);
    if (n > 0 && v[n - 1] == '\n')
        --n;
    char *q = static_cast<char *>(xmalloc(2 * n + 3));
    char *out = q;
    *out++ = '"';
    for (size_t i = 0; i < n; ++i) {
        if (v[i] == '"' || v[i] == '\\')
            *out++ = '\\';
        *out++ = v[i];
    }
    *out++ = '"';
    *out = '\0';
    return q;
}

// The text shown for one value before quoting (new text).
char *shown_value(const char *v, bool render, bool hide)
{
    if (hide)
        return xstrdup(kHidden);
    return render ? cairn::msg::render_text_form(v) : xstrdup(v);
}

bool is_companion(const char *name)
{
    size_t n = std::strlen(name), s = sizeof ATTR_I18N_SUFFIX - 1;
    return n > s && std::strcmp(name + n - s, ATTR_I18N_SUFFIX) == 0;
}

// A value too wide for a line: pieces of `width` cells, one per line.
void put_broken(Out &out, const char *text, int width)
{
    int cells = 0;
    for (int i = 0; text[i] != '\0'; ++i) {
        int start = i;
        int w = utf8_ttywidth(text, &i);
        if (cells > 0 && cells + w > width) {
            out.put("\n", 1);
            cells = 0;
        }
        out.put(text + start, static_cast<size_t>(i - start) + 1);
        cells += w;
    }
}

void put_values(Out &out, const attr_t *a, int width, bool force, int options)
{
    bool render =
        (options & ATTR_NO_RENDER) == 0 && ((options & ATTR_RENDER) != 0 || is_companion(a->name));
    bool hide =
        (options & ATTR_HIDE_VALUES) != 0 || (g_hide_passwords.load(std::memory_order_relaxed) &&
                                              ox_stristr(a->name, "password") != nullptr);
    int column = kValueColumn;
    for (const val_t *v = a->values; v != nullptr; v = v->next) {
        char *shown = shown_value(v->value, render, hide);
        char *text = quote(shown, force);
        cairn::mem_free(shown);
        int w = utf8_ttystrlen(text);
        if (w + 32 < width) {
            if (column + w + 2 < width) {
                out.put(text);
                column += w;
            } else {
                out.put("\n", 1);
                out.blanks(kValueColumn);
                out.put(text);
                column = kValueColumn + w;
            }
        } else {
            if (v != a->values)
                out.put("\n", 1);
            else if (std::strncmp(text, "\"\n", 2) != 0)
                out.put("\\\n", 2);
            put_broken(out, text, width);
            column = width;
        }
        cairn::mem_free(text);
        if (v->next != nullptr) {
            out.put(", ", 2);
            column += 2;
        }
    }
}

size_t form(Out &out, const attr_t *a, int width, bool force, int options)
{
    if (a == nullptr || a->name[0] == '\0' || std::strlen(a->name) > kLongestName) {
        out.finish();
        return 0;
    }
    size_t name_len = std::strlen(a->name);
    if ((options & ATTR_NO_PADDING) == 0)
        out.blanks(kNameColumns - static_cast<int>(name_len));
    out.put(a->name, name_len);
    out.put(": ", 2);
    put_values(out, a, width, force, options);
    out.put(";\n", 2);
    out.finish();
    return out.len;
}

// The form at the printing width, in new text (mem_free).
char *form_text(const attr_t *a, int options, int *len)
{
    Out measure{nullptr, 0};
    *len = static_cast<int>(form(measure, a, kPrintWidth, false, options));
    char *text = static_cast<char *>(xmalloc(static_cast<size_t>(*len) + 1));
    Out out{text, static_cast<size_t>(*len) + 1};
    form(out, a, kPrintWidth, false, options);
    return text;
}

}  // namespace

extern "C" {

int attr_passwords(int flag)
{
    g_hide_passwords.store(flag != 0, std::memory_order_relaxed);
    return flag;
}

int attr_sprintf(char *buf, int size, int width, const attr_t *a, int force_quotes,
                 int measure_only, int options)
{
    bool measuring = measure_only != 0 || buf == nullptr || size <= 0;
    Out out{measuring ? nullptr : buf, measuring ? 0 : static_cast<size_t>(size)};
    return static_cast<int>(form(out, a, width, force_quotes != 0, options));
}

void attr_print(FILE *stream, const attr_t *a, int options)
{
    if (stream == nullptr || a == nullptr)
        return;
    if (std::strcmp(a->name, "BXR_ENCRYPTION_PHRASES") == 0)
        options |= ATTR_HIDE_VALUES;
    int len = 0;
    char *text = form_text(a, options, &len);
    bool console = stream == stdout || stream == stderr;
    if (console && len < kDirectPrintBytes) {
        char number[OX_INTTOSTR_SIZE];
        inttostr(len, number, sizeof number);
        msg_print(0, 50000, stream == stdout ? MSG_TO_STDOUT : MSG_TO_STDERR, "%.*s",
                  MSG_ARG_NUMBER, number, MSG_ARG_TEXT, text);
    } else {
        ox_fprintf(stream, "%.*s", len, text);
    }
    cairn::mem_free(text);
}

}  // extern "C"

namespace {

void dprint_form(const attr_t *a, int options)
{
    if (a != nullptr && std::strcmp(a->name, "BXR_ENCRYPTION_PHRASES") == 0)
        options |= ATTR_HIDE_VALUES;
    int len = 0;
    char *text = form_text(a, options, &len);
    debugprintf("%.*s", len, text);
    cairn::mem_free(text);
}

}  // namespace

extern "C" {

void attr_dprint(const char *label, const attr_t *a, int options)
{
    debugprintf("%s", label ? label : "");
    dprint_form(a, options);
}

void attrlist_dprint(const char *label, const attr_t *list)
{
    debugprintf("%s\n", label ? label : "");
    int options = 0;
    if (list != nullptr && std::strcmp(list->name, "nopadding") == 0) {
        options = ATTR_NO_PADDING;
        list = list->next;
    }
    for (; list != nullptr; list = list->next)
        dprint_form(list, options);
}

int attrlist_build_str(const attr_t *list, char *buf, int *size)
{
    if (size == nullptr)
        return 0;
    bool measuring = *size <= 0 || buf == nullptr;
    size_t used = measuring ? 0 : strnlen(buf, static_cast<size_t>(*size));
    Out out{measuring ? nullptr : buf + used, measuring ? 0 : static_cast<size_t>(*size) - used};
    for (; list != nullptr; list = list->next)
        form(out, list, kPrintWidth, false, 0);
    out.finish();
    if (measuring)
        *size = static_cast<int>(out.len);
    return static_cast<int>(out.len);
}

}  // extern "C"
