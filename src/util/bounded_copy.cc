#include "util/bounded_copy.h"

#include <climits>
#include <cstdlib>

namespace psia {

int parse_int(const char* text) {
  if (text == nullptr) return 0;
  long value = std::strtol(text, nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

}  // namespace psia
