// The body walks of every handler that reads a document: the first byte
// picks the route (kBodyRoutes), the rest is the body.
#include "fuzz_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const fuzz_route& route = kBodyRoutes[data[0] % kBodyRouteCount];
  fuzz_request r;
  r.method = route.method;
  r.uri = route.uri;
  r.authorization = kAdminAuthorization;
  r.body.assign(reinterpret_cast<const char*>(data + 1), size - 1);
  fuzz_new_input();
  fuzz_serve(r);
  return 0;
}
