// Line input and string output with the stream's conversion, and closing
// streams and descriptors together with their place in the excepted list.
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/text.h"
#include "diagnostics/oxprint/excepted_fds.hpp"
#include "diagnostics/oxprint/output_path.hpp"
#include "platform/alloc.hpp"
#include "text/locale_conv.hpp"

using namespace cairn;
using namespace cairn::oxprint;

namespace {

// Converted output goes out in pieces of at most this many bytes.
constexpr std::size_t kPieceSize = 19455;

int clamp_count(std::size_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

bool put_bytes(FILE *stream, const char *data, std::size_t len)
{
    return len == 0 || std::fwrite(data, 1, len, stream) == len;
}

// Pieces are cut by bytes: a character that straddles a cut is split, and
// each half converts to '?'.
int put_converted(const char *text, FILE *stream)
{
    std::size_t len = std::strlen(text);
    std::size_t written = 0;
    char piece[kPieceSize + 1];
    for (std::size_t at = 0; at < len; at += kPieceSize) {
        std::size_t n = len - at < kPieceSize ? len - at : kPieceSize;
        std::memcpy(piece, text + at, n);
        piece[n] = '\0';
        LocaleText converted(piece, n);
        std::size_t out = std::strlen(converted.data());
        if (!put_bytes(stream, converted.data(), out))
            return -1;
        written += out;
    }
    return clamp_count(written);
}

bool reads_converted(FILE *stream)
{
    int fd = fileno(stream);
    return !is_utf8_descriptor(fd) || is_console(fd);
}

// Read a line in the locale's encoding and convert it; input bytes that
// did not fit after conversion are pushed back, last one first.
char *get_converted(char *buf, int size, FILE *stream)
{
    auto *line = static_cast<char *>(mem_alloc(static_cast<std::size_t>(size)));
    if (line == nullptr)
        return nullptr;
    if (std::fgets(line, size, stream) == nullptr) {
        mem_free(line);
        return nullptr;
    }
    std::size_t used = 0;
    text::mbs_to_utf8(buf, line, static_cast<std::size_t>(size), nullptr, &used);
    for (std::size_t i = std::strlen(line); i > used; --i)
        std::ungetc(static_cast<unsigned char>(line[i - 1]), stream);
    mem_free(line);
    return buf;
}

}  // namespace

extern "C" {

int ox_fputs(const char *text, FILE *stream)
{
    if (text == nullptr || stream == nullptr)
        return -1;
    if (!is_user_fp(stream) || text::locale_passes_utf8())
        return put_bytes(stream, text, std::strlen(text)) ? clamp_count(std::strlen(text)) : -1;
    return put_converted(text, stream);
}

int ox_puts(const char *text)
{
    int n = ox_fputs(text, stdout);
    if (n < 0 || ox_fputs("\n", stdout) < 0)
        return -1;
    return n == INT_MAX ? n : n + 1;
}

char *ox_fgets(char *buf, int size, FILE *stream)
{
    if (buf == nullptr || size <= 0 || stream == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return nullptr;
    }
    if (!reads_converted(stream) || text::locale_passes_utf8())
        return std::fgets(buf, size, stream);
    return get_converted(buf, size, stream);
}

char *ox_fgetmbts(char *buf, int size, FILE *stream) { return ox_fgets(buf, size, stream); }

int ox_fclose(FILE *stream)
{
    if (stream == nullptr) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return EOF;
    }
    int fd = fileno(stream);
    if (fd >= 0)
        excepted_remove(fd);
    return std::fclose(stream);
}

int ox_close(int fd)
{
    if (fd < 1)
        return 0;
    // A child between fork and exec must not wait on a lock that another
    // thread of the parent held at the fork.
    if (__atomic_load_n(&In_fork, __ATOMIC_RELAXED) != 0)
        excepted_remove_unlocked(fd);
    else
        excepted_remove(fd);
    return ::close(fd);
}

}  // extern "C"
