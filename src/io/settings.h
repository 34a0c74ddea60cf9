// Settings read once at start-up, from the environment. Under FastCGI the
// environment is replaced by each request's parameters, so they cannot be
// read later.
//
// Every number is checked whole (digits only, within its range): a value
// that does not read fully refuses start-up with a message that names the
// setting and what it accepts. Read any other way, "ten" or "-1" would
// turn the login guard off, and "1m" would make a one-second lock-out.
// The word settings (PSIA_AUTH_SCHEMES, PSIA_ACCESS_LEVELS) take their
// words exactly: a misspelt one never falls back to a default.
#ifndef PSIA_IO_SETTINGS_H
#define PSIA_IO_SETTINGS_H

#include <functional>
#include <string>
#include <vector>

namespace psia {

// The responder's own run-time directory (below PSIA_ROOT): the region of
// the camera's state its processes share and the Digest nonce key live there.
constexpr char kRuntimeDirectory[] = "/run/psia-responder";

// PSIA_AUTH_SCHEMES: which Authorization schemes log in.
enum class auth_schemes {
  basic,             // "basic": Basic only, the 401 as it has always been
  digest,            // "digest": Digest only, no password in clear
  digest_and_basic,  // "digest,basic": both, Digest offered first
};
// PSIA_ACCESS_LEVELS: which accounts log in.
enum class access_levels {
  admin_only,  // "admin-only": level 0 only
  enforce,     // "enforce": levels 0-3, the routing table's level rules decide
};

struct runtime_settings {
  std::string root;              // PSIA_ROOT, put in front of absolute paths
  int request_queue_key = 1111;  // PSIA_REQUEST_QUEUE_KEY
  int reply_queue_key = 2222;    // PSIA_REPLY_QUEUE_KEY
  // The device name shown when the database has none: HOSTNAME as the
  // responder was started, else the system's host name.
  std::string host_name;
  // The login guard (PSIA_LOGIN_ATTEMPTS failures in a row lock an address
  // out for PSIA_LOGIN_LOCKOUT seconds, doubling; 0 turns it off) and its
  // shared budget (PSIA_LOGIN_BUDGET failed logins a minute from all
  // addresses together; 0: none).
  int login_attempts = 10;
  int login_lockout = 60;
  int login_budget = 100;
  // PSIA_WORKERS: responder processes serving the one socket together (1:
  // one process, serving one request at a time).
  int workers = 2;
  auth_schemes schemes = auth_schemes::basic;
  access_levels levels = access_levels::admin_only;

  // An absolute file path of the camera, moved below `root` when it is set.
  std::string host_path(const std::string& absolute_path) const;
};

// A variable of the environment, or null (getenv's form).
using environment_lookup = std::function<const char*(const char* name)>;

// Reads the settings through `lookup`. False when a value is unusable:
// `problems` then holds one line per such setting (without a line end),
// and the responder must not start. An unset or empty variable gives the
// default.
bool read_settings(const environment_lookup& lookup, runtime_settings* settings,
                   std::vector<std::string>* problems);
// The same from the process environment.
bool load_settings(runtime_settings* settings, std::vector<std::string>* problems);

}  // namespace psia

#endif  // PSIA_IO_SETTINGS_H
