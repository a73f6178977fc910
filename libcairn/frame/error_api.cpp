// The exported error calls: the thread's last error, the mappings and the
// message texts.
#include <netdb.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "frame/error_mapping.hpp"
#include "frame/last_error.hpp"
#include "frame/system_messages.hpp"

using namespace cairn;

namespace {

constexpr const char kUnknownError[] = "Unknown error";

void copy_bounded(char *buf, int size, const char *text)
{
    std::size_t n = std::strlen(text);
    if (n > static_cast<std::size_t>(size) - 1)
        n = static_cast<std::size_t>(size) - 1;
    std::memcpy(buf, text, n);
    buf[n] = '\0';
}

// Win32 and shadow-copy texts lose their final line break and carry the code.
void format_system_text(char *buf, int size, const char *text, int kind, uint32_t code)
{
    char trimmed[kMessageBufferSize];
    std::size_t n = std::strlen(text);
    if (n >= sizeof trimmed)
        n = sizeof trimmed - 1;
    std::memcpy(trimmed, text, n);
    trimmed[n] = '\0';
    if (n < 999 && n > 2 && trimmed[n - 2] == '\r' && trimmed[n - 1] == '\n') {
        trimmed[n - 2] = ' ';
        trimmed[n - 1] = '\0';
    }
    const char *form = kind == OX_ERRKIND_WIN32 ? "%s(Win32 error 0x%x)" : "%s(VSS error 0x%x)";
    std::snprintf(buf, static_cast<std::size_t>(size), form, trimmed, code);
}

void native_message(char *buf, int size, int kind, uint32_t code)
{
    ErrorRecord *rec = error_record();
    if (kind == OX_ERRKIND_ERRNO && classify_errno_for_message(code) == ErrnoClass::winsock) {
        // Networking errno values are reported as their Winsock codes, and
        // the thread's record says so from now on.
        kind = OX_ERRKIND_WINSOCK;
        code = winsock_from_errno(static_cast<int>(code));
        if (rec) {
            rec->kind = kind;
            rec->code = code;
        }
    }
    switch (kind) {
    case OX_ERRKIND_ERRNO: {
        char tmp[256];
        copy_bounded(buf, size, strerror_r(static_cast<int>(code), tmp, sizeof tmp));
        return;
    }
    case OX_ERRKIND_RESOLVER:
        copy_bounded(buf, size, gai_strerror(static_cast<int>(code)));
        return;
    case OX_ERRKIND_WIN32:
    case OX_ERRKIND_WINSOCK:
    case OX_ERRKIND_VSS: {
        // The system table holds no shadow-copy texts: those read unknown.
        const char *text = kind == OX_ERRKIND_VSS ? nullptr : system_message_text(code);
        if (text == nullptr)
            break;
        if (kind == OX_ERRKIND_WINSOCK)
            copy_bounded(buf, size, text);
        else
            format_system_text(buf, size, text, kind, code);
        return;
    }
    default:
        break;
    }
    copy_bounded(buf, size, kUnknownError);
}

}  // namespace

extern "C" {

int ox_error_set_last(uint32_t code, int kind)
{
    if (ErrorRecord *rec = error_record_create()) {
        rec->kind = kind;
        rec->code = code;
    }
    if (kind == OX_ERRKIND_ERRNO)
        errno = static_cast<int>(code);
    return portable_from_native(code, kind);
}

int ox_error_get_last(void)
{
    ErrorRecord *rec = error_record();
    return rec ? portable_from_native(rec->code, rec->kind) : OX_SUCCESS;
}

uint32_t ox_error_get_last_native(int *kind)
{
    ErrorRecord *rec = error_record();
    if (kind)
        *kind = rec ? rec->kind : OX_ERRKIND_ERRNO;
    return rec ? rec->code : 0;
}

int ox_error_from_errno(int err)
{
    return portable_from_native(static_cast<uint32_t>(err), OX_ERRKIND_ERRNO);
}

int ox_error_from_win32(uint32_t win32) { return portable_from_native(win32, OX_ERRKIND_WIN32); }

int ox_error_from_winsock(uint32_t wsa) { return portable_from_native(wsa, OX_ERRKIND_WINSOCK); }

int ox_error_from_resolver(int eai)
{
    return portable_from_native(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER);
}

int ox_error_from_native(uint32_t code, int kind) { return portable_from_native(code, kind); }

int ox_error_to_errno(int code) { return errno_from_portable(code); }

int ox_errno_from_win32(uint32_t win32)
{
    ox_error_set_last(win32, OX_ERRKIND_WIN32);
    return errno_from_portable(ox_error_from_win32(win32));
}

void ox_error_get_message(char *buf, int size)
{
    if (buf == nullptr || size <= 0)
        return;
    int kind = OX_ERRKIND_ERRNO;
    uint32_t code = ox_error_get_last_native(&kind);
    native_message(buf, size, kind, code);
}

char *ox_strerror(uint32_t code)
{
    int saved_errno = errno;
    ErrorRecord *rec = error_record_create();
    if (rec == nullptr) {
        static thread_local char fallback[kMessageBufferSize];
        char *text = strerror_r(static_cast<int>(code), fallback, sizeof fallback);
        if (text != fallback)
            copy_bounded(fallback, sizeof fallback, text);
        errno = saved_errno;
        return fallback;
    }
    int saved_kind = rec->kind;
    uint32_t saved_code = rec->code;
    if (code & OX_STRERROR_WIN32)
        ox_error_set_last(code & ~OX_STRERROR_WIN32, OX_ERRKIND_WIN32);
    else
        ox_error_set_last(code, OX_ERRKIND_ERRNO);
    ox_error_get_message(rec->message, kMessageBufferSize);
    ox_error_set_last(saved_code, saved_kind);
    errno = saved_errno;
    return rec->message;
}

}  // extern "C"
