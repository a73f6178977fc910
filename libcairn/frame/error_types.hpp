// The error-type registry of the errinfo records: for each type 1..35 a
// name, the highest code and, by code, a message text and a severity.
// The built-in types are filled once on first use; err_settype() adds or
// replaces a type.
#pragma once

namespace cairn {

constexpr int kErrTypeMax = 35;

// Severity names of the errinfo model, by severity 0..5 ("info" for any
// other value).
const char *err_severity_name(int severity);

struct ErrLookup {
    const char *text;  // valid for the life of the process
    int severity;
    int catalog;  // the number before a ':' in the text, else 0
};

// Text and severity of `code` under `type` from the type's tables; an
// unregistered type or a code out of range gives "Unknown error" and 0.
// (Type 1's errno rule is the caller's.)
ErrLookup err_type_lookup(int type, int code);

}  // namespace cairn
