// The error-type registry.  Each type is one immutable table behind an
// atomic pointer: readers never lock, and a table replaced by
// err_settype() is kept on a retired list until the exit handler frees it,
// so a text handed out earlier stays valid.
#include "frame/error_types.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "frame/exit_cleanup.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

#include "frame/error_type_texts.inc"

struct TypeTable {
    int max_code;
    const char *name;
    const char *const *texts;
    const int *severities;
    bool heap;                // one mem_alloc block made by err_settype()
    TypeTable *retired_next;  // on the retired list
};

constexpr std::size_t kNameMax = 127;

// Success is a notice, every other code an error; the system-like types
// read like errno's rule (0 a notice, anything else critical).
constexpr std::array<int, 34> kUsualSeverities = [] {
    std::array<int, 34> s{};
    s.fill(3);
    s[0] = 1;
    return s;
}();
constexpr int kSystemSeverities[] = {1, 5};

template <std::size_t N>
constexpr TypeTable builtin(const char *name, const char *const (&texts)[N], const int *sev)
{
    return TypeTable{static_cast<int>(N) - 1, name, texts, sev, false, nullptr};
}

TypeTable g_builtin[] = {
    builtin("SYSTEM", kSystemTexts, kSystemSeverities),
    builtin("RPC", kRpcTexts, kUsualSeverities.data()),
    builtin("RAP", kRapTexts, kUsualSeverities.data()),
    builtin("BXR", kSystemTexts, kSystemSeverities),
    builtin("MDB", kSystemTexts, kSystemSeverities),
    builtin("JOBS", kJobsTexts, kUsualSeverities.data()),
    builtin("GSS", kGssTexts, kUsualSeverities.data()),
    builtin("SSL", kSslTexts, kUsualSeverities.data()),
    builtin("OpenSSL", kSystemTexts, kSystemSeverities),
    builtin("BSAFE", kSystemTexts, kSystemSeverities),
    builtin("SSNCHNL", kRpcTexts, kUsualSeverities.data()),
    builtin("SYSTEM", kSystemTexts, kSystemSeverities),
    builtin("SYSTEM_VSS", kSystemTexts, kSystemSeverities),
    builtin("AUTHC", kAuthcTexts, kUsualSeverities.data()),
    builtin("MSGBUS", kMsgbusTexts, kUsualSeverities.data()),
    builtin("SQLITE", kSystemTexts, kSystemSeverities),
};
constexpr int kBuiltinTypes[] = {1, 2, 3, 5, 8, 9, 12, 13, 14, 15, 16, 18, 19, 24, 25, 27};
static_assert(sizeof kBuiltinTypes / sizeof kBuiltinTypes[0] ==
              sizeof g_builtin / sizeof g_builtin[0]);

std::atomic<TypeTable *> g_types[kErrTypeMax + 1];
std::atomic<TypeTable *> g_retired{nullptr};
ox_once_t g_fill_once;

void release(TypeTable *table)
{
    if (table != nullptr && table->heap)
        mem_free(table);
}

void free_registry()
{
    for (auto &slot : g_types)
        release(slot.exchange(nullptr));
    for (TypeTable *t = g_retired.exchange(nullptr); t != nullptr;) {
        TypeTable *next = t->retired_next;
        release(t);
        t = next;
    }
    ox_once_reset(&g_fill_once);
}

void fill_builtin()
{
    for (std::size_t i = 0; i < sizeof kBuiltinTypes / sizeof kBuiltinTypes[0]; ++i)
        g_types[kBuiltinTypes[i]].store(&g_builtin[i], std::memory_order_release);
    register_exit_cleanup(free_registry);
}

TypeTable *table_of(int type)
{
    if (type < 1 || type > kErrTypeMax)
        return nullptr;
    ox_once(&g_fill_once, fill_builtin);
    return g_types[type].load(std::memory_order_acquire);
}

void retire(TypeTable *table)
{
    if (table == nullptr)
        return;
    table->retired_next = g_retired.load(std::memory_order_relaxed);
    while (!g_retired.compare_exchange_weak(table->retired_next, table, std::memory_order_release))
        ;
}

// One block: the table, the text pointers, the severities, the name and
// the texts.
TypeTable *copy_table(int max_code, const char *name, const char *const *texts,
                      const int *severities)
{
    std::size_t count = static_cast<std::size_t>(max_code) + 1;
    std::size_t name_len = strnlen(name, kNameMax);
    std::size_t size = sizeof(TypeTable) + count * (sizeof(char *) + sizeof(int)) + name_len + 1;
    for (std::size_t i = 0; i < count; ++i)
        size += std::strlen(texts[i] != nullptr ? texts[i] : "") + 1;
    auto *block = static_cast<char *>(mem_alloc(size));
    if (block == nullptr)
        return nullptr;
    auto *table = reinterpret_cast<TypeTable *>(block);
    auto **text_ptrs = reinterpret_cast<const char **>(block + sizeof(TypeTable));
    auto *sev = reinterpret_cast<int *>(text_ptrs + count);
    char *bytes = reinterpret_cast<char *>(sev + count);
    std::memcpy(bytes, name, name_len);
    bytes[name_len] = '\0';
    *table = TypeTable{max_code, bytes, text_ptrs, sev, true, nullptr};
    bytes += name_len + 1;
    for (std::size_t i = 0; i < count; ++i) {
        const char *text = texts[i] != nullptr ? texts[i] : "";
        std::size_t len = std::strlen(text) + 1;
        text_ptrs[i] = static_cast<const char *>(std::memcpy(bytes, text, len));
        bytes += len;
        sev[i] = severities != nullptr ? severities[i] : 0;
    }
    return table;
}

}  // namespace

const char *err_severity_name(int severity)
{
    static const char *const kNames[] = {"info",  "notice", "warning",
                                         "error", "severe", "critical"};
    return severity >= 0 && severity <= 5 ? kNames[severity] : "info";
}

ErrLookup err_type_lookup(int type, int code)
{
    const TypeTable *table = table_of(type);
    if (table == nullptr || code < 0 || code > table->max_code)
        return ErrLookup{"Unknown error", 0, 0};
    const char *text = table->texts[code];
    return ErrLookup{text, table->severities[code], std::strchr(text, ':') ? std::atoi(text) : 0};
}

}  // namespace cairn

using namespace cairn;

extern "C" {

int err_settype(int type, int max_code, const char *name, const char *const *texts,
                const int *severities)
{
    if (type > kErrTypeMax)
        return 0;  // outside the registry: ignored
    if (name == nullptr || texts == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return OX_ENULL;
    }
    if (type < 1 || max_code < 0 || max_code > 999)
        return ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    table_of(type);  // the built-in types first, so that this one stays
    TypeTable *table = copy_table(max_code, name, texts, severities);
    if (table == nullptr)
        return OX_ENOMEM;
    retire(g_types[type].exchange(table, std::memory_order_acq_rel));
    return 0;
}

const char *err_type_name(int type)
{
    const TypeTable *table = type < kErrTypeMax ? table_of(type) : nullptr;
    return table != nullptr ? table->name : "BXR";
}

}  // extern "C"
