#include "child_process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

namespace cairn::testing {
namespace {

void drain(int fd, std::string &into)
{
    char buf[4096];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0)
        into.append(buf, static_cast<size_t>(n));
}

}  // namespace

ChildResult run_in_child(const std::function<void()> &body, int timeout_ms)
{
    ChildResult result;
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0)
        return result;
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        close(out[0]);
        close(err[0]);
        close(out[1]);
        close(err[1]);
        body();
        fflush(nullptr);
        // A failed assertion in the child reaches the parent by the status.
        std::exit(::testing::Test::HasFailure() ? kChildAssertionFailed : 0);
    }
    close(out[1]);
    close(err[1]);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    fcntl(err[0], F_SETFL, O_NONBLOCK);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int status = 0;
    bool timed_out = false;
    for (;;) {
        struct pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
        poll(fds, 2, 20);
        drain(out[0], result.out);
        drain(err[0], result.err);
        if (waitpid(pid, &status, WNOHANG) == pid)
            break;
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            timed_out = true;
            break;
        }
    }
    fcntl(out[0], F_SETFL, 0);
    fcntl(err[0], F_SETFL, 0);
    drain(out[0], result.out);
    drain(err[0], result.err);
    close(out[0]);
    close(err[0]);
    if (WIFEXITED(status)) {
        result.exited = true;
        result.exit_code = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    if (timed_out)
        ADD_FAILURE() << "the child did not end within " << timeout_ms << " ms\n"
                      << result.out << result.err;
    else if (result.exited && result.exit_code == kChildAssertionFailed)
        ADD_FAILURE() << "an assertion failed in the child:\n" << result.out << result.err;
    return result;
}

}  // namespace cairn::testing
