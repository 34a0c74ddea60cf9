#include "frame/authentication.h"

#include <cstring>

#include "io/stream.h"
#include "store/database.h"
#include "util/base64.h"

namespace {

void write_unauthorized() {
  stream_write_text(
      "Status: 401 Unauthorized\n"
      "WWW-Authenticate: Basic realm=\"Aldex Smart IP Device Authentication\"\n"
      "Content-Type: text/plain\n\n"
      "Unauthorized\n");
}

}  // namespace

void split_credentials(const unsigned char* decoded, int count,
                       credentials* out) {
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

int authenticate_request() {
  const char* header = request_env("HTTP_AUTHORIZATION");
  // The scheme word and its blank ("Basic ") are skipped unread; a header
  // too short to hold them carries no credentials.
  if (header == nullptr || std::strlen(header) < 6) {
    write_unauthorized();
    return -1;
  }
  unsigned char decoded[128];
  int capacity = static_cast<int>(std::strlen(header));
  if (capacity > static_cast<int>(sizeof decoded) - 1)
    capacity = static_cast<int>(sizeof decoded) - 1;
  int count = base64_decode(header + 6, decoded, capacity);
  decoded[count] = '\0';

  credentials who;
  split_credentials(decoded, count, &who);

  QueryResult account =
      db_query("select * from UserAccount where UserID='%q'", who.user);
  if (!account.has_rows()) {
    write_unauthorized();
    return -3;
  }
  const char* password = account.text(0, 1);
  if (password != nullptr && std::strcmp(password, who.password) == 0 &&
      account.text(0, 2) != nullptr &&
      account.integer(0, 2, -1) == kLevelAdministrator) {
    return kLevelAdministrator;
  }
  write_unauthorized();
  return -2;
}
