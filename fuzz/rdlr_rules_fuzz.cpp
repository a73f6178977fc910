// The resolver's simulation rules file ("rdlr") on arbitrary contents, read
// through the library's own loader from an in-memory file: loading never
// crashes nor keeps more than the rule limit, and every rule it keeps
// answers for its host as its action says.
#include <sys/mman.h>
#include <unistd.h>

#include <netdb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "net/sim_rules.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// One in-memory file for the whole run, rewritten for each input.
int rules_file()
{
    static int fd = memfd_create("rdlr", 0);
    check(fd >= 0);
    return fd;
}

// The first two words of the first rule-like line, to ask the rules about.
bool first_rule(const uint8_t *data, size_t size, std::string *kind, std::string *host)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    std::size_t end = text.find_first_of("\n");
    std::string line = text.substr(0, end);
    char *save = nullptr;
    char *kw = strtok_r(line.data(), " \t\r", &save);
    char *hw = kw ? strtok_r(nullptr, " \t\r", &save) : nullptr;
    if (hw == nullptr)
        return false;
    *kind = kw;
    *host = hw;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int fd = rules_file();
    check(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    cairn::net::sim_rules_load_file(path);
    int count = cairn::net::sim_rules_count();
    check(count >= 0 && count <= cairn::net::kMaxRules);

    std::string kind, host;
    if (first_rule(data, size, &kind, &host) && host.find('\0') == std::string::npos) {
        int result = -1;
        char answer[NI_MAXHOST];
        if (cairn::net::sim_forward(host.c_str(), &result))
            check(result == EAI_FAIL && count > 0);
        result = -1;
        if (cairn::net::sim_reverse(host.c_str(), NI_NAMEREQD, answer, sizeof answer, &result))
            check(count > 0 && (result == EAI_NONAME || result == EAI_OVERFLOW ||
                                (result == 0 && std::strlen(answer) < sizeof answer)));
    }
    cairn::net::sim_rules_unload();
    check(cairn::net::sim_rules_count() == 0);
    return 0;
}
