// The destinations the camera's event daemon sends its alarms to: mail
// servers (table SMTPServer) and FTP servers (table FTPServer), known in
// the resource tree by their ServerName. The daemon reads the tables
// itself, so no command is sent.
#include <cstdint>

#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/schema.h"

namespace psia {

namespace {

// What distinguishes the two kinds of destination.
struct destination_kind {
  const char* element;       // MailingNotification / FTPNotification
  const char* list_element;  // ...List
  const char* account;       // accountName / userName
  int default_port;
  bool mailing;
};

const destination_kind kMailing = {"MailingNotification", "MailingNotificationList", "accountName",
                                   25, true};
const destination_kind kFtp = {"FTPNotification", "FTPNotificationList", "userName", 21, false};

const char* cell(const query_result& rows, int r, int c) {
  const char* text = rows.text(r, c);
  return text != nullptr ? text : "";
}

void append_destination(text_buffer& doc, const destination_kind& kind, const query_result& rows,
                        int r) {
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.element);
  doc.appendf("<id>%s</id>", cell(rows, r, server_column::kServerName));
  if (kind.mailing) doc.append("<authenticationMode>SMTP</authenticationMode>");
  const char* address = cell(rows, r, server_column::kServerAddress);
  if (parse_ipv4_text(address)) {
    doc.append("<addressingFormatType>ipaddress</addressingFormatType>");
    doc.appendf("<ipAddress>%s</ipAddress>", address);
  } else {
    doc.append("<addressingFormatType>hostname</addressingFormatType>");
    doc.appendf("<hostName>%s</hostName>", address);
  }
  doc.appendf("<portNo>%d</portNo>", rows.integer(r, server_column::kPort, 0));
  doc.appendf("<%s>%s</%s>", kind.account, cell(rows, r, server_column::kUserId), kind.account);
  doc.appendf("<password>%s</password>", cell(rows, r, server_column::kPassword));
  if (!kind.mailing)
    doc.appendf("<uploadPath>%s</uploadPath>", cell(rows, r, server_column::kFtpPath));
  doc.appendf("</%s>", kind.element);
}

void append_destination_list(request& req, text_buffer& doc, const destination_kind& kind) {
  query_result rows = kind.mailing ? req.db().query("select * from SMTPServer")
                                   : req.db().query("select * from FTPServer");
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.list_element);
  for (int r = 0; r < rows.rows(); ++r) append_destination(doc, kind, rows, r);
  doc.appendf("</%s>", kind.list_element);
}

answer answer_destination_list(request& req, const destination_kind& kind) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_destination_list(req, doc, kind);
  return answer::document(std::move(doc), content_type::xml);
}

// One destination, or its empty element when there is no such row.
answer answer_destination(const destination_kind& kind, const query_result& rows) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  if (rows.has_rows()) {
    append_destination(doc, kind, rows, 0);
  } else {
    doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\"></%s>", kind.element,
                kind.element);
  }
  return answer::document(std::move(doc), content_type::xml);
}

// The fields of a destination element of a body.
struct destination {
  char id[128] = "";
  char address[128] = "";
  char user[128] = "";
  char password[128] = "";
  char path[128] = "";
  int port;
};

destination read_destination(xml_node element, const destination_kind& kind) {
  destination d;
  d.port = kind.default_port;
  for (xml_node child : element.children()) {
    if (child.is("id")) {
      child.copy_text(d.id);
    } else if (child.is("hostName") || child.is("ipAddress")) {
      child.copy_text(d.address);
    } else if (child.is("portNo")) {
      d.port = child.int_text();
    } else if (child.is(kind.account)) {
      child.copy_text(d.user);
    } else if (child.is("password")) {
      child.copy_text(d.password);
    } else if (!kind.mailing && child.is("uploadPath")) {
      child.copy_text(d.path);
    }
  }
  return d;
}

// Updates the destination the element names (by its id). A statement that
// fails is not reported: the destination may simply not exist.
void update_destination(request& req, xml_node element, const destination_kind& kind) {
  destination d = read_destination(element, kind);
  if (kind.mailing) {
    req.db().exec(
        "update SMTPServer set ServerAddress=?, UserID=?, Password=?, Port=? "
        "where ServerName=?",
        d.address, d.user, d.password, d.port, d.id);
  } else {
    req.db().exec(
        "update FTPServer set ServerAddress=?, UserID=?, Password=?, Port=?, "
        "Path=? where ServerName=?",
        d.address, d.user, d.password, d.port, d.path, d.id);
  }
}

// The mailing insert keeps the camera's statement text, which lacks its
// closing parenthesis: the database refuses it, and mail destinations are
// only ever changed, never added, through this resource.
void insert_destination(request& req, xml_node element, const destination_kind& kind) {
  destination d = read_destination(element, kind);
  if (kind.mailing) {
    req.db().exec("insert into SMTPServer values (NULL, ?, ?, ?, ?, ?, '', ?, '', '', 0", d.id,
                  d.address, d.user, d.password, d.port, d.user);
  } else {
    req.db().exec("insert into FTPServer values (NULL, ?, ?, ?, ?, ?, ?)", d.id, d.address, d.user,
                  d.password, d.port, d.path);
  }
}

void for_each_destination(request& req, xml_node list, const destination_kind& kind,
                          void (*apply)(request&, xml_node, const destination_kind&)) {
  for (xml_node element : list.children())
    if (element.is(kind.element)) apply(req, element, kind);
}

// PUT of a list, or of one destination (the body's id names the row).
answer put_destinations(request& req, const destination_kind& kind, bool list) {
  xml_body body(req, list ? kind.list_element : kind.element, kStatusDeviceError);
  if (!body.ok()) return body.failure();
  if (list)
    for_each_destination(req, body.root(), kind, update_destination);
  else
    update_destination(req, body.root(), kind);
  return answer::status(kStatusOk);
}

// At most three destinations of each kind.
answer post_destinations(request& req, const destination_kind& kind) {
  int stored = kind.mailing ? req.db().query_int(0, "select count(*) from SMTPServer")
                            : req.db().query_int(0, "select count(*) from FTPServer");
  if (stored > 2) return answer::status(kStatusDeviceError);
  xml_body body(req, kind.list_element, kStatusDeviceError);
  if (!body.ok()) return body.failure();
  for_each_destination(req, body.root(), kind, insert_destination);
  return answer::status(kStatusOk);
}

}  // namespace

void append_notification_methods(request& req, text_buffer& doc) {
  doc.append("<EventNotificationMethods version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_destination_list(req, doc, kMailing);
  append_destination_list(req, doc, kFtp);
  doc.append("<FTPFormat>");
  doc.append("<uploadSnapShotEnabled>false</uploadSnapShotEnabled>");
  doc.append("<uploadVideoClipEnabled>true</uploadVideoClipEnabled>");
  doc.append("</FTPFormat>");
  doc.append("<MediaFormat>");
  doc.append("<snapShotImageType>JPEG</snapShotImageType>");
  doc.append("<videoClipFormatType>264</videoClipFormatType>");
  doc.append("</MediaFormat>");
  doc.append("</EventNotificationMethods>");
}

void apply_notification_methods(request& req, xml_node methods) {
  for (xml_node list : methods.children()) {
    if (list.is(kMailing.list_element))
      for_each_destination(req, list, kMailing, update_destination);
    else if (list.is(kFtp.list_element))
      for_each_destination(req, list, kFtp, update_destination);
  }
}

answer get_event_notification(request& req, const route_args&) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_notification_methods(req, doc);
  return answer::document(std::move(doc), content_type::xml);
}

// The combined document changes the destinations it names, as the PUT of
// each list does; the fixed upload and media formats cannot be changed.
answer put_event_notification(request& req, const route_args&) {
  xml_body body(req, "EventNotificationMethods", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  apply_notification_methods(req, body.root());
  return answer::status(kStatusOk);
}

answer get_mailings(request& req, const route_args&) {
  return answer_destination_list(req, kMailing);
}

// The camera describes its first mail server whatever the id asked for.
answer get_mailing(request& req, const route_args&) {
  return answer_destination(kMailing, req.db().query("select * from SMTPServer"));
}

answer put_mailings(request& req, const route_args&) {
  return put_destinations(req, kMailing, true);
}
answer put_mailing(request& req, const route_args&) {
  return put_destinations(req, kMailing, false);
}
answer post_mailing(request& req, const route_args&) { return post_destinations(req, kMailing); }

answer delete_mailing(request& req, const route_args& route) {
  const char* id = route.rest;
  req.db().exec("delete from SMTPServer where ServerName=?", id);
  return answer::status(kStatusOk);
}

answer delete_mailings(request& req, const route_args&) {
  req.db().exec("delete from SMTPServer");
  return answer::status(kStatusOk);
}

answer get_ftps(request& req, const route_args&) { return answer_destination_list(req, kFtp); }

answer get_ftp(request& req, const route_args& route) {
  const char* id = route.rest;
  return answer_destination(kFtp, req.db().query("select * from FTPServer where ServerName=?", id));
}

answer put_ftps(request& req, const route_args&) { return put_destinations(req, kFtp, true); }
answer put_ftp(request& req, const route_args&) { return put_destinations(req, kFtp, false); }
answer post_ftp(request& req, const route_args&) { return post_destinations(req, kFtp); }

answer delete_ftp(request& req, const route_args& route) {
  const char* id = route.rest;
  req.db().exec("delete from FTPServer where ServerName=?", id);
  return answer::status(kStatusOk);
}

answer delete_ftps(request& req, const route_args&) {
  req.db().exec("delete from FTPServer");
  return answer::status(kStatusOk);
}

}  // namespace psia
