// The PTZ query-string scan on any text: values handed on always begin
// with '=' and fit their 128-byte field.
#include <cstring>
#include <string>

#include "resources/ptz/ptz_motion.h"

using namespace psia;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string query(reinterpret_cast<const char*>(data), size);
  const char* const keys[] = {"PAN", "TILT", "ZOOM", "AZIMUTH", "ELEVATION", "ABSOLUTEZOOM"};
  scan_ptz_query(query.c_str(), keys, 6, [](int key, const char* value) {
    if (key < 0 || key > 5 || std::strlen(value) > 127) __builtin_trap();
    if (value[0] != '\0' && value[0] != '=') __builtin_trap();
  });
  return 0;
}
