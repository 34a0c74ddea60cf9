// Bounded copies into the fixed-size text fields that the handlers keep
// (names and passwords 32 bytes, element values 128, paths 256). A longer
// text is cut to size - 1 characters; nothing is ever written past a field.
#ifndef PSIA_UTIL_BOUNDED_COPY_H
#define PSIA_UTIL_BOUNDED_COPY_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace psia {

inline void copy_bounded(char* field, size_t size, const char* text) {
  if (size == 0) return;
  if (text == nullptr) text = "";
  size_t n = std::strlen(text);
  if (n >= size) n = size - 1;
  std::memcpy(field, text, n);
  field[n] = '\0';
}

template <size_t N>
inline void copy_bounded(char (&field)[N], const char* text) {
  copy_bounded(field, N, text);
}

// Base-10 integer of the leading digits of a text, 0 when there are none:
// how every number in a path, a body or a database cell is read. Saturates
// instead of overflowing.
int parse_int(const char* text);

// value * factor as the camera's 32-bit arithmetic gives it (wrapping),
// without the undefined overflow of int: for values read from the database
// and shown scaled (frames, milliseconds).
inline int times_wrapped(int value, int factor) {
  return static_cast<int>(static_cast<uint32_t>(static_cast<int64_t>(value) * factor));
}

}  // namespace psia

#endif  // PSIA_UTIL_BOUNDED_COPY_H
