// request_context: the process-wide state that outlives a request. It is
// filled once at start-up and read by the handlers; nothing in it is
// refreshed while the process serves requests.
#ifndef PSIA_UTIL_REQUEST_CONTEXT_H
#define PSIA_UTIL_REQUEST_CONTEXT_H

#include <string>

struct sqlite3;
struct TimeZonePairList;

struct request_context {
  // The one connection to the configuration database; null once it has been
  // closed (see the device identifier in the System branch).
  sqlite3* db = nullptr;
  int request_queue_id = -1;  // control daemon request queue
  int reply_queue_id = -1;    // control daemon reply queue
  // Spec2.PTZSupport; only 2 opens the PTZ branch.
  int ptz_support = 0;
  // The first three characters of Spec.model (the model family), when known.
  bool has_model_prefix = false;
  char model_prefix[4] = {0, 0, 0, 0};
  TimeZonePairList* time_zone_table = nullptr;

  // Test and packaging seams, read once before the first request: under
  // FastCGI the environment is replaced by each request's parameters.
  std::string root;              // PSIA_ROOT, prepended to absolute paths
  int request_queue_key = 1111;  // PSIA_REQUEST_QUEUE_KEY
  int reply_queue_key = 2222;    // PSIA_REPLY_QUEUE_KEY
  // The device name shown when the database has none: HOSTNAME as the
  // responder was started, else the system's host name.
  char host_name[64] = "";
};

request_context& context();

// Reads PSIA_ROOT, the two queue keys and the host name from the process
// environment.
void load_settings_from_environment(request_context& ctx);

// An absolute file path of the camera, moved below PSIA_ROOT when it is set.
std::string host_path(const std::string& absolute_path);

#endif  // PSIA_UTIL_REQUEST_CONTEXT_H
