// The user accounts of /PSIA/Security/AAA/users.
#ifndef PSIA_RESOURCES_SECURITY_USERS_H
#define PSIA_RESOURCES_SECURITY_USERS_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

Answer get_users(Request& req, const RouteArgs& route);
Answer put_users(Request& req, const RouteArgs& route);
Answer post_user(Request& req, const RouteArgs& route);
Answer delete_users(Request& req, const RouteArgs& route);
// One account: route.rest is its id.
Answer get_user(Request& req, const RouteArgs& route);
Answer put_user(Request& req, const RouteArgs& route);
Answer delete_user(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_SECURITY_USERS_H
