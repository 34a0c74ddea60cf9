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

const char* cell(const QueryResult& rows, int r, int c) {
  const char* text = rows.text(r, c);
  return text != nullptr ? text : "";
}

void append_destination(text_buffer& doc, const destination_kind& kind, const QueryResult& rows,
                        int r) {
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.element);
  doc.appendf("<id>%s</id>", cell(rows, r, ServerColumn::kServerName));
  if (kind.mailing) doc.append("<authenticationMode>SMTP</authenticationMode>");
  const char* address = cell(rows, r, ServerColumn::kServerAddress);
  if (parse_ipv4_text(address)) {
    doc.append("<addressingFormatType>ipaddress</addressingFormatType>");
    doc.appendf("<ipAddress>%s</ipAddress>", address);
  } else {
    doc.append("<addressingFormatType>hostname</addressingFormatType>");
    doc.appendf("<hostName>%s</hostName>", address);
  }
  doc.appendf("<portNo>%d</portNo>", rows.integer(r, ServerColumn::kPort, 0));
  doc.appendf("<%s>%s</%s>", kind.account, cell(rows, r, ServerColumn::kUserId), kind.account);
  doc.appendf("<password>%s</password>", cell(rows, r, ServerColumn::kPassword));
  if (!kind.mailing)
    doc.appendf("<uploadPath>%s</uploadPath>", cell(rows, r, ServerColumn::kFtpPath));
  doc.appendf("</%s>", kind.element);
}

void append_destination_list(Request& req, text_buffer& doc, const destination_kind& kind) {
  QueryResult rows = kind.mailing ? req.db().query("select * from SMTPServer")
                                  : req.db().query("select * from FTPServer");
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.list_element);
  for (int r = 0; r < rows.rows(); ++r) append_destination(doc, kind, rows, r);
  doc.appendf("</%s>", kind.list_element);
}

Answer answer_destination_list(Request& req, const destination_kind& kind) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_destination_list(req, doc, kind);
  return Answer::document(std::move(doc), ContentType::xml);
}

// One destination, or its empty element when there is no such row.
Answer answer_destination(const destination_kind& kind, const QueryResult& rows) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  if (rows.has_rows()) {
    append_destination(doc, kind, rows, 0);
  } else {
    doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\"></%s>", kind.element,
                kind.element);
  }
  return Answer::document(std::move(doc), ContentType::xml);
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

destination read_destination(XmlNode element, const destination_kind& kind) {
  destination d;
  d.port = kind.default_port;
  for (XmlNode child : element.children()) {
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
void update_destination(Request& req, XmlNode element, const destination_kind& kind) {
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
void insert_destination(Request& req, XmlNode element, const destination_kind& kind) {
  destination d = read_destination(element, kind);
  if (kind.mailing) {
    req.db().exec("insert into SMTPServer values (NULL, ?, ?, ?, ?, ?, '', ?, '', '', 0", d.id,
                  d.address, d.user, d.password, d.port, d.user);
  } else {
    req.db().exec("insert into FTPServer values (NULL, ?, ?, ?, ?, ?, ?)", d.id, d.address, d.user,
                  d.password, d.port, d.path);
  }
}

void for_each_destination(Request& req, XmlNode list, const destination_kind& kind,
                          void (*apply)(Request&, XmlNode, const destination_kind&)) {
  for (XmlNode element : list.children())
    if (element.is(kind.element)) apply(req, element, kind);
}

// PUT of a list, or of one destination (the body's id names the row).
Answer put_destinations(Request& req, const destination_kind& kind, bool list) {
  XmlBody body(req, list ? kind.list_element : kind.element, kStatusDeviceError);
  if (!body.ok()) return body.failure();
  if (list)
    for_each_destination(req, body.root(), kind, update_destination);
  else
    update_destination(req, body.root(), kind);
  return Answer::status(kStatusOk);
}

// At most three destinations of each kind.
Answer post_destinations(Request& req, const destination_kind& kind) {
  int stored = kind.mailing ? req.db().query_int(0, "select count(*) from SMTPServer")
                            : req.db().query_int(0, "select count(*) from FTPServer");
  if (stored > 2) return Answer::status(kStatusDeviceError);
  XmlBody body(req, kind.list_element, kStatusDeviceError);
  if (!body.ok()) return body.failure();
  for_each_destination(req, body.root(), kind, insert_destination);
  return Answer::status(kStatusOk);
}

}  // namespace

void append_notification_methods(Request& req, text_buffer& doc) {
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

void apply_notification_methods(Request& req, XmlNode methods) {
  for (XmlNode list : methods.children()) {
    if (list.is(kMailing.list_element))
      for_each_destination(req, list, kMailing, update_destination);
    else if (list.is(kFtp.list_element))
      for_each_destination(req, list, kFtp, update_destination);
  }
}

Answer get_event_notification(Request& req, const RouteArgs&) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_notification_methods(req, doc);
  return Answer::document(std::move(doc), ContentType::xml);
}

// The combined document changes the destinations it names, as the PUT of
// each list does; the fixed upload and media formats cannot be changed.
Answer put_event_notification(Request& req, const RouteArgs&) {
  XmlBody body(req, "EventNotificationMethods", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  apply_notification_methods(req, body.root());
  return Answer::status(kStatusOk);
}

Answer get_mailings(Request& req, const RouteArgs&) {
  return answer_destination_list(req, kMailing);
}

// The camera describes its first mail server whatever the id asked for.
Answer get_mailing(Request& req, const RouteArgs&) {
  return answer_destination(kMailing, req.db().query("select * from SMTPServer"));
}

Answer put_mailings(Request& req, const RouteArgs&) {
  return put_destinations(req, kMailing, true);
}
Answer put_mailing(Request& req, const RouteArgs&) {
  return put_destinations(req, kMailing, false);
}
Answer post_mailing(Request& req, const RouteArgs&) { return post_destinations(req, kMailing); }

Answer delete_mailing(Request& req, const RouteArgs& route) {
  const char* id = route.rest;
  req.db().exec("delete from SMTPServer where ServerName=?", id);
  return Answer::status(kStatusOk);
}

Answer delete_mailings(Request& req, const RouteArgs&) {
  req.db().exec("delete from SMTPServer");
  return Answer::status(kStatusOk);
}

Answer get_ftps(Request& req, const RouteArgs&) { return answer_destination_list(req, kFtp); }

Answer get_ftp(Request& req, const RouteArgs& route) {
  const char* id = route.rest;
  return answer_destination(kFtp,
                            req.db().query("select * from FTPServer where ServerName=?", id));
}

Answer put_ftps(Request& req, const RouteArgs&) { return put_destinations(req, kFtp, true); }
Answer put_ftp(Request& req, const RouteArgs&) { return put_destinations(req, kFtp, false); }
Answer post_ftp(Request& req, const RouteArgs&) { return post_destinations(req, kFtp); }

Answer delete_ftp(Request& req, const RouteArgs& route) {
  const char* id = route.rest;
  req.db().exec("delete from FTPServer where ServerName=?", id);
  return Answer::status(kStatusOk);
}

Answer delete_ftps(Request& req, const RouteArgs&) {
  req.db().exec("delete from FTPServer");
  return Answer::status(kStatusOk);
}

}  // namespace psia
