#include "frame/audit.h"

#include <syslog.h>

#include <cstdio>

namespace psia {

namespace {

const size_t kAddressLimit = 64;
const size_t kUserLimit = 64;
const size_t kPathLimit = 160;

}  // namespace

std::string printable(const char* text, size_t limit) {
  std::string out;
  for (const char* c = text != nullptr ? text : ""; *c != '\0'; ++c) {
    if (out.size() >= limit) return out + "...";
    unsigned char byte = static_cast<unsigned char>(*c);
    if (byte == '"' || byte == '\\') {
      out += '\\';
      out += static_cast<char>(byte);
    } else if (byte < 0x20 || byte >= 0x7f) {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      out += escape;
    } else {
      out += static_cast<char>(byte);
    }
  }
  return out;
}

void audit_refused_login(Log& log, const char* address, const char* user, const char* reason) {
  log.audit(LOG_AUTH | LOG_WARNING, "refused login from %s as \"%s\": %s", printable(address, kAddressLimit).c_str(),
            printable(user, kUserLimit).c_str(), reason);
}

void audit_lockout(Log& log, const char* address, int failures, int64_t lockout_us) {
  log.audit(LOG_AUTH | LOG_WARNING, "locked out %s for %lld s after %d failed logins",
            printable(address, kAddressLimit).c_str(), static_cast<long long>(lockout_us / 1000000), failures);
}

void audit_change(Log& log, const char* address, const char* user, const char* method, const char* path,
                  const Answer& answer) {
  std::string answered;
  switch (answer.kind()) {
    case Answer::Kind::statuses:
      for (int code : answer.codes()) answered += (answered.empty() ? "status " : ", then ") + std::to_string(code);
      if (answer.codes().empty()) answered = "no answer";
      break;
    case Answer::Kind::document: answered = "a document"; break;
    case Answer::Kind::file: answered = "a file"; break;
    case Answer::Kind::nothing:
    case Answer::Kind::unauthorized: answered = "no answer"; break;
  }
  log.audit(LOG_DAEMON | LOG_NOTICE, "%s %s from %s by \"%s\": %s", printable(method, 16).c_str(),
            printable(path, kPathLimit).c_str(), printable(address, kAddressLimit).c_str(),
            printable(user, kUserLimit).c_str(), answered.c_str());
}

}  // namespace psia
