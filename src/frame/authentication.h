// Logins against the UserAccount table: HTTP Basic, and Digest
// (frame/digest.h) where PSIA_AUTH_SCHEMES offers it. PSIA_ACCESS_LEVELS
// decides which accounts' levels log in.
#ifndef PSIA_FRAME_AUTHENTICATION_H
#define PSIA_FRAME_AUTHENTICATION_H

#include "io/answer.h"
#include "io/credentials.h"
#include "io/request.h"

namespace psia {

// Access levels stored with each account; routing compares them.
constexpr int kLevelAdministrator = 0;

// Splits decoded "user:password" bytes. The user name is what precedes the
// first ':' and the password what follows the last; each further ':' also
// cuts the user name at the length the password had reached, as the
// camera's other services split them. Both fields are cut to 31 characters.
void split_credentials(const unsigned char* decoded, int count, credentials* out);

// Why a caller was refused; the reason decides nothing on the wire (every
// refusal is the same 401) but goes into the audit trail.
enum class refusal_reason {
  none,               // admitted
  no_credentials,     // no Authorization header, or one too short to hold any
  wrong_password,     //
  not_administrator,  // the right password of an account of a level other than 0
  level_refused,      // enforce: the right password of an account without a level 0-3
  no_password,        // enforce: an account with an empty password
  basic_refused,      // digest: a Basic header (its password is not looked at)
  bad_digest,         // Digest parameters not as this camera asks for them
  uri_mismatch,       // a Digest uri other than the request's
  forged_nonce,       // a nonce this camera did not issue
  stale_nonce,        // the right response on an expired nonce: asked again, stale
  replayed,           // a nonce count seen before
  unknown_user,       // no such account
  store_failed,       // the account could not be read (database busy, locked or damaged)
  locked_out,         // the login guard refused the client's address
  budget_spent,       // the guard's shared budget is spent and the address is unknown
  table_full,         // the guard holds only locked-out addresses and this one is new
  guard_unreachable,  // the guard every worker shares could not be read in time
};
const char* refusal_text(refusal_reason refusal);
// A wrong password (or response) for an existing or unknown account, or
// an account that may not log in: what the login guard counts. The
// refusals that tested no password are not counted.
bool counts_as_failed_login(refusal_reason refusal);

enum class auth_scheme { basic, digest };
const char* scheme_text(auth_scheme scheme);

struct authentication {
  refusal_reason refusal = refusal_reason::none;
  int level = kLevelAdministrator;  // when admitted
  credentials who = {};             // as the client sent them (no password for Digest)
  auth_scheme scheme = auth_scheme::basic;
};

// The 401 for a refused caller: Basic's as it has always been in the basic
// mode, the Digest challenges otherwise (stale after a stale nonce).
answer unauthorized_answer(request_context& ctx, const authentication& refused);

// The scheme and the user of the request's Authorization header, without
// checking anything (for the audit of a login the guard holds back). False
// when it carries no credentials.
bool read_caller(const request_context& ctx, const char* header, authentication* who);

// Decodes the credentials of an Authorization header. The scheme word and
// its blank ("Basic ") are skipped unread; false for a header too short to
// hold them.
bool read_credentials(const char* header, credentials* who);

// Checks the request's Authorization header. In the admin-only mode only
// level-0 accounts are admitted, as the camera always has; in the enforce
// mode accounts of levels 0 to 3 with a password.
authentication authenticate_request(request& req);

}  // namespace psia

#endif  // PSIA_FRAME_AUTHENTICATION_H
