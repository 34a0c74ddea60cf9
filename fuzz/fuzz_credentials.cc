// base64_decode and the credential split on any header text.
#include <cstring>
#include <string>

#include "frame/authentication.h"
#include "util/base64.h"

using namespace psia;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  unsigned char decoded[128];
  // Capacities from none to the whole buffer: output must stay inside.
  int capacity = size > 0 ? data[0] % (sizeof decoded + 1) : 0;
  int count = base64_decode(text.c_str(), decoded, capacity);
  if (count < 0 || count > capacity) __builtin_trap();
  credentials parts;
  split_credentials(decoded, count, &parts);
  if (strnlen(parts.user, sizeof parts.user) >= sizeof parts.user ||
      strnlen(parts.password, sizeof parts.password) >= sizeof parts.password)
    __builtin_trap();
  return 0;
}
