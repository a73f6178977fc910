// Matching text against a scanf-style form made of literal characters and
// integer conversions, the whole text at once.  The ISO 8601 reader states
// its forms this way; the matcher follows scanf's rules for the numbers
// without the cost and the undefined overflow of sscanf().
#pragma once

namespace cairn {

constexpr int kMaxFormValues = 8;

// Conversions understood: "%d" and "%ld", each with an optional width
// ("%04d": at most 4 characters; a leading 0 is part of the width).  A
// number may be preceded by white space (not counted in the width) and
// carries an optional sign and at least one digit.  Other form characters,
// blanks included, must appear in the text as they are.
//
// Returns the number of values stored in `values` when the form matches the
// whole text, or -1 when it does not: a literal or a number is missing, text
// is left over, or a number does not fit its type (int for %d, long for %ld).
int scan_form(const char *text, const char *form, long long (&values)[kMaxFormValues]);

// scan_form() for the beginning of the text only: on a match `end` points
// just after the matched text, which may go on.
int scan_prefix(const char *text, const char *form, long long (&values)[kMaxFormValues],
                const char *&end);

}  // namespace cairn
