#include "dns_relay.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <vector>

namespace cairn::testing {
namespace {

using Clock = std::chrono::steady_clock;

sockaddr_in loopback(int port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

int udp_socket(int bind_port, int connect_port)
{
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in a = loopback(bind_port);
    bool ok = bind_port < 0 || bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    a = loopback(connect_port);
    ok = ok && (connect_port < 0 || connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0);
    if (!ok) {
        perror("dns relay socket");
        close(fd);
        return -1;
    }
    return fd;
}

uint16_t query_id(const unsigned char *msg) { return static_cast<uint16_t>(msg[0] << 8 | msg[1]); }

struct HeldAnswer {
    Clock::time_point due;
    sockaddr_in to;
    std::vector<unsigned char> bytes;
};

}  // namespace

bool DnsRelay::start(int listen_port, int upstream_port, int delay_ms)
{
    delay_ms_ = delay_ms;
    client_fd_ = udp_socket(listen_port, -1);
    upstream_fd_ = udp_socket(-1, upstream_port);
    stop_fd_ = eventfd(0, EFD_CLOEXEC);
    if (client_fd_ < 0 || upstream_fd_ < 0 || stop_fd_ < 0) {
        stop();
        return false;
    }
    thread_ = std::thread([this] { run(); });
    return true;
}

void DnsRelay::stop()
{
    if (thread_.joinable()) {
        uint64_t one = 1;
        if (write(stop_fd_, &one, sizeof one) != sizeof one)
            perror("dns relay stop");
        thread_.join();
    }
    for (int *fd : {&client_fd_, &upstream_fd_, &stop_fd_}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
}

// One loop: queries go upstream at once, remembering who asked by query id;
// answers wait in arrival order until their delay has passed.
void DnsRelay::run()
{
    std::map<uint16_t, sockaddr_in> askers;
    std::deque<HeldAnswer> held;
    unsigned char buf[4096];
    for (;;) {
        int wait_ms = -1;
        if (!held.empty()) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(held.front().due -
                                                                              Clock::now());
            wait_ms = left.count() < 0 ? 0 : static_cast<int>(left.count());
        }
        pollfd fds[3] = {{client_fd_, POLLIN, 0}, {upstream_fd_, POLLIN, 0}, {stop_fd_, POLLIN, 0}};
        poll(fds, 3, wait_ms);
        if (fds[2].revents)
            return;
        if (fds[0].revents & POLLIN) {
            sockaddr_in from{};
            socklen_t len = sizeof from;
            ssize_t n =
                recvfrom(client_fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &len);
            if (n >= 12) {
                askers[query_id(buf)] = from;
                send(upstream_fd_, buf, static_cast<size_t>(n), 0);
            }
        }
        if (fds[1].revents & POLLIN) {
            ssize_t n = recv(upstream_fd_, buf, sizeof buf, 0);
            auto asker = n >= 12 ? askers.find(query_id(buf)) : askers.end();
            if (asker != askers.end()) {
                held.push_back({Clock::now() + std::chrono::milliseconds(delay_ms_), asker->second,
                                std::vector<unsigned char>(buf, buf + n)});
                askers.erase(asker);
            }
        }
        while (!held.empty() && held.front().due <= Clock::now()) {
            HeldAnswer &a = held.front();
            sendto(client_fd_, a.bytes.data(), a.bytes.size(), 0,
                   reinterpret_cast<sockaddr *>(&a.to), sizeof a.to);
            held.pop_front();
        }
    }
}

}  // namespace cairn::testing
