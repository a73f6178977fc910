// A fresh directory for a test's files (message logs, debug logs, value
// files), removed with everything in it, and the lines of one file.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace cairn::testing {

class LogDir {
public:
    LogDir()
    {
        char tmpl[] = "/tmp/cairn-logs-XXXXXX";
        if (mkdtemp(tmpl) != nullptr)
            path_ = tmpl;
    }
    ~LogDir() { std::filesystem::remove_all(path_); }
    const char *path() const { return path_.c_str(); }
    std::string file(const char *name) const { return path_ + "/" + name; }

    std::vector<std::string> lines(const char *name) const
    {
        std::vector<std::string> out;
        std::ifstream in(file(name), std::ios::binary);
        for (std::string line; std::getline(in, line);)
            out.push_back(line);
        return out;
    }

    // Split a log line into its header (through "#<number>") and its text
    // (after ": "); false when there is no such split.
    static bool split(const std::string &line, std::string &head, std::string &text)
    {
        std::size_t hash = line.find(" #");
        std::size_t colon = hash == std::string::npos ? hash : line.find(": ", hash);
        if (colon == std::string::npos)
            return false;
        head = line.substr(0, colon);
        text = line.substr(colon + 2);
        return true;
    }

private:
    std::string path_;
};

}  // namespace cairn::testing
