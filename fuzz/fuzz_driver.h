// In-process driver shared by the request fuzz targets: one camera root per
// fuzzing process, the responder started on it with queues of its own and
// a virtual clock, and requests served through the same entry as the
// tests, with their answers checked.
//
// Every input starts from the same camera: the database is put back as it
// was made when an input changed it, and the process state that outlives a
// request (login guard, zone, last PTZ position, clock) is reset.
//
// The control daemon is played by the driver. Either it answers every
// command at once with status 1 (and a configuration file name or a
// position frame where the command returns data), or it is scripted: the
// input's replies wait in the reply queue before the request is served and
// nothing else answers; a scripted daemon may also be hung, gone or
// restarted. Waits are virtual, so a missing reply costs no real time;
// every command left in the request queue is taken after the request.
//
// The audit trail goes through the responder's own syslog client to a
// socket the driver reads; every line must be printable text.
#ifndef PSIA_FUZZ_FUZZ_DRIVER_H
#define PSIA_FUZZ_FUZZ_DRIVER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;

// A reply put in the reply queue before the request is served.
struct fuzz_reply {
  enum class reply_to { this_process, another_process, type_one };
  reply_to to = reply_to::this_process;
  int32_t command = 0;
  int32_t status = 1;
  std::string payload;  // from payload byte 0; zeros behind it
  size_t size = 1128;   // what msgsnd is told (the frame is 1128 bytes)
};

// What the scripted daemon does besides replying.
struct fuzz_daemon {
  bool hung = false;                     // takes no command: its queue stays full
  bool gone = false;                     // its queues are removed for the request
  bool restarted_before = false;         // its queues are made anew before the request
  bool restarted_while_waiting = false;  // ... at the responder's first wait
};

struct fuzz_request {
  std::string method;
  std::string uri;
  std::string query;          // QUERY_STRING, absent when empty
  std::string authorization;  // HTTP_AUTHORIZATION, absent when empty
  std::string body;
  // CONTENT_LENGTH: the body's size unless `content_length_text` is given.
  bool content_length = true;
  const char* content_length_text = nullptr;
  size_t read_chunk = 0;  // largest piece one read of the body returns; 0: any
  bool scripted_daemon = false;
  std::vector<fuzz_reply> replies;
  fuzz_daemon daemon;
  // Another process holds the database locked while the request is served.
  bool database_locked = false;
};

// What serving a request left.
struct fuzz_result {
  std::string out;
  size_t body_bytes_read = 0;
  std::vector<int32_t> commands;  // codes the daemon received, in order
};

extern const char kAdminAuthorization[];  // admin:admin

// Starts an input on the camera as it was made (made and started on the
// first call).
void fuzz_new_input();
// Serves one request. Aborts on a malformed answer (a Content-Length that
// differs from the bytes behind the header block, anything else than
// answers back to back), on a request that waited longer than the commands
// it sent may wait, and on a syslog line that is not printable text.
fuzz_result fuzz_serve(const fuzz_request& request);

// A connection of the driver's own to the camera's database: what is
// changed through it is undone by the next fuzz_new_input().
sqlite3* fuzz_database();
// Reads again what start-up reads from the database (PTZ support, model).
void fuzz_reread_start_up();
// The camera's transfer directory, with its trailing slash.
std::string fuzz_transfer_directory();

// Splits fuzzer bytes into the fields of a request at newlines:
// method, uri, query, authorization, then the rest as the body.
fuzz_request fuzz_request_from_bytes(const uint8_t* data, size_t size);

// The requests with a body (every PUT and POST route, the two uploads
// last), shared by the body targets; an input names one by its index.
struct fuzz_route {
  const char* method;
  const char* uri;
};
extern const fuzz_route kBodyRoutes[];
extern const size_t kBodyRouteCount;

#endif  // PSIA_FUZZ_FUZZ_DRIVER_H
