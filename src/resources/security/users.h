// The user accounts of /PSIA/Security/AAA/users.
#ifndef PSIA_RESOURCES_SECURITY_USERS_H
#define PSIA_RESOURCES_SECURITY_USERS_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

Answer get_users(Request& req);
Answer put_users(Request& req);
Answer post_user(Request& req);
Answer delete_users(Request& req);
// One account; each is given the full path.
Answer get_user(Request& req, const char* path);
Answer put_user(Request& req, const char* path);
Answer delete_user(Request& req, const char* path);

}  // namespace psia

#endif  // PSIA_RESOURCES_SECURITY_USERS_H
