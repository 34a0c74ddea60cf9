#include "frame/audit.h"

#include <syslog.h>

namespace psia {

namespace {

// Escaped sizes: an address (45 characters of IPv6 at most) and the user
// name (31 bytes, four each when escaped) are shown whole.
const size_t kAddressLimit = 64;
const size_t kUserLimit = 128;
const size_t kMethodLimit = 16;

bool plain(char c) {
  auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\';
}

size_t escaped_size(char c) {
  if (plain(c)) return 1;
  return c == '"' || c == '\\' ? 2 : 4;
}

}  // namespace

void append_printable(text_buffer& line, const char* text, size_t limit) {
  static const char kHex[] = "0123456789abcdef";
  const char* c = text != nullptr ? text : "";
  // Does it fit whole? The scan stops once it is past the limit.
  size_t whole = 0;
  for (const char* s = c; *s != '\0' && whole <= limit; ++s) whole += escaped_size(*s);
  bool cut = whole > limit;
  size_t room = cut ? (limit > 3 ? limit - 3 : 0) : limit;
  size_t used = 0;
  while (*c != '\0' && used + escaped_size(*c) <= room) {
    // A run of plain characters goes in with one copy.
    size_t run = 0;
    while (c[run] != '\0' && used + run < room && plain(c[run])) ++run;
    if (run > 0) {
      line.append(c, run);
      c += run;
      used += run;
      continue;
    }
    auto byte = static_cast<unsigned char>(*c++);
    if (byte == '"' || byte == '\\') {
      const char escaped[2] = {'\\', static_cast<char>(byte)};
      line.append(escaped, 2);
      used += 2;
    } else {
      const char escaped[4] = {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
      line.append(escaped, 4);
      used += 4;
    }
  }
  if (cut && limit >= 3) line.append("...", 3);
}

// The lines are put together without a format where they can be: a flood
// of refused logins costs each one a few copies, not a formatting pass.
void audit_refused_login(event_log& log, const char* address, const char* scheme, const char* user,
                         const char* reason) {
  text_buffer line;
  line.append("refused ");
  line.append(scheme);
  line.append(" login from ");
  append_printable(line, address, kAddressLimit);
  line.append(" as \"");
  append_printable(line, user, kUserLimit);
  line.append("\": ");
  line.append(reason);
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_refusals_not_written(event_log& log, const char* address, int more) {
  text_buffer line;
  line.appendf("%d more refused from ", more);
  if (address != nullptr)
    append_printable(line, address, kAddressLimit);
  else
    line.append("other addresses");
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_lockout(event_log& log, const char* address, int failures, int64_t lockout_us) {
  text_buffer line;
  line.append("locked out ");
  append_printable(line, address, kAddressLimit);
  line.appendf(" for %lld s after %d failed logins", static_cast<long long>(lockout_us / 1000000),
               failures);
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_budget_spent(event_log& log, int budget) {
  text_buffer line;
  line.appendf(
      "login budget spent: %d failed logins a minute from all addresses;"
      " addresses without a login wait",
      budget);
  log.audit(LOG_AUTH | LOG_WARNING, line);
}

void audit_change(event_log& log, const char* address, const char* user, int level,
                  const char* scheme, const char* method, const char* path, const answer& answer) {
  text_buffer line;
  append_printable(line, method, kMethodLimit);
  line.append(" from ");
  append_printable(line, address, kAddressLimit);
  line.append(" by \"");
  append_printable(line, user, kUserLimit);
  line.appendf("\" (level %d, ", level);
  line.append(scheme);
  line.append("): ");
  switch (answer.kind()) {
    case answer::answer_kind::statuses: {
      // Two statuses at most in practice; a few more are shown, never all.
      const size_t kShown = 4;
      size_t count = answer.codes().size();
      for (size_t i = 0; i < count && i < kShown; ++i)
        line.appendf("%s%d", i == 0 ? "status " : ", then ", answer.codes()[i]);
      if (count > kShown) line.append(", ...");
      if (count == 0) line.append("no answer");
      break;
    }
    case answer::answer_kind::document: line.append("a document"); break;
    case answer::answer_kind::file: line.append("a file"); break;
    case answer::answer_kind::nothing:
    case answer::answer_kind::unauthorized: line.append("no answer"); break;
  }
  // The path last, in the room the line has left.
  const char kPathLead[] = ", path \"";
  line.append(kPathLead);
  size_t used = line.length() + 1;  // and the closing quote
  append_printable(line, path, used < event_log::kLineLimit ? event_log::kLineLimit - used : 0);
  line.append("\"");
  log.audit(LOG_DAEMON | LOG_NOTICE, line);
}

}  // namespace psia
