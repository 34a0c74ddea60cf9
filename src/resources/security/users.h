// The user accounts of /PSIA/Security/AAA/users.
#ifndef PSIA_RESOURCES_SECURITY_USERS_H
#define PSIA_RESOURCES_SECURITY_USERS_H

void get_users();
void put_users();
void post_user();
void delete_users();
// One account; each is given the full path.
void get_user(const char* path);
void put_user(const char* path);
void delete_user(const char* path);

#endif  // PSIA_RESOURCES_SECURITY_USERS_H
