// A user name and password as the camera's accounts keep them: from an
// Authorization header (frame/authentication.h) or from a user document
// (the Security branch). Each field keeps at most 31 characters. A plain
// struct: `credentials c = {};` starts both fields empty.
#ifndef PSIA_IO_CREDENTIALS_H
#define PSIA_IO_CREDENTIALS_H

namespace psia {

struct credentials {
  char user[32];
  char password[32];

  bool complete() const { return user[0] != '\0' && password[0] != '\0'; }
  void clear() { user[0] = password[0] = '\0'; }
};

}  // namespace psia

#endif  // PSIA_IO_CREDENTIALS_H
