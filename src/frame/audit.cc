#include "frame/audit.h"

#include <syslog.h>

namespace psia {

namespace {

const size_t kAddressLimit = 64;
const size_t kUserLimit = 64;
const size_t kPathLimit = 160;

}  // namespace

namespace {

bool plain(char c) {
  auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\';
}

}  // namespace

void append_printable(text_buffer& line, const char* text, size_t limit) {
  static const char kHex[] = "0123456789abcdef";
  const char* c = text != nullptr ? text : "";
  size_t shown = 0;
  while (*c != '\0') {
    if (shown >= limit) {
      line.append("...", 3);
      return;
    }
    // A run of plain characters goes in with one copy.
    size_t run = 0;
    while (c[run] != '\0' && shown + run < limit && plain(c[run])) ++run;
    if (run > 0) {
      line.append(c, run);
      c += run;
      shown += run;
      continue;
    }
    auto byte = static_cast<unsigned char>(*c++);
    ++shown;
    if (byte == '"' || byte == '\\') {
      const char escaped[2] = {'\\', static_cast<char>(byte)};
      line.append(escaped, 2);
    } else {
      const char escaped[4] = {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
      line.append(escaped, 4);
    }
  }
}

// The lines are put together without a format: a flood of refused logins
// costs each one a few copies, not a formatting pass.
void audit_refused_login(Log& log, const char* address, const char* user, const char* reason) {
  text_buffer line;
  line.append("refused login from ");
  append_printable(line, address, kAddressLimit);
  line.append(" as \"");
  append_printable(line, user, kUserLimit);
  line.append("\": ");
  line.append(reason);
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_lockout(Log& log, const char* address, int failures, int64_t lockout_us) {
  text_buffer line;
  line.append("locked out ");
  append_printable(line, address, kAddressLimit);
  line.appendf(" for %lld s after %d failed logins", static_cast<long long>(lockout_us / 1000000),
               failures);
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_change(Log& log, const char* address, const char* user, const char* method,
                  const char* path, const Answer& answer) {
  text_buffer line;
  append_printable(line, method, 16);
  line.append(" ");
  append_printable(line, path, kPathLimit);
  line.append(" from ");
  append_printable(line, address, kAddressLimit);
  line.append(" by \"");
  append_printable(line, user, kUserLimit);
  line.append("\": ");
  switch (answer.kind()) {
    case Answer::Kind::statuses:
      for (size_t i = 0; i < answer.codes().size(); ++i)
        line.appendf("%s%d", i == 0 ? "status " : ", then ", answer.codes()[i]);
      if (answer.codes().empty()) line.append("no answer");
      break;
    case Answer::Kind::document: line.append("a document"); break;
    case Answer::Kind::file: line.append("a file"); break;
    case Answer::Kind::nothing:
    case Answer::Kind::unauthorized: line.append("no answer"); break;
  }
  log.audit(LOG_DAEMON | LOG_NOTICE, line);
}

}  // namespace psia
