#include "frame/authentication.h"

#include <strings.h>

#include <cstring>

#include "frame/digest.h"
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
    case refusal_reason::level_refused: return "no access level of 0 to 3";
    case refusal_reason::no_password: return "account without a password";
    case refusal_reason::basic_refused: return "Basic not accepted";
    case refusal_reason::bad_digest: return "Digest parameters refused";
    case refusal_reason::uri_mismatch: return "uri is not the request's";
    case refusal_reason::forged_nonce: return "nonce not issued here";
    case refusal_reason::stale_nonce: return "nonce expired";
    case refusal_reason::replayed: return "nonce count replayed";
    case refusal_reason::unknown_user: return "unknown user";
    case refusal_reason::store_failed: return "database busy or unreadable";
    case refusal_reason::locked_out: return "locked out";
    case refusal_reason::budget_spent: return "login budget spent";
    case refusal_reason::table_full: return "too many addresses locked out";
    case refusal_reason::guard_unreachable: return "login guard unreachable";
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

bool counts_as_failed_login(refusal_reason refusal) {
  switch (refusal) {
    case refusal_reason::wrong_password:
    case refusal_reason::unknown_user:
    case refusal_reason::not_administrator:
    case refusal_reason::level_refused:
    case refusal_reason::no_password: return true;
    default: return false;
  }
}

const char* scheme_text(auth_scheme scheme) {
  return scheme == auth_scheme::digest ? "Digest" : "Basic";
}

answer unauthorized_answer(request_context& ctx, const authentication& refused) {
  auth_schemes schemes = ctx.settings.schemes;
  if (schemes == auth_schemes::basic) return answer::unauthorized();
  return answer::unauthorized(digest_challenges(ctx, refused.refusal == refusal_reason::stale_nonce,
                                                schemes == auth_schemes::digest_and_basic));
}

namespace {

// In the Digest modes a header that begins with the word Digest is one.
bool is_digest(const request_context& ctx, const char* header) {
  return ctx.settings.schemes != auth_schemes::basic && header != nullptr &&
         strncasecmp(header, "Digest ", 7) == 0;
}

// The account's level, once its password is known to be right.
refusal_reason level_admitted(const request_context& ctx, const query_result& account, int* level) {
  const char* text = account.text(0, user_account_column::kLevel);
  *level = text != nullptr ? account.integer(0, user_account_column::kLevel, -1) : -1;
  if (ctx.settings.levels == access_levels::admin_only)
    return *level == kLevelAdministrator ? refusal_reason::none : refusal_reason::not_administrator;
  if (*level < 0 || *level > 3) return refusal_reason::level_refused;
  // The built-in anonymous account has none: it is no way in.
  const char* password = account.text(0, user_account_column::kPassword);
  if (password == nullptr || *password == '\0') return refusal_reason::no_password;
  return refusal_reason::none;
}

refusal_reason check_digest(request& req, const char* header, authentication* result) {
  digest_login login = read_digest(req.ctx, header + 7, req.params.uri);
  std::memcpy(result->who.user, login.user, sizeof result->who.user);
  switch (login.checked) {
    case digest_login::verdict::usable: break;
    case digest_login::verdict::malformed: return refusal_reason::bad_digest;
    case digest_login::verdict::uri_mismatch: return refusal_reason::uri_mismatch;
    case digest_login::verdict::forged_nonce: return refusal_reason::forged_nonce;
  }
  if (login.user_too_long) return refusal_reason::unknown_user;
  query_result account = req.db().query("select * from UserAccount where UserID=?", login.user);
  if (!account.ok()) return refusal_reason::store_failed;
  if (!account.has_rows()) return refusal_reason::unknown_user;
  const char* password = account.text(0, user_account_column::kPassword);
  const char* method = req.params.method != nullptr ? req.params.method : "";
  if (password == nullptr || !digest_matches(login, password, method, req.params.uri))
    return refusal_reason::wrong_password;
  refusal_reason level = level_admitted(req.ctx, account, &result->level);
  if (level != refusal_reason::none) return level;
  switch (use_nonce(req.ctx, login)) {
    case nonce_state::fresh: return refusal_reason::none;
    case nonce_state::stale: return refusal_reason::stale_nonce;
    case nonce_state::replayed: break;
  }
  return refusal_reason::replayed;
}

}  // namespace

bool read_caller(const request_context& ctx, const char* header, authentication* who) {
  std::memset(&who->who, 0, sizeof who->who);
  if (!is_digest(ctx, header)) {
    who->scheme = auth_scheme::basic;
    return read_credentials(header, &who->who);
  }
  who->scheme = auth_scheme::digest;
  // Only the user name is wanted: a request_context's clock is not.
  const char* at = strcasestr(header, "username=\"");
  if (at != nullptr) {
    at += 10;
    size_t n = 0;
    while (at[n] != '\0' && at[n] != '"' && n < sizeof who->who.user - 1) ++n;
    std::memcpy(who->who.user, at, n);
    who->who.user[n] = '\0';
  }
  return true;
}

authentication authenticate_request(request& req) {
  authentication result;
  const char* header = req.params.authorization;
  if (is_digest(req.ctx, header)) {
    result.scheme = auth_scheme::digest;
    result.refusal = check_digest(req, header, &result);
    return result;
  }
  if (!read_credentials(header, &result.who)) {
    result.refusal = refusal_reason::no_credentials;
    return result;
  }
  // Digest only: a password sent in clear is not even looked at.
  if (req.ctx.settings.schemes == auth_schemes::digest) {
    result.refusal = refusal_reason::basic_refused;
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
  const char* password = account.text(0, user_account_column::kPassword);
  if (password == nullptr || std::strcmp(password, result.who.password) != 0)
    result.refusal = refusal_reason::wrong_password;
  else
    result.refusal = level_admitted(req.ctx, account, &result.level);
  return result;
}

}  // namespace psia
