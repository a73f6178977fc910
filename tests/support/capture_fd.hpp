// Capturing what the code under test writes to a descriptor (standard error
// for debug lines, standard output for printing), within one process.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace cairn::testing {

class CaptureFd {
public:
    explicit CaptureFd(int fd) : fd_(fd)
    {
        std::fflush(nullptr);
        char path[] = "/tmp/cairn-capture-XXXXXX";
        file_ = mkstemp(path);
        unlink(path);
        saved_ = dup(fd_);
        dup2(file_, fd_);
    }
    ~CaptureFd() { restore(); }
    CaptureFd(const CaptureFd &) = delete;
    CaptureFd &operator=(const CaptureFd &) = delete;

    // Everything written so far; the capture goes on.
    std::string text()
    {
        std::fflush(nullptr);
        std::string out;
        char buf[4096];
        ssize_t n;
        off_t pos = 0;
        while ((n = pread(file_, buf, sizeof buf, pos)) > 0) {
            out.append(buf, static_cast<std::size_t>(n));
            pos += n;
        }
        return out;
    }

    void restore()
    {
        if (saved_ < 0)
            return;
        std::fflush(nullptr);
        dup2(saved_, fd_);
        close(saved_);
        close(file_);
        saved_ = -1;
    }

private:
    int fd_;
    int file_ = -1;
    int saved_ = -1;
};

}  // namespace cairn::testing
