#include "io/settings.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "util/bounded_copy.h"

namespace psia {

namespace {

struct number_setting {
  const char* name;
  int runtime_settings::*field;
  int low, high;
  const char* meaning;  // what the values mean, for the message
};

const number_setting kNumbers[] = {
    {"PSIA_REQUEST_QUEUE_KEY", &runtime_settings::request_queue_key, 1, 2147483647,
     "the control daemon's request queue key"},
    {"PSIA_REPLY_QUEUE_KEY", &runtime_settings::reply_queue_key, 1, 2147483647,
     "the control daemon's reply queue key"},
    {"PSIA_LOGIN_ATTEMPTS", &runtime_settings::login_attempts, 0, 1000,
     "failed logins before a lock-out; 0 turns the login guard off"},
    {"PSIA_LOGIN_LOCKOUT", &runtime_settings::login_lockout, 0, 900,
     "seconds of the first lock-out; 0 turns the login guard off"},
    {"PSIA_LOGIN_BUDGET", &runtime_settings::login_budget, 0, 100000,
     "failed logins a minute from all addresses; 0: no shared budget"},
    {"PSIA_WORKERS", &runtime_settings::workers, 1, 16,
     "responder processes serving the socket together; 1: one process"},
};

// A setting that takes one of a few words.
struct word_setting {
  const char* name;
  const char* const* words;  // null-terminated
  const char* meaning;
};

const char* const kSchemeWords[] = {"basic", "digest", "digest,basic", nullptr};
const char* const kLevelWords[] = {"admin-only", "enforce", nullptr};

const word_setting kWords[] = {
    {"PSIA_AUTH_SCHEMES", kSchemeWords, "the Authorization schemes that log in"},
    {"PSIA_ACCESS_LEVELS", kLevelWords,
     "admin-only: only level-0 accounts log in; enforce: levels 0 to 3, each as the "
     "resource's rules allow"},
};

// Digits only, no sign or blank, and within [low, high].
bool read_number(const char* text, int low, int high, int* value) {
  long long n = 0;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9') return false;
    n = n * 10 + (*c - '0');
    if (n > high) return false;
  }
  if (n < low) return false;
  *value = static_cast<int>(n);
  return true;
}

// The value as the message shows it: printable and short.
std::string shown(const char* text) {
  std::string out;
  for (const char* c = text; *c != '\0' && out.size() < 32; ++c)
    out += (*c >= 0x20 && *c < 0x7f) ? *c : '?';
  return std::strlen(text) > out.size() ? out + "..." : out;
}

}  // namespace

bool read_settings(const environment_lookup& lookup, runtime_settings* settings,
                   std::vector<std::string>* problems) {
  runtime_settings& s = *settings;
  s = runtime_settings();
  const char* root = lookup("PSIA_ROOT");
  s.root = root != nullptr ? root : "";
  // A trailing slash would double the one every absolute path starts with.
  while (!s.root.empty() && s.root.back() == '/') s.root.pop_back();
  bool usable = true;
  for (const number_setting& n : kNumbers) {
    const char* text = lookup(n.name);
    if (text == nullptr || *text == '\0') continue;
    if (read_number(text, n.low, n.high, &(s.*n.field))) continue;
    usable = false;
    problems->push_back(std::string("PSIA: ") + n.name + "=\"" + shown(text) +
                        "\" is not a setting: it takes a whole number (digits only) from " +
                        std::to_string(n.low) + " to " + std::to_string(n.high) + ", " + n.meaning);
  }
  int chosen[2] = {0, 0};
  for (int w = 0; w < 2; ++w) {
    const word_setting& setting = kWords[w];
    const char* text = lookup(setting.name);
    if (text == nullptr || *text == '\0') continue;
    int i = 0;
    while (setting.words[i] != nullptr && std::strcmp(setting.words[i], text) != 0) ++i;
    if (setting.words[i] != nullptr) {
      chosen[w] = i;
      continue;
    }
    usable = false;
    std::string accepted;
    for (int k = 0; setting.words[k] != nullptr; ++k)
      accepted += std::string(k == 0                            ? ""
                              : setting.words[k + 1] == nullptr ? " or "
                                                                : ", ") +
                  setting.words[k];
    problems->push_back(std::string("PSIA: ") + setting.name + "=\"" + shown(text) +
                        "\" is not a setting: it takes " + accepted + ", " + setting.meaning);
  }
  s.schemes = static_cast<auth_schemes>(chosen[0]);
  s.levels = static_cast<access_levels>(chosen[1]);
  const char* host = lookup("HOSTNAME");
  char name[64] = "";
  if (host != nullptr && *host != '\0') {
    copy_bounded(name, host);
  } else if (gethostname(name, sizeof name - 1) != 0) {
    name[0] = '\0';
  }
  name[sizeof name - 1] = '\0';
  s.host_name = name;
  return usable;
}

bool load_settings(runtime_settings* settings, std::vector<std::string>* problems) {
  return read_settings([](const char* name) { return std::getenv(name); }, settings, problems);
}

std::string runtime_settings::host_path(const std::string& absolute_path) const {
  if (root.empty() || absolute_path.empty() || absolute_path[0] != '/') return absolute_path;
  return root + absolute_path;
}

}  // namespace psia
