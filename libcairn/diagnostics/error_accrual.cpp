#include "diagnostics/error_accrual.hpp"

#include <cstdio>

namespace cairn {
namespace {

// Per thread, off for every new thread.
thread_local bool t_accrual_on = false;
thread_local char t_last_accrued[1024];
thread_local bool t_have_accrued = false;

}  // namespace

bool error_accrual_on() { return t_accrual_on; }

// Until the error records accrue texts, the text is only kept for the
// thread (bounded), so that the decision to accrue can be observed.
void accrue_error_text(const char *text)
{
    std::snprintf(t_last_accrued, sizeof t_last_accrued, "%s", text);
    t_have_accrued = true;
}

void set_error_accrual_for_testing(bool on)
{
    t_accrual_on = on;
    t_have_accrued = false;
}

const char *last_accrued_text_for_testing() { return t_have_accrued ? t_last_accrued : nullptr; }

}  // namespace cairn
