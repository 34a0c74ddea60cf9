// The user accounts of /PSIA/Security/AAA/users.
#ifndef PSIA_RESOURCES_SECURITY_USERS_H
#define PSIA_RESOURCES_SECURITY_USERS_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

answer get_users(request& req, const route_args& route);
answer put_users(request& req, const route_args& route);
answer post_user(request& req, const route_args& route);
answer delete_users(request& req, const route_args& route);
// One account: route.rest is its id.
answer get_user(request& req, const route_args& route);
answer put_user(request& req, const route_args& route);
answer delete_user(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_SECURITY_USERS_H
