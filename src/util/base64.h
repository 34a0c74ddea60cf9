// Base64 decoding for HTTP Basic credentials.
#ifndef PSIA_UTIL_BASE64_H
#define PSIA_UTIL_BASE64_H

#include <cstddef>

namespace psia {

// Decodes `text` (NUL-terminated) into `out`, writing at most `capacity`
// bytes, and returns the count written. Bytes outside the RFC 4648 alphabet
// (padding, blanks, line ends) are skipped; decoding goes on past a full
// store, dropping what does not fit.
int base64_decode(const char* text, unsigned char* out, int capacity);

}  // namespace psia

#endif  // PSIA_UTIL_BASE64_H
