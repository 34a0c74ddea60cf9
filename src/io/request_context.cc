#include "io/request_context.h"

#include <unistd.h>

#include <cstdlib>

#include "util/bounded_copy.h"

namespace psia {

namespace {

int number_from_environment(const char* name, int fallback) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  return parse_int(text);
}

}  // namespace

Settings load_settings() {
  Settings s;
  const char* root = std::getenv("PSIA_ROOT");
  s.root = root != nullptr ? root : "";
  // A trailing slash would double the one every absolute path starts with.
  while (!s.root.empty() && s.root.back() == '/') s.root.pop_back();
  s.request_queue_key = number_from_environment("PSIA_REQUEST_QUEUE_KEY", 1111);
  s.reply_queue_key = number_from_environment("PSIA_REPLY_QUEUE_KEY", 2222);
  s.login_attempts = number_from_environment("PSIA_LOGIN_ATTEMPTS", 10);
  s.login_lockout = number_from_environment("PSIA_LOGIN_LOCKOUT", 60);
  const char* host = std::getenv("HOSTNAME");
  char name[64] = "";
  if (host != nullptr && *host != '\0') {
    copy_bounded(name, host);
  } else if (gethostname(name, sizeof name - 1) != 0) {
    name[0] = '\0';
  }
  name[sizeof name - 1] = '\0';
  s.host_name = name;
  return s;
}

std::string Settings::host_path(const std::string& absolute_path) const {
  if (root.empty() || absolute_path.empty() || absolute_path[0] != '/') return absolute_path;
  return root + absolute_path;
}

}  // namespace psia
