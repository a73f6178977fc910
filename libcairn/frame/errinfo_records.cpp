// Making errinfo records: the composite number from a type, a severity
// and a code, with the text and severity the type registry gives.
#include <cerrno>
#include <cstdlib>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "frame/errinfo_state.hpp"
#include "frame/error_types.hpp"

namespace cairn {
namespace {

constexpr int kCatalogDescriptor = 11;

int compose(int type, int severity, int code) { return ((type * 10) + severity) * 1000 + code; }

// errno's severity: 1 for success, 3 for the conditions worth a retry,
// 5 for everything else.  err_setsev() leaves EBUSY (16) out on purpose.
int errno_severity(int err, bool busy_is_error)
{
    if (err == 0)
        return 1;
    switch (err) {
    case 4:
    case 108:
    case 116:
    case 117:
    case 138:
        return 3;
    case 16:
        return busy_is_error ? 3 : 5;
    default:
        return 5;
    }
}

ErrLookup look_up(int type, int code, bool busy_is_error)
{
    if (type != 1)
        return err_type_lookup(type, code);
    return ErrLookup{ox_strerror(static_cast<uint32_t>(code)), errno_severity(code, busy_is_error),
                     0};
}

// A ring message with number and severity fields both from `number`.
msg_t *text_message(int number, int descriptor, const char *text)
{
    return msg_create(number, static_cast<uint32_t>(number), "%s", descriptor, text);
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

msg_t *err_setall(int type, int severity, int code, const char *text)
{
    ErrinfoState *state = errinfo_state();
    if (state == nullptr)
        return nullptr;
    ErrLookup found = look_up(type, code, true);
    if (text == nullptr)
        text = found.text;
    int number = compose(type, severity != 0 ? severity : found.severity, code);
    msg_t *made = text_message(number, MSG_ARG_ERRTEXT, text);
    msg_t *record = msg_copy(made);
    msg_free(made);  // its ring slot is free again
    if (record == nullptr)
        return nullptr;
    msg_free(state->record);
    state->record = record;
    state->catalog = found.catalog;
    return record;
}

msg_t *err_set(int type, int code)
{
    msg_t *record = err_setall(type, (code / 1000) % 10, code % 1000, nullptr);
    if (record == nullptr)
        return nullptr;
    int descriptor = errinfo_state()->catalog != 0 ? kCatalogDescriptor : MSG_ARG_ERRTEXT;
    return text_message(record->err.number, descriptor, record->text);
}

msg_t *err_setstr(int type, int code, const char *text)
{
    if (text == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    return text_message(compose(type, (code / 1000) % 10, code % 1000), MSG_ARG_ERRTEXT, text);
}

int err_setsev(int type, int severity, int code)
{
    if (severity == 0)
        severity = look_up(type, code, false).severity;
    return compose(type, severity, code);
}

msg_t *err_move_to_varp(err_varp *pair)
{
    if (pair == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    msg_t *msg = text_message(pair->number, MSG_ARG_ERRTEXT, pair->text ? pair->text : "");
    free(pair->text);
    pair->text = nullptr;
    return msg;
}

}  // extern "C"
