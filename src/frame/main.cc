// psia-responder: the configuration and control service of the camera's PSIA
// resource tree. One single-threaded FastCGI process behind the camera's web
// server (or, unchanged, a plain CGI program): it starts up once and then
// serves requests strictly one after another.
#include <fcgi_stdio.h>

#include "frame/startup.h"
#include "store/database.h"
#include "util/request_context.h"

int main() {
  request_context& ctx = context();
  // Read before the first accept: FastCGI replaces the environment with each
  // request's parameters.
  load_settings_from_environment(ctx);
  if (!start_up(ctx)) return -1;

  while (FCGI_Accept() >= 0) serve_request();

  db_close_main();
  return 0;
}
