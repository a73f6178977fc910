// Where printerr() hands an error text for accrual into the thread's
// error record.  The error-accrual machinery arrives with the messages;
// until then the per-thread flag is off and nothing is accrued.
#pragma once

namespace cairn {

// Whether the calling thread accrues printed errors.
bool error_accrual_on();

// Hand `text` to the thread's error accrual.  The one call site of it.
void accrue_error_text(const char *text);

// For tests: turn accrual on or off for the calling thread and see the
// last accrued text (nullptr when none).
void set_error_accrual_for_testing(bool on);
const char *last_accrued_text_for_testing();

}  // namespace cairn
