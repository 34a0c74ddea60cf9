// The user accounts of table UserAccount (name, clear password, access
// level). "admin" and "anonymous" are built in: they can be neither
// deleted nor, for anonymous, given a password. Every change is announced
// to the control daemon (command 94) so the camera's other services
// re-read the accounts; its reply does not change the answer.
#include <strings.h>

#include <cstring>
#include <vector>

#include "io/credentials.h"
#include "io/xml_input.h"
#include "resources/security/users.h"
#include "store/schema.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

// Takes a userName or password element into `c`; false for other nodes.
bool read_credential(xml_node node, credentials* c) {
  if (node.is("userName")) {
    node.copy_text(c->user);
  } else if (node.is("password")) {
    node.copy_text(c->password);
  } else {
    return false;
  }
  return true;
}

bool set_password(request& req, const char* user, const char* password) {
  return req.db().exec("update UserAccount set Password=? where UserID=?", password, user);
}

// The change is stored: tell the daemon, whose reply does not change the
// answer (1).
void announce_accounts_changed(request& req) { req.control().send_command(kCommandUsers); }

void append_user_elements(text_buffer& doc, const char* name) {
  doc.appendf("<id>%s</id>", name);
  doc.appendf("<userName>%s</userName>", name);
}

bool is_built_in(const char* user, bool admin_too) {
  return strcasecmp(user, "anonymous") == 0 || (admin_too && strcasecmp(user, "admin") == 0);
}

}  // namespace

answer get_users(request& req, const route_args&) {
  query_result users = req.db().query("select * from UserAccount");
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<UserList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int r = 0; r < users.rows(); ++r) {
    const char* name = users.text(r, user_account_column::kUserId);
    doc.append("<User version=\"1.0\">");
    append_user_elements(doc, name != nullptr ? name : "");
    doc.append("</User>");
  }
  doc.append("</UserList>");
  return answer::document(std::move(doc), content_type::xml);
}

// A short id is a position, not a name: it picks the first account that is
// not built in (the number only limits the query).
answer get_user(request& req, const route_args& route) {
  const char* id = route.rest;
  query_result user =
      std::strlen(id) < 4
          ? req.db().query(
                "select * from UserAccount where UserID!='admin' and UserID!='anonymous' limit ?",
                parse_int(id))
          : req.db().query("select * from UserAccount where UserID=?", id);
  if (!user.has_rows()) return answer::status(kStatusDeviceError);
  const char* name = user.text(0, user_account_column::kUserId);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<User version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_user_elements(doc, name != nullptr ? name : "");
  doc.append("</User>");
  return answer::document(std::move(doc), content_type::xml);
}

// Adds every complete userName/password pair of the body, in order.
answer post_user(request& req, const route_args&) {
  xml_body body(req, "User", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  credentials c = {};
  bool added = false;
  for (xml_node child : body.root().children()) {
    if (!read_credential(child, &c) || !c.complete()) continue;
    query_result same = req.db().query("select count(*) from UserAccount where UserID=?", c.user);
    if (!same.has_rows() || same.integer(0, 0, 0) > 0 ||
        !req.db().exec("insert into UserAccount values(?, ?, 2)", c.user, c.password))
      return answer::status(kStatusDeviceError);
    c.clear();
    added = true;
  }
  // A body without a complete name and password gets no answer at all, as
  // the camera's clients have always seen it.
  if (!added) return answer::nothing();
  announce_accounts_changed(req);
  return answer::status(kStatusOk);
}

answer put_user(request& req, const route_args& route) {
  xml_body body(req, "User", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  credentials c = {};
  for (xml_node child : body.root().children())
    if (child.is("password")) child.copy_text(c.password);
  copy_bounded(c.user, route.rest);
  // Anonymous has no password to set: the request ends without an answer.
  if (is_built_in(c.user, false)) return answer::nothing();
  if (!set_password(req, c.user, c.password)) return answer::status(kStatusDeviceError);
  announce_accounts_changed(req);
  return answer::status(kStatusOk);
}

answer put_users(request& req, const route_args&) {
  xml_body body(req, "UserList", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  // Each failed update is answered 3 as it happens, and a later success
  // answers 1 behind it: the camera's clients read both documents.
  std::vector<int> answered;
  bool changed = false;
  for (xml_node user : body.root().children()) {
    if (!user.is("User")) continue;
    credentials c = {};
    for (xml_node child : user.children()) {
      if (!read_credential(child, &c) || !c.complete() || is_built_in(c.user, false)) continue;
      if (!set_password(req, c.user, c.password)) {
        answered.push_back(kStatusDeviceError);
        break;
      }
      c.clear();
      changed = true;
    }
  }
  if (changed) {
    announce_accounts_changed(req);
    answered.push_back(kStatusOk);
  }
  // Nothing updated and nothing failed: no answer at all.
  return answer::statuses(std::move(answered));
}

answer delete_user(request& req, const route_args& route) {
  char user[32];
  copy_bounded(user, route.rest);
  // The built-in accounts stay; the request ends without an answer.
  if (is_built_in(user, true)) return answer::nothing();
  if (!req.db().exec("delete from UserAccount where UserID=?", route.rest))
    return answer::status(kStatusDeviceError);
  announce_accounts_changed(req);
  return answer::status(kStatusOk);
}

answer delete_users(request& req, const route_args&) {
  if (!req.db().exec("delete from UserAccount where UserID!='admin' and UserID!='anonymous'"))
    return answer::status(kStatusDeviceError);
  announce_accounts_changed(req);
  return answer::status(kStatusOk);
}

}  // namespace psia
