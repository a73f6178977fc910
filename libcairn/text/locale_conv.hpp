// Conversions between UTF-8 and the current locale's multibyte text, with
// the detail the stream reader needs.
#pragma once

#include <cstddef>

namespace cairn::text {

// ox_mbs_to_utf8s() that also reports how many input bytes it used, so a
// caller can give back the bytes that did not fit.
int mbs_to_utf8(char *out, const char *in, std::size_t size, std::size_t *count, std::size_t *used);

// True when `text` is well-formed UTF-8 (at most four bytes a character,
// no value past U+10FFFF, no surrogate halves).
bool is_valid_utf8(const char *text);

// True when the locale's multibyte text is UTF-8 itself, or plain ASCII
// (the C locale, in which the C library passes bytes through unchanged):
// text for the console or the system then needs no conversion.
bool locale_passes_utf8();

}  // namespace cairn::text
