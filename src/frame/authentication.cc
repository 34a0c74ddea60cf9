#include "frame/authentication.h"

#include <cstring>

#include "util/base64.h"

namespace psia {

void split_credentials(const unsigned char* decoded, int count, credentials* out) {
  std::memset(out, 0, sizeof *out);
  constexpr size_t kLast = sizeof out->user - 1;
  size_t index = 0;
  bool in_password = false;
  for (int i = 0; i < count; ++i) {
    char c = static_cast<char>(decoded[i]);
    if (c == ':') {
      out->user[index < kLast ? index : kLast] = '\0';
      in_password = true;
      index = 0;
      continue;
    }
    char* field = in_password ? out->password : out->user;
    if (index < kLast) field[index] = c;
    ++index;
  }
  out->password[index < kLast ? index : kLast] = '\0';
}

authentication authenticate_request(Request& req) {
  authentication result;
  const char* header = req.params.authorization;
  // The scheme word and its blank ("Basic ") are skipped unread; a header
  // too short to hold them carries no credentials.
  if (header == nullptr || std::strlen(header) < 6) {
    result.refusal = Refusal::no_credentials;
    return result;
  }
  unsigned char decoded[128];
  int capacity = static_cast<int>(std::strlen(header));
  if (capacity > static_cast<int>(sizeof decoded) - 1) capacity = sizeof decoded - 1;
  int count = base64_decode(header + 6, decoded, capacity);
  decoded[count] = '\0';
  split_credentials(decoded, count, &result.who);

  QueryResult account =
      req.db().query("select * from UserAccount where UserID='%q'", result.who.user);
  if (!account.has_rows()) {
    result.refusal = Refusal::unknown_user;
    return result;
  }
  const char* password = account.text(0, 1);
  bool admitted = password != nullptr && std::strcmp(password, result.who.password) == 0 &&
                  account.text(0, 2) != nullptr && account.integer(0, 2, -1) == kLevelAdministrator;
  if (!admitted) result.refusal = Refusal::rejected;
  return result;
}

}  // namespace psia
