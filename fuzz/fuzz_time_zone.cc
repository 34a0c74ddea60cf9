// is_posix_time_zone on any text: never a read past the text.
#include <string>

#include "resources/system/posix_time_zone.h"

using namespace psia;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  is_posix_time_zone(text.c_str());
  last_line_of_zone_file(text);
  return 0;
}
