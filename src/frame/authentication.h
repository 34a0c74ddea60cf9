// HTTP Basic authentication against the UserAccount table.
#ifndef PSIA_FRAME_AUTHENTICATION_H
#define PSIA_FRAME_AUTHENTICATION_H

#include <cstddef>

// Access levels stored with each account; routing compares them.
constexpr int kLevelAdministrator = 0;

struct credentials {
  char user[32];
  char password[32];
};

// Splits decoded "user:password" bytes. The user name is what precedes the
// first ':' and the password what follows the last; each further ':' also
// cuts the user name at the length the password had reached, as the
// camera's other services split them. Both fields are cut to 31 characters.
void split_credentials(const unsigned char* decoded, int count,
                       credentials* out);

// Checks the request's Authorization header. Returns the caller's access
// level (0) when admitted; otherwise writes the 401 answer and returns -1
// (no credentials), -2 (wrong password or a level other than 0) or -3
// (unknown user, or the query failed).
int authenticate_request();

#endif  // PSIA_FRAME_AUTHENTICATION_H
