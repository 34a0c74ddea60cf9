#include "fuzz_driver.h"

#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "frame/startup.h"
#include "io/stream.h"
#include "store/database.h"
#include "util/request_context.h"

namespace {

std::string g_root;
std::string g_output;
const std::string* g_input = nullptr;
size_t g_input_at = 0;

void capture_write(const void* data, size_t size) {
  g_output.append(static_cast<const char*>(data), size);
}

size_t feed_read(void* data, size_t size) {
  if (g_input == nullptr || g_input_at >= g_input->size()) return 0;
  size_t n = std::min(size, g_input->size() - g_input_at);
  std::memcpy(data, g_input->data() + g_input_at, n);
  g_input_at += n;
  return n;
}

void drop_error(const char*, size_t) {}

const stream_hooks kFuzzStreams = {capture_write, feed_read, drop_error};

void set_or_clear(const char* name, const std::string& value, bool present) {
  if (present)
    setenv(name, value.c_str(), 1);
  else
    unsetenv(name);
}

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

}  // namespace

void fuzz_start_up() {
  static bool started = false;
  if (started) return;
  started = true;
  char root[] = "/tmp/psia-fuzz-XXXXXX";
  if (mkdtemp(root) == nullptr) abort();
  g_root = root;
  atexit([] {
    std::string remove = "rm -rf " + g_root;
    if (system(remove.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", g_root.c_str());
  });
  std::string make = std::string("/bin/bash " PSIA_SOURCE_DIR "/scripts/make-root.sh ") + root;
  if (system(make.c_str()) != 0) abort();

  // Queues of this process's own that nobody serves: start-up attaches and
  // drains them, then the ids are dropped so that every exchange fails at
  // once with status 2 instead of waiting for a reply.
  int key = 0x5c000000 + (getpid() & 0xffff) * 2;
  setenv("PSIA_ROOT", root, 1);
  setenv("PSIA_REQUEST_QUEUE_KEY", std::to_string(key).c_str(), 1);
  setenv("PSIA_REPLY_QUEUE_KEY", std::to_string(key + 1).c_str(), 1);
  request_context& ctx = context();
  load_settings_from_environment(ctx);
  int request_queue = msgget(key, IPC_CREAT | 0666);
  int reply_queue = msgget(key + 1, IPC_CREAT | 0666);
  if (request_queue < 0 || reply_queue < 0 || !start_up(ctx)) abort();
  msgctl(request_queue, IPC_RMID, nullptr);
  msgctl(reply_queue, IPC_RMID, nullptr);
  ctx.request_queue_id = -1;
  ctx.reply_queue_id = -1;
  set_stream_hooks(&kFuzzStreams);
}

void fuzz_serve(const FuzzRequest& r) {
  fuzz_start_up();
  request_context& ctx = context();
  // The device identifier closes the connection once it is made; reopen it
  // so the rest of the run still reaches the store.
  if (ctx.db == nullptr) ctx.db = db_open(host_path("/usr/local/korvia/kkorvia.db").c_str());

  setenv("REQUEST_METHOD", r.method.c_str(), 1);
  setenv("REQUEST_URI", r.uri.c_str(), 1);
  set_or_clear("QUERY_STRING", r.query, !r.query.empty());
  set_or_clear("HTTP_AUTHORIZATION", r.authorization, !r.authorization.empty());
  set_or_clear("CONTENT_LENGTH", std::to_string(r.body.size()), r.content_length);
  g_output.clear();
  g_input = &r.body;
  g_input_at = 0;
  serve_request();
  g_input = nullptr;
  check_answer(g_output);
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
