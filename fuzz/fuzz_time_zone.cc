// validate_posix_time_zone on any text: a code from its list, never a
// read past the text.
#include <string>

#include "resources/system/posix_time_zone.h"

using namespace psia;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  int code = validate_posix_time_zone(text.c_str());
  if (code > 0 || code < -11) __builtin_trap();
  last_line_of_zone_file(text);
  return 0;
}
