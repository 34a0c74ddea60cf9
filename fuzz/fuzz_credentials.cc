// base64_decode and the credential split on any header text, and the
// Digest parameters read from it (as the text after "Digest ").
#include <cstring>
#include <string>

#include "frame/authentication.h"
#include "frame/digest.h"
#include "util/base64.h"

using namespace psia;

namespace {

class fixed_clock final : public clock_source {
 public:
  timeval wall_time() override { return {1305195630, 0}; }
  int64_t monotonic_us() override { return 1000000; }
  void sleep_us(int64_t) override {}
};

}  // namespace

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
  // Digest: every field stays inside its store, and a usable login's
  // response is computed whatever the fields hold.
  static fixed_clock clock;
  static request_context* ctx = [] {
    auto* c = new request_context(runtime_settings(), clock);
    c->camera.own().digest.key_loaded = true;
    return c;
  }();
  digest_login login = read_digest(*ctx, text.c_str(), "/PSIA/index");
  if (strnlen(login.user, sizeof login.user) >= sizeof login.user ||
      strnlen(login.cnonce, sizeof login.cnonce) >= sizeof login.cnonce)
    __builtin_trap();
  if (login.checked == digest_login::verdict::usable)
    digest_matches(login, "admin", "GET", "/PSIA/index");
  return 0;
}
