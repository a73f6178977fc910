// The debug-control file: one setting line that changes a running
// process's debug settings, read when the debug event fires.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn {

// A number of a setting line: leading white space, then "-" (decimal,
// negated), "0x", "0b", "0o" or plain decimal; at least one digit; parsing
// stops at the first character that is not a digit of the base.  The
// digits accumulate in 64 bits and the result is the low 32 bits.
bool parse_setting_number(const char *text, int32_t *value);

// A bit list: comma-separated numbers; N >= 1 sets bit (N - 1) mod 32.
bool parse_setting_bits(const char *text, uint32_t *value);

// Apply one setting line ("Debug=3", "Trace = 1,2", "MsgID", ...).
void apply_setting_line(const char *line);

// The change notice, as written to standard error, into `buf`.  Returns
// its length.
std::size_t format_change_notice(char *buf, std::size_t size, const char *label, int32_t old_value,
                                 int32_t new_value);

// The invalid-value line into `buf` (at most 512 bytes with the
// terminator).  Returns its length.
std::size_t format_invalid_value(char *buf, std::size_t size, const char *value,
                                 const char *keyword);

// What the control channel did so far: change notices written, invalid
// values refused and control files refused.  An operator's tool compares
// them before and after a firing to tell what became of its line.
struct ControlCounts {
    uint32_t notices;
    uint32_t invalid;
    uint32_t refused;
};
ControlCounts control_counts();

// The settings in force, "Keyword=value" each followed by `sep`, into
// `buf` (cut to fit).  Returns the length written.
std::size_t format_settings(char *buf, std::size_t size, char sep);

// The debug-control file's path: the one initialisation chose, else
// "oxdbg.tmp" in the current directory.
const char *debug_control_file();

}  // namespace cairn
