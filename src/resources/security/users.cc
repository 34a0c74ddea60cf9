// The user accounts of table UserAccount (name, clear password, access
// level). "admin" and "anonymous" are built in: they can be neither
// deleted nor, for anonymous, given a password. Every change is announced
// to the control daemon (command 94) so the camera's other services
// re-read the accounts; its reply does not change the answer.
//
// Some requests end with no answer at all (deleting a built-in account, a
// body without a complete name and password): clients of the camera have
// always seen them so.
#include <strings.h>

#include <cstring>

#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/security/users.h"
#include "store/database.h"
#include "util/bounded_copy.h"

namespace {

const size_t kUsersPrefixLength = sizeof "/PSIA/Security/AAA/users/" - 1;

// The account id of a path: the text behind the users prefix.
const char* account_id(const char* path) {
  return std::strlen(path) >= kUsersPrefixLength ? path + kUsersPrefixLength : "";
}

struct credentials_text {
  char user[32] = "";
  char password[32] = "";
  bool complete() const { return user[0] != '\0' && password[0] != '\0'; }
  void clear() { user[0] = password[0] = '\0'; }
};

// Takes a userName or password element into `c`; false for other nodes.
bool read_credential(const xmlNode* node, credentials_text* c) {
  if (xml_name_is(node, "userName")) {
    xml_copy_text(node, c->user);
  } else if (xml_name_is(node, "password")) {
    xml_copy_text(node, c->password);
  } else {
    return false;
  }
  return true;
}

bool set_password(const char* user, const char* password) {
  return db_exec("update UserAccount set Password='%q' where UserID='%q'", password, user);
}

// The change is stored: tell the daemon and answer 1.
void announce_accounts_changed() {
  send_control_command(kCommandUsers);
  write_response_status(kStatusOk);
}

void append_user_elements(TextBuffer& doc, const char* name) {
  doc.appendf("<id>%s</id>", name);
  doc.appendf("<userName>%s</userName>", name);
}

}  // namespace

void get_users() {
  QueryResult users = db_query("select * from UserAccount");
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<UserList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int r = 0; r < users.rows(); ++r) {
    const char* name = users.text(r, 0);
    doc.appendf("<User version=\"1.0\">");
    append_user_elements(doc, name != nullptr ? name : "");
    doc.appendf("</User>");
  }
  doc.appendf("</UserList>");
  answer_document(doc, content_type::xml);
}

// A short id is a position, not a name: it picks the first account that is
// not built in (the number only limits the query).
void get_user(const char* path) {
  const char* id = account_id(path);
  QueryResult user =
      std::strlen(id) < 4
          ? db_query("select * from UserAccount where UserID!='admin' and UserID!='anonymous' "
                     "limit %d",
                     parse_int(id))
          : db_query("select * from UserAccount where UserID='%q'", id);
  if (!user.has_rows()) {
    write_response_status(kStatusDeviceError);
    return;
  }
  const char* name = user.text(0, 0);
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<User version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_user_elements(doc, name != nullptr ? name : "");
  doc.appendf("</User>");
  answer_document(doc, content_type::xml);
}

// Adds every complete userName/password pair of the body, in order.
void post_user() {
  XmlDocument body;
  if (!accept_xml_request(body, "User", kStatusDeviceError)) return;
  credentials_text c;
  bool added = false;
  for (xmlNode* child : xml_children(body.root())) {
    if (!read_credential(child, &c) || !c.complete()) continue;
    QueryResult same = db_query("select count(*) from UserAccount where UserID='%q'", c.user);
    if (!same.has_rows() || same.integer(0, 0, 0) > 0 ||
        !db_exec("insert into UserAccount values('%q', '%q', 2)", c.user, c.password)) {
      write_response_status(kStatusDeviceError);
      return;
    }
    c.clear();
    added = true;
  }
  if (added) announce_accounts_changed();
}

void put_user(const char* path) {
  XmlDocument body;
  if (!accept_xml_request(body, "User", kStatusDeviceError)) return;
  credentials_text c;
  for (xmlNode* child : xml_children(body.root()))
    if (xml_name_is(child, "password")) xml_copy_text(child, c.password);
  copy_bounded(c.user, account_id(path));
  if (strcasecmp(c.user, "anonymous") == 0) return;
  if (!set_password(c.user, c.password)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  announce_accounts_changed();
}

void put_users() {
  XmlDocument body;
  if (!accept_xml_request(body, "UserList", kStatusDeviceError)) return;
  bool changed = false;
  for (xmlNode* user : xml_children(body.root())) {
    if (!xml_name_is(user, "User")) continue;
    credentials_text c;
    for (xmlNode* child : xml_children(user)) {
      if (!read_credential(child, &c) || !c.complete() || strcasecmp(c.user, "anonymous") == 0)
        continue;
      if (!set_password(c.user, c.password)) {
        write_response_status(kStatusDeviceError);
        break;
      }
      c.clear();
      changed = true;
    }
  }
  if (changed) announce_accounts_changed();
}

void delete_user(const char* path) {
  char user[32];
  copy_bounded(user, account_id(path));
  if (strcasecmp(user, "anonymous") == 0 || strcasecmp(user, "admin") == 0) return;
  if (!db_exec("delete from UserAccount where UserID='%q'", account_id(path))) {
    write_response_status(kStatusDeviceError);
    return;
  }
  announce_accounts_changed();
}

void delete_users() {
  if (!db_exec("delete from UserAccount where UserID!='admin' and UserID!='anonymous'")) {
    write_response_status(kStatusDeviceError);
    return;
  }
  announce_accounts_changed();
}
