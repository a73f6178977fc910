// Loading and applying the "rdlr" simulation rules.
#include "net/sim_rules.hpp"

#include <netdb.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/address.hpp"
#include "platform/alloc.hpp"

namespace cairn::net {

namespace {

constexpr int kTraceLevel = 5;
constexpr uint32_t kTraceBit = 16;

struct Rule {
    char *kind;
    char *host;
    char *action;
};

// Written at set-up (under the resolver's once) and at exit only.
Rule *g_rules = nullptr;
int g_count = 0;

int count_lines(FILE *f)
{
    int lines = 0, c, last = '\n';
    while ((c = std::fgetc(f)) != EOF) {
        if (c == '\n')
            ++lines;
        last = c;
    }
    if (last != '\n')
        ++lines;
    std::rewind(f);
    return lines;
}

// One line of at most kMaxRuleLine characters; the rest is skipped.
bool read_line(FILE *f, char *buf, std::size_t size)
{
    if (std::fgets(buf, static_cast<int>(size), f) == nullptr)
        return false;
    std::size_t n = std::strlen(buf);
    if (n > 0 && buf[n - 1] == '\n') {
        buf[--n] = '\0';
        return true;
    }
    if (n <= kMaxRuleLine)
        return true;  // the last line, without newline
    buf[kMaxRuleLine] = '\0';
    CAIRN_DEBUG(kTraceLevel, kTraceBit,
                "ox_inet_rdlr_load_config_file(): line '%s...' exceeds max %d characters ... "
                "ignoring excess characters\n",
                buf, static_cast<int>(kMaxRuleLine));
    int c;
    while ((c = std::fgetc(f)) != EOF && c != '\n') {
    }
    return true;
}

bool is_rule(char *const words[4], int count)
{
    if (ox_straicmp(words[0], "rdnslu") != 0 && ox_straicmp(words[0], "dnslu") != 0)
        return false;
    return count == 3 || (count == 4 && words[3][0] == '#');
}

void drop_rules()
{
    for (int i = 0; i < g_count; ++i) {
        mem_free(g_rules[i].kind);
        mem_free(g_rules[i].host);
        mem_free(g_rules[i].action);
    }
    mem_free(g_rules);
    g_rules = nullptr;
    g_count = 0;
}

// Split a line into at most four blank-separated words (the rest of a
// longer line is not looked at).
int split(char *line, char *words[4])
{
    int n = 0;
    char *save = nullptr;
    for (char *w = strtok_r(line, " \t\r", &save); w && n < 4;
         w = strtok_r(nullptr, " \t\r", &save))
        words[n++] = w;
    return n;
}

// False when a copy failed (the rules are then dropped).
bool take_line(char *line, int room)
{
    std::string original = line;
    char *words[4] = {};
    int n = split(line, words);
    if (n < 3 || !is_rule(words, n)) {
        CAIRN_DEBUG(kTraceLevel, kTraceBit,
                    "ox_inet_rdlr_load_config_file(): non-configuration line ... ignoring '%s'\n",
                    original.c_str());
        return true;
    }
    if (g_count >= room) {
        CAIRN_DEBUG(kTraceLevel, kTraceBit,
                    "ox_inet_rdlr_load_config_file(): line is above maximum number cached "
                    "lines %d allocated ... ignoring '%s'\n",
                    room, original.c_str());
        return true;
    }
    Rule r{mem_strdup(words[0]), mem_strdup(words[1]), mem_strdup(words[2])};
    g_rules[g_count++] = r;
    if (r.kind && r.host && r.action)
        return true;
    CAIRN_DEBUG(kTraceLevel, kTraceBit,
                "ox_inet_rdlr_load_config_file(): str2/str3 strdup() error ... ignoring file\n");
    drop_rules();
    return false;
}

const Rule *find_rule(const char *kind, const char *host, bool wildcard)
{
    for (int i = 0; i < g_count; ++i) {
        const Rule &r = g_rules[i];
        if (ox_straicmp(r.kind, kind) != 0)
            continue;
        if (ox_straicmp(r.host, host) == 0 || (wildcard && std::strcmp(r.host, "*") == 0))
            return &r;
    }
    return nullptr;
}

}  // namespace

void sim_rules_load_file(const char *path)
{
    drop_rules();
    FILE *f = path ? std::fopen(path, "re") : nullptr;
    if (f == nullptr)
        return;
    int lines = count_lines(f);
    int room = lines < kMaxRules ? lines : kMaxRules;
    g_rules = static_cast<Rule *>(mem_calloc(room > 0 ? room : 1, sizeof(Rule)));
    char buf[kMaxRuleLine + 2];
    while (g_rules != nullptr && read_line(f, buf, sizeof buf)) {
        if (buf[0] == '#' || buf[0] == '\0')
            continue;
        if (!take_line(buf, room))
            break;
    }
    std::fclose(f);
    CAIRN_DEBUG(kTraceLevel, kTraceBit,
                "ox_inet_rdlr_load_config_file(): %d rules loaded from %s\n", g_count, path);
}

void sim_rules_load()
{
    const char *dir = ox_get_debugdir();
    if (dir == nullptr)
        return;
    std::string path = std::string(dir) + "/rdlr";
    sim_rules_load_file(path.c_str());
}

void sim_rules_unload() { drop_rules(); }

int sim_rules_count() { return g_count; }

bool sim_forward(const char *host, int *result)
{
    if (g_count == 0 || host == nullptr)
        return false;
    const Rule *r = find_rule("dnslu", host, false);
    if (r == nullptr || ox_straicmp(r->action, "sim_error") != 0)
        return false;
    CAIRN_DEBUG(kTraceLevel, kTraceBit,
                "ox_inet_getaddrinfo(): simulating failure (EAI_FAIL) for host '%s'\n", host);
    *result = EAI_FAIL;
    return true;
}

bool sim_reverse(const char *numeric, int flags, char *host, std::size_t hostlen, int *result)
{
    if (g_count == 0)
        return false;
    const Rule *r = find_rule("rdnslu", numeric, true);
    if (r == nullptr)
        return false;
    if (ox_straicmp(r->action, "sim_error") == 0) {
        if (!(flags & NI_NAMEREQD))
            return false;
        CAIRN_DEBUG(kTraceLevel, kTraceBit,
                    "ox_inet_getnameinfo(): simulating failure (EAI_NONAME) for address '%s'\n",
                    numeric);
        *result = EAI_NONAME;
        return true;
    }
    const char *answer = ox_straicmp(r->action, "same_ip") == 0 ? numeric : r->action;
    CAIRN_DEBUG(kTraceLevel, kTraceBit,
                "ox_inet_getnameinfo(): simulating answer '%s' for address '%s'\n", answer,
                numeric);
    *result = 0;
    if (host != nullptr && hostlen > 0 && !copy_answer(host, hostlen, answer))
        *result = EAI_OVERFLOW;
    return true;
}

}  // namespace cairn::net
