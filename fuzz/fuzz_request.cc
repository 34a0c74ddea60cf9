// A whole request chosen by the fuzzer: method, path, query string,
// Authorization header and body, through authentication and routing to
// whichever handler the path reaches.
#include "fuzz_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz_new_input();
  fuzz_serve(fuzz_request_from_bytes(data, size));
  return 0;
}
