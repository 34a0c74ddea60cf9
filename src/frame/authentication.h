// HTTP Basic authentication against the UserAccount table.
#ifndef PSIA_FRAME_AUTHENTICATION_H
#define PSIA_FRAME_AUTHENTICATION_H

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
  unknown_user,       // no such account
  store_failed,       // the account could not be read (database busy, locked or damaged)
  locked_out,         // the login guard refused the client's address
  budget_spent,       // the guard's shared budget is spent and the address is unknown
  table_full,         // the guard holds only locked-out addresses and this one is new
};
const char* refusal_text(refusal_reason refusal);

struct authentication {
  refusal_reason refusal = refusal_reason::none;
  int level = kLevelAdministrator;  // when admitted
  credentials who = {};             // as the client sent them
};

// Decodes the credentials of an Authorization header. The scheme word and
// its blank ("Basic ") are skipped unread; false for a header too short to
// hold them.
bool read_credentials(const char* header, credentials* who);

// Checks the request's Authorization header. Only level-0 accounts are
// admitted: accounts of other levels are refused as the camera always has.
authentication authenticate_request(request& req);

}  // namespace psia

#endif  // PSIA_FRAME_AUTHENTICATION_H
