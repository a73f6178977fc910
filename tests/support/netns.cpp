#include "netns.hpp"
#include "child_exit.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "dns_relay.hpp"

namespace cairn::testing {
namespace {

constexpr int kDnsPort = 53;
constexpr int kUpstreamPort = 5353;  // the server's port when the relay sits on 53

[[noreturn]] void refuse(const char *what)
{
    fprintf(stderr, "%s: %s\n", what, strerror(errno));
    fflush(nullptr);
    _exit(kNetnsRefused);
}

[[noreturn]] void broken(const std::string &what)
{
    fprintf(stderr, "netns set-up: %s: %s\n", what.c_str(), strerror(errno));
    fflush(nullptr);
    _exit(3);
}

void bring_up_loopback()
{
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq req{};
    strncpy(req.ifr_name, "lo", IFNAMSIZ - 1);
    if (fd < 0 || ioctl(fd, SIOCGIFFLAGS, &req) != 0)
        broken("reading lo flags");
    req.ifr_flags = static_cast<short>(req.ifr_flags | IFF_UP | IFF_RUNNING);
    if (ioctl(fd, SIOCSIFFLAGS, &req) != 0)
        broken("bringing lo up");
    close(fd);
}

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << text;
    if (!f.flush())
        broken("writing " + path);
}

// The file at `target` shows `text` inside this mount namespace only.
void cover(const std::string &dir, const char *name, const char *target, const std::string &text)
{
    std::string path = dir + "/" + name;
    write_file(path, text);
    if (mount(path.c_str(), target, nullptr, MS_BIND, nullptr) != 0)
        broken(std::string("bind-mounting over ") + target);
}

bool tcp_port_open(int port)
{
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool open = connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    close(fd);
    return open;
}

pid_t start_dnsmasq(const NetnsOptions &o, const std::string &dir, int port)
{
    std::vector<std::string> args = {"dnsmasq",
                                     "--keep-in-foreground",
                                     "--no-hosts",
                                     "--no-resolv",
                                     "--conf-file=/dev/null",
                                     "--user=root",
                                     "--group=root",
                                     "--listen-address=127.0.0.1",
                                     "--bind-interfaces",
                                     "--port=" + std::to_string(port),
                                     "--log-queries",
                                     "--log-facility=" + dir + "/dns.log",
                                     "--pid-file=" + dir + "/dnsmasq.pid"};
    args.insert(args.end(), o.dns_records.begin(), o.dns_records.end());
    pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);  // never outlive a body that exits early
        std::vector<char *> argv;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execvp("dnsmasq", argv.data());
        perror("exec dnsmasq");
        _exit(127);
    }
    // The server is ready once it accepts on its TCP port (it serves both).
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!tcp_port_open(port)) {
        int status;
        if (waitpid(pid, &status, WNOHANG) == pid)
            broken("dnsmasq ended at start-up (is it installed? tools/run setup)");
        if (std::chrono::steady_clock::now() > deadline)
            broken("dnsmasq did not start listening");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return pid;
}

void stop_process(pid_t pid)
{
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
}

int failed_parts()
{
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    if (info == nullptr)
        return 0;
    int failed = 0;
    for (int i = 0; i < info->result()->total_part_count(); ++i)
        failed += info->result()->GetTestPartResult(i).failed();
    return failed;
}

void remove_dir(const std::string &dir)
{
    for (const char *name : {"hosts", "nsswitch.conf", "resolv.conf", "dns.log", "dnsmasq.pid"})
        unlink((dir + "/" + name).c_str());
    rmdir(dir.c_str());
}

void run_inside(const NetnsOptions &o, const std::function<void(NetNamespace &)> &body)
{
    if (unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS) != 0)
        refuse("unshare(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS)");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        refuse("making mounts private");
    bring_up_loopback();
    if (!o.hostname.empty() && sethostname(o.hostname.data(), o.hostname.size()) != 0)
        broken("sethostname");
    char tmpl[] = "/tmp/cairn-netns-XXXXXX";
    if (mkdtemp(tmpl) == nullptr)
        broken("mkdtemp");
    std::string dir = tmpl;
    cover(dir, "hosts", "/etc/hosts", o.hosts);
    cover(dir, "nsswitch.conf", "/etc/nsswitch.conf", o.nsswitch);
    cover(dir, "resolv.conf", "/etc/resolv.conf", o.resolv);

    pid_t dns = -1;
    DnsRelay relay;
    if (o.dnsmasq) {
        int port = o.relay_delay_ms > 0 ? kUpstreamPort : kDnsPort;
        dns = start_dnsmasq(o, dir, port);
        if (o.relay_delay_ms > 0 && !relay.start(kDnsPort, port, o.relay_delay_ms))
            broken("starting the delaying relay");
    }
    int failed_before = failed_parts();
    NetNamespace ns(dir);
    body(ns);
    int failed = failed_parts() - failed_before;
    relay.stop();
    if (dns > 0)
        stop_process(dns);
    remove_dir(dir);
    fflush(nullptr);
    cairn::testing::child_exit(failed ? 1 : 0);
}

}  // namespace

int NetNamespace::dns_queries() const
{
    std::ifstream log(dir_ + "/dns.log");
    std::string line;
    int n = 0;
    while (std::getline(log, line))
        n += line.find(" query[") != std::string::npos;
    return n;
}

ChildResult run_in_netns(const NetnsOptions &options,
                         const std::function<void(NetNamespace &)> &body)
{
    return run_in_child([&] { run_inside(options, body); }, options.timeout_ms);
}

bool netns_required()
{
    const char *ci = getenv("CI");
    return ci != nullptr && strcmp(ci, "true") == 0;
}

}  // namespace cairn::testing
