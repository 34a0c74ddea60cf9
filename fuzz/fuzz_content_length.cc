// CONTENT_LENGTH against the body that really comes, for every PUT and POST
// route, the firmware and configuration uploads included:
//
//   byte 0   the route (kBodyRoutes)
//   byte 1   the largest piece one read of the body returns (0: any)
//   line     CONTENT_LENGTH as sent ("-": none)
//   line     the length of the body that comes, decimal, up to 1 MiB +
//            64 KiB (empty: the bytes given)
//   rest     the body's first bytes; spaces make up the length
//
// The responder must never read more than CONTENT_LENGTH says, and an
// upload either stores the whole body it was promised or leaves nothing in
// the transfer directory, not even its partial file.
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "fuzz_driver.h"

namespace {

constexpr size_t kLongestBody = (1 << 20) + (64 << 10);

std::string next_line(const std::string& text, size_t* at) {
  size_t end = text.find('\n', *at);
  if (end == std::string::npos) end = text.size();
  std::string line = text.substr(*at, end - *at);
  *at = end < text.size() ? end + 1 : end;
  return line;
}

bool exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s: %s\n", what, detail.c_str());
  abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const fuzz_route& route = kBodyRoutes[data[0] % kBodyRouteCount];
  std::string text(reinterpret_cast<const char*>(data + 2), size - 2);
  size_t at = 0;
  std::string length_text = next_line(text, &at);
  std::string body_length = next_line(text, &at);
  fuzz_request r;
  r.method = route.method;
  r.uri = route.uri;
  r.authorization = kAdminAuthorization;
  r.read_chunk = data[1];
  r.content_length = length_text != "-";
  r.content_length_text = length_text.c_str();
  r.body = text.substr(at);
  if (!body_length.empty())
    r.body.resize(std::strtoull(body_length.c_str(), nullptr, 10) % (kLongestBody + 1), ' ');

  const char* upload = std::strstr(r.uri.c_str(), "updateFirmware") != nullptr ? "psia_firmware.dat"
                       : std::strstr(r.uri.c_str(), "configurationData") != nullptr
                           ? "psia_config.dat"
                           : nullptr;
  std::string stored = fuzz_transfer_directory() + (upload != nullptr ? upload : "");
  if (upload != nullptr) std::remove(stored.c_str());

  fuzz_new_input();
  fuzz_result result = fuzz_serve(r);

  errno = 0;
  long long promised = r.content_length ? std::strtoll(length_text.c_str(), nullptr, 10) : 0;
  if (errno == 0 &&
      result.body_bytes_read > static_cast<unsigned long long>(promised < 0 ? 0 : promised))
    fail("read past CONTENT_LENGTH",
         length_text + ", " + std::to_string(result.body_bytes_read) + " bytes read");
  if (upload == nullptr) return 0;
  if (exists(stored + ".part")) fail("partial upload left behind", stored + ".part");
  bool answered_ok = result.out.find("<statusCode>1</statusCode>") != std::string::npos;
  if (!answered_ok) {
    if (exists(stored)) fail("failed upload left a file", stored);
    return 0;
  }
  std::ifstream file(stored, std::ios::binary);
  std::ostringstream kept;
  kept << file.rdbuf();
  if (promised <= 0 || static_cast<size_t>(promised) > r.body.size() ||
      kept.str() != r.body.substr(0, static_cast<size_t>(promised)))
    fail("upload stored other than the body promised", length_text);
  return 0;
}
