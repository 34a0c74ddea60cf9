#include "util/request_context.h"

#include <unistd.h>

#include <cstdlib>

#include "util/bounded_copy.h"

request_context& context() {
  static request_context ctx;
  return ctx;
}

namespace {

int key_from_environment(const char* name, int fallback) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  return parse_int(text);
}

}  // namespace

void load_settings_from_environment(request_context& ctx) {
  const char* root = std::getenv("PSIA_ROOT");
  ctx.root = root != nullptr ? root : "";
  // A trailing slash would double the one every absolute path starts with.
  while (!ctx.root.empty() && ctx.root.back() == '/') ctx.root.pop_back();
  ctx.request_queue_key = key_from_environment("PSIA_REQUEST_QUEUE_KEY", 1111);
  ctx.reply_queue_key = key_from_environment("PSIA_REPLY_QUEUE_KEY", 2222);
  const char* host = std::getenv("HOSTNAME");
  if (host != nullptr && *host != '\0') {
    copy_bounded(ctx.host_name, host);
  } else if (gethostname(ctx.host_name, sizeof ctx.host_name - 1) != 0) {
    ctx.host_name[0] = '\0';
  }
  ctx.host_name[sizeof ctx.host_name - 1] = '\0';
}

std::string host_path(const std::string& absolute_path) {
  const std::string& root = context().root;
  if (root.empty() || absolute_path.empty() || absolute_path[0] != '/')
    return absolute_path;
  return root + absolute_path;
}
