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

const char* refusal_text(refusal_reason refusal) {
  switch (refusal) {
    case refusal_reason::none: return "admitted";
    case refusal_reason::no_credentials: return "no credentials";
    case refusal_reason::wrong_password: return "wrong password";
    case refusal_reason::not_administrator: return "not an administrator";
    case refusal_reason::unknown_user: return "unknown user";
    case refusal_reason::store_failed: return "database busy or unreadable";
    case refusal_reason::locked_out: return "locked out";
    case refusal_reason::budget_spent: return "login budget spent";
    case refusal_reason::table_full: return "too many addresses locked out";
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

authentication authenticate_request(request& req) {
  authentication result;
  if (!read_credentials(req.params.authorization, &result.who)) {
    result.refusal = refusal_reason::no_credentials;
    return result;
  }
  query_result account =
      req.db().query("select * from UserAccount where UserID=?", result.who.user);
  // A query that could not run says nothing about the password: it is no
  // failed login, and the guard does not count it.
  if (!account.ok()) {
    result.refusal = refusal_reason::store_failed;
    return result;
  }
  if (!account.has_rows()) {
    result.refusal = refusal_reason::unknown_user;
    return result;
  }
  const char* password = account.text(0, UserAccountColumn::kPassword);
  if (password == nullptr || std::strcmp(password, result.who.password) != 0)
    result.refusal = refusal_reason::wrong_password;
  else if (account.text(0, UserAccountColumn::kLevel) == nullptr ||
           account.integer(0, UserAccountColumn::kLevel, -1) != kLevelAdministrator)
    result.refusal = refusal_reason::not_administrator;
  return result;
}

}  // namespace psia
