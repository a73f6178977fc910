// The simulation rules of the "rdlr" file in the debug directory: canned
// answers for chosen hosts, a debugging aid read once at set-up.
#pragma once

#include <sys/socket.h>

#include <cstddef>

namespace cairn::net {

constexpr int kMaxRules = 100;
constexpr std::size_t kMaxRuleLine = 2049;

// Read the rules file of the debug directory (nothing when it is absent).
void sim_rules_load();
// Read the rules from `path` (the loader above, with the path given).
void sim_rules_load_file(const char *path);
void sim_rules_unload();
int sim_rules_count();

// A forward rule for `host`: true with *result set when it answers.
bool sim_forward(const char *host, int *result);

// A reverse rule for the numeric text `numeric`: true with *result set (and
// the host buffer filled on success) when it answers.
bool sim_reverse(const char *numeric, int flags, char *host, std::size_t hostlen, int *result);

}  // namespace cairn::net
