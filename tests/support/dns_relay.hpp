// A UDP forwarder that holds each DNS answer back for a fixed delay, put in
// front of the test DNS server to make lookups slow on purpose.
#pragma once

#include <atomic>
#include <thread>

namespace cairn::testing {

class DnsRelay {
public:
    DnsRelay() = default;
    DnsRelay(const DnsRelay &) = delete;
    DnsRelay &operator=(const DnsRelay &) = delete;
    ~DnsRelay() { stop(); }

    // Listen on 127.0.0.1:`listen_port`, forward to 127.0.0.1:`upstream_port`
    // and hand each answer back `delay_ms` after it arrived.  False (with a
    // message on stderr) when a socket cannot be made.
    bool start(int listen_port, int upstream_port, int delay_ms);
    void stop();

private:
    void run();

    int client_fd_ = -1;
    int upstream_fd_ = -1;
    int stop_fd_ = -1;
    int delay_ms_ = 0;
    std::thread thread_;
};

}  // namespace cairn::testing
