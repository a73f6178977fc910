// The slow-lookup warning: a system lookup that took longer than
// LogDnsThreshold seconds is reported through msg_print.
#include "net/slow_lookup.hpp"

#include <arpa/inet.h>

#include <cstdio>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "net/address.hpp"

namespace cairn::net {

namespace {

constexpr int32_t kForwardWithHints = 175835;
constexpr int32_t kForwardNoHints = 175836;
constexpr uint32_t kSeverity = 12000;

// Seconds past the threshold, else -1.
long elapsed_over(time_t start)
{
    int32_t threshold = LogDnsThreshold;
    if (start == 0 || threshold == 0)
        return -1;
    long took = static_cast<long>(std::time(nullptr) - start);
    return took > threshold ? took : -1;
}

const char *outcome(int result) { return result == 0 ? "Successful" : "Failed"; }

}  // namespace

time_t slow_lookup_start() { return LogDnsThreshold != 0 ? std::time(nullptr) : 0; }

void slow_forward_report(time_t start, int result, const char *host, const char *service,
                         const addrinfo *hints)
{
    long took = elapsed_over(start);
    if (took < 0)
        return;
    char secs[24], f[24], fam[24], st[24], pr[24];
    std::snprintf(secs, sizeof secs, "%ld", took);
    host = host ? host : "null";
    service = service ? service : "null";
    if (hints == nullptr) {
        msg_print(kForwardNoHints, kSeverity, MSG_TO_STDERR,
                  "%s forward DNS lookup of host %s, service %s with no hints took %d seconds\n",
                  MSG_ARG_TEXT, outcome(result), MSG_ARG_TEXT, host, MSG_ARG_TEXT, service,
                  MSG_ARG_NUMBER, secs);
        return;
    }
    std::snprintf(f, sizeof f, "%d", hints->ai_flags);
    std::snprintf(fam, sizeof fam, "%d", hints->ai_family);
    std::snprintf(st, sizeof st, "%d", hints->ai_socktype);
    std::snprintf(pr, sizeof pr, "%d", hints->ai_protocol);
    msg_print(kForwardWithHints, kSeverity, MSG_TO_STDERR,
              "%s forward DNS lookup of host %s, service %s with hints ai_flags %04x, ai_family "
              "%d, ai_socktype %d, ai_protocol %d took %d seconds\n",
              MSG_ARG_TEXT, outcome(result), MSG_ARG_TEXT, host, MSG_ARG_TEXT, service,
              MSG_ARG_NUMBER, f, MSG_ARG_NUMBER, fam, MSG_ARG_NUMBER, st, MSG_ARG_NUMBER, pr,
              MSG_ARG_NUMBER, secs);
}

void slow_reverse_report(time_t start, int result, const sockaddr *addr, int flags)
{
    long took = elapsed_over(start);
    if (took < 0)
        return;
    char text[INET6_ADDRSTRLEN] = "null", secs[24], f[24];
    if (family_of(addr) == AF_INET)
        inet_ntop(AF_INET, &v4(addr)->sin_addr, text, sizeof text);
    else if (family_of(addr) == AF_INET6)
        inet_ntop(AF_INET6, &v6(addr)->sin6_addr, text, sizeof text);
    std::snprintf(secs, sizeof secs, "%ld", took);
    std::snprintf(f, sizeof f, "%d", flags);
    msg_print(0, kSeverity, MSG_TO_STDERR,
              "%s DNS lookup of address %s with flags %04x took %d seconds\n", MSG_ARG_TEXT,
              outcome(result), MSG_ARG_TEXT, text, MSG_ARG_NUMBER, f, MSG_ARG_NUMBER, secs);
}

}  // namespace cairn::net
