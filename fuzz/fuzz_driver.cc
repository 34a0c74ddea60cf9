#include "fuzz_driver.h"

#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "frame/request_loop.h"
#include "frame/startup.h"

namespace {

// Every answer that starts with a Content-Length header must carry exactly
// that many bytes after its header block.
void check_answer(const std::string& out) {
  const char kPrefix[] = "Content-Length: ";
  if (out.compare(0, sizeof kPrefix - 1, kPrefix) != 0) return;
  size_t header_end = out.find("\r\n\r\n");
  if (header_end == std::string::npos) {
    std::fprintf(stderr, "answer without the end of its headers\n");
    abort();
  }
  long announced = std::strtol(out.c_str() + sizeof kPrefix - 1, nullptr, 10);
  size_t sent = out.size() - (header_end + 4);
  if (announced < 0 || static_cast<size_t>(announced) != sent) {
    std::fprintf(stderr, "Content-Length %ld but %zu bytes sent\n", announced, sent);
    abort();
  }
}

struct FuzzCamera {
  std::string root;
  psia::SystemClock clock;
  std::unique_ptr<psia::request_context> ctx;
};

FuzzCamera& camera() {
  static FuzzCamera* made = [] {
    auto* c = new FuzzCamera;
    char root[] = "/tmp/psia-fuzz-XXXXXX";
    if (mkdtemp(root) == nullptr) abort();
    c->root = root;
    atexit([] {
      std::string remove = "rm -rf " + camera().root;
      if (system(remove.c_str()) != 0) std::fprintf(stderr, "could not remove the camera root\n");
    });
    std::string make = std::string("/bin/bash " PSIA_SOURCE_DIR "/scripts/make-root.sh ") + root;
    if (system(make.c_str()) != 0) abort();

    // Queues of this process's own that nobody serves: start-up attaches and
    // drains them, then they are removed so that every exchange fails at
    // once with status 2 instead of waiting for a reply.
    psia::Settings settings;
    settings.root = root;
    settings.request_queue_key = 0x5c000000 + (getpid() & 0xffff) * 2;
    settings.reply_queue_key = settings.request_queue_key + 1;
    settings.host_name = "fuzz-camera";
    int request_queue = msgget(settings.request_queue_key, IPC_CREAT | 0666);
    int reply_queue = msgget(settings.reply_queue_key, IPC_CREAT | 0666);
    c->ctx = std::make_unique<psia::request_context>(settings, c->clock);
    c->ctx->log.set_stream(nullptr);
    c->ctx->log.set_syslog(nullptr);
    if (request_queue < 0 || reply_queue < 0 || !psia::start_up(*c->ctx)) abort();
    msgctl(request_queue, IPC_RMID, nullptr);
    msgctl(reply_queue, IPC_RMID, nullptr);
    return c;
  }();
  return *made;
}

}  // namespace

void fuzz_start_up() { camera(); }

void fuzz_serve(const FuzzRequest& r) {
  FuzzCamera& c = camera();
  // The device identifier closes the connection once it is made; reopen it
  // so the rest of the run still reaches the store.
  if (!c.ctx->store.is_open())
    c.ctx->store.open(c.ctx->settings.host_path("/usr/local/korvia/kkorvia.db"), &c.clock);
  std::string content_length = std::to_string(r.body.size());
  psia::RequestParams params;
  params.method = r.method.c_str();
  params.uri = r.uri.c_str();
  params.query = r.query.empty() ? nullptr : r.query.c_str();
  params.authorization = r.authorization.empty() ? nullptr : r.authorization.c_str();
  params.content_length = r.content_length ? content_length.c_str() : nullptr;
  psia::StringInput in(r.body);
  psia::StringOutput out;
  psia::serve_request(*c.ctx, params, in, out);
  check_answer(out.text);
}

FuzzRequest fuzz_request_from_bytes(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::string fields[4];
  size_t at = 0;
  for (std::string& field : fields) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    field = text.substr(at, end - at);
    at = end < text.size() ? end + 1 : text.size();
  }
  FuzzRequest r;
  r.method = fields[0];
  r.uri = fields[1];
  r.query = fields[2];
  // "-" asks for no header at all; "admin" for the administrator's.
  if (fields[3] == "admin")
    r.authorization = "Basic YWRtaW46YWRtaW4=";
  else if (fields[3] != "-")
    r.authorization = fields[3];
  r.body = text.substr(at);
  r.content_length = !r.body.empty() || r.method != "GET";
  return r;
}
