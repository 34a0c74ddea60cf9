#include "frame/authentication.h"

#include <cstring>

#include "store/schema.h"
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

const char* refusal_text(Refusal refusal) {
  switch (refusal) {
    case Refusal::none: return "admitted";
    case Refusal::no_credentials: return "no credentials";
    case Refusal::wrong_password: return "wrong password";
    case Refusal::not_administrator: return "not an administrator";
    case Refusal::unknown_user: return "unknown user";
    case Refusal::store_failed: return "database busy or unreadable";
    case Refusal::locked_out: return "locked out";
    case Refusal::budget_spent: return "login budget spent";
    case Refusal::table_full: return "too many addresses locked out";
  }
  return "";
}

bool read_credentials(const char* header, credentials* who) {
  std::memset(who, 0, sizeof *who);
  if (header == nullptr || std::strlen(header) < 6) return false;
  unsigned char decoded[128];
  int capacity = static_cast<int>(std::strlen(header));
  if (capacity > static_cast<int>(sizeof decoded) - 1) capacity = sizeof decoded - 1;
  int count = base64_decode(header + 6, decoded, capacity);
  decoded[count] = '\0';
  split_credentials(decoded, count, who);
  return true;
}

authentication authenticate_request(Request& req) {
  authentication result;
  if (!read_credentials(req.params.authorization, &result.who)) {
    result.refusal = Refusal::no_credentials;
    return result;
  }
  QueryResult account = req.db().query("select * from UserAccount where UserID=?", result.who.user);
  // A query that could not run says nothing about the password: it is no
  // failed login, and the guard does not count it.
  if (!account.ok()) {
    result.refusal = Refusal::store_failed;
    return result;
  }
  if (!account.has_rows()) {
    result.refusal = Refusal::unknown_user;
    return result;
  }
  const char* password = account.text(0, UserAccountColumn::kPassword);
  if (password == nullptr || std::strcmp(password, result.who.password) != 0)
    result.refusal = Refusal::wrong_password;
  else if (account.text(0, UserAccountColumn::kLevel) == nullptr ||
           account.integer(0, UserAccountColumn::kLevel, -1) != kLevelAdministrator)
    result.refusal = Refusal::not_administrator;
  return result;
}

}  // namespace psia
