// psia-responder: the configuration and control service of the camera's PSIA
// resource tree. Single-threaded FastCGI processes behind the camera's web
// server (or, unchanged, a plain CGI program): each starts up once and then
// serves requests strictly one after another; several of them on the one
// socket (PSIA_WORKERS) share the camera's state (io/shared_camera.h).
//
//   psia-responder                   one process
//   psia-responder --start-workers   PSIA_WORKERS processes on the socket of
//                                    standard input, and their parent (the
//                                    process alone when PSIA_WORKERS is 1)
//
// This is the only file that sees libfcgi's stdio layer; its printf is
// libfcgi's own formatter, so nothing here formats through it: every answer
// reaches the streams as bytes.
#include <fcgi_stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frame/request_loop.h"
#include "frame/startup.h"
#include "frame/workers.h"
#include "util/stop.h"
#include "util/syslog.h"

namespace {

class fcgi_output final : public psia::output_stream {
 public:
  void write(const void* data, size_t size) override {
    // FCGI_fwrite takes a non-const pointer but does not write through it.
    if (size > 0) FCGI_fwrite(const_cast<void*>(data), 1, size, FCGI_stdout);
  }
};

class fcgi_input final : public psia::input_stream {
 public:
  size_t read(void* data, size_t size) override {
    return size > 0 ? FCGI_fread(data, 1, size, FCGI_stdin) : 0;
  }
};

// Before the first accept libfcgi has not bound its error stream to
// anything and would drop the text: start-up failures go straight to
// descriptor 2, which the web server (or the shell) logs.
void write_error(const char* text, size_t size) {
  if (FCGI_stderr->stdio_stream == nullptr && FCGI_stderr->fcgx_stream == nullptr) {
    ssize_t ignored = ::write(2, text, size);
    (void)ignored;
    return;
  }
  FCGI_fwrite(const_cast<char*>(text), 1, size, FCGI_stderr);
}

}  // namespace

int main(int argc, char** argv) {
  psia::system_clock clock;
  // Settings are read before the first accept: FastCGI replaces the
  // environment with each request's parameters.
  psia::runtime_settings settings;
  std::vector<std::string> problems;
  bool usable = psia::load_settings(&settings, &problems);
  // Under CGI each request is a process of its own: only what guards
  // logins is shared (README.md, "Several workers").
  bool cgi = FCGX_IsCGI();
  if (usable && !cgi && argc > 1 && std::strcmp(argv[1], "--start-workers") == 0) {
    psia::event_log parent_log;
    parent_log.set_stream(write_error);
    psia::install_stop_handlers(nullptr);
    int status = psia::run_workers(settings.workers, clock, parent_log);
    if (status >= 0) return status;
  }
  psia::request_context ctx(settings, clock);
  ctx.log.set_stream(write_error);
  psia::syslog_socket syslog(ctx.settings.host_path("/dev/log"), "psia-responder");
  ctx.log.set_syslog([&syslog](int priority, const char* line) { syslog.send(priority, line); });
  // SIGTERM and SIGINT end the process after the request in hand; libfcgi
  // is told too, or its accept() would carry on after the signal.
  psia::install_stop_handlers(FCGX_ShutdownPending);
  // A setting that does not read is never replaced by a guess: the guard's
  // would fail open.
  for (const std::string& problem : problems) ctx.log.error("%s\n", problem.c_str());
  if (!usable) return -1;
  if (!psia::start_up(ctx,
                      cgi ? psia::camera_sharing::guard_only : psia::camera_sharing::whole_camera))
    return psia::stop_requested() ? 0 : -1;

  fcgi_output out;
  fcgi_input in;
  while (!psia::stop_requested() && FCGI_Accept() >= 0) {
    psia::request_params params;
    params.uri = getenv("REQUEST_URI");
    params.method = getenv("REQUEST_METHOD");
    params.query = getenv("QUERY_STRING");
    params.content_length = getenv("CONTENT_LENGTH");
    params.authorization = getenv("HTTP_AUTHORIZATION");
    params.remote_addr = getenv("REMOTE_ADDR");
    psia::serve_request(ctx, params, in, out);
  }
  FCGI_Finish();  // the last request's answer, when a stop ended the loop
  ctx.store.close();
  return 0;
}
