// Debug settings for the length of one scope.
#pragma once

#include <cstdint>

#include "cairn/diagnostics.h"

namespace cairn::testing {

struct DebugScope {
    DebugScope(int32_t level, uint32_t trace) : level_(Debug), trace_(OxTrace)
    {
        Debug = level;
        OxTrace = trace;
    }
    ~DebugScope()
    {
        Debug = level_;
        OxTrace = trace_;
    }
    DebugScope(const DebugScope &) = delete;
    DebugScope &operator=(const DebugScope &) = delete;

private:
    int32_t level_;
    uint32_t trace_;
};

}  // namespace cairn::testing
