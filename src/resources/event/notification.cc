// The destinations the camera's event daemon sends its alarms to: mail
// servers (table SMTPServer) and FTP servers (table FTPServer), known in
// the resource tree by their ServerName. The daemon reads the tables
// itself, so no command is sent.
#include <cstdint>

#include "io/request_body.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/database.h"

namespace {

// What distinguishes the two kinds of destination.
struct destination_kind {
  const char* element;        // MailingNotification / FTPNotification
  const char* list_element;   // ...List
  const char* account;        // accountName / userName
  int default_port;
  bool mailing;
};

const destination_kind kMailing = {"MailingNotification", "MailingNotificationList",
                                   "accountName", 25, true};
const destination_kind kFtp = {"FTPNotification", "FTPNotificationList", "userName", 21, false};

enum column { kName = 1, kAddress = 2, kUser = 3, kPassword = 4, kPort = 5, kPath = 6 };

const char* cell(const QueryResult& rows, int r, int c) {
  const char* text = rows.text(r, c);
  return text != nullptr ? text : "";
}

void append_destination(TextBuffer& doc, const destination_kind& kind, const QueryResult& rows,
                        int r) {
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.element);
  doc.appendf("<id>%s</id>", cell(rows, r, kName));
  if (kind.mailing) doc.appendf("<authenticationMode>SMTP</authenticationMode>");
  const char* address = cell(rows, r, kAddress);
  uint32_t ignored;
  if (parse_ipv4_text(address, &ignored, 0)) {
    doc.appendf("<addressingFormatType>ipaddress</addressingFormatType>");
    doc.appendf("<ipAddress>%s</ipAddress>", address);
  } else {
    doc.appendf("<addressingFormatType>hostname</addressingFormatType>");
    doc.appendf("<hostName>%s</hostName>", address);
  }
  doc.appendf("<portNo>%d</portNo>", rows.integer(r, kPort, 0));
  doc.appendf("<%s>%s</%s>", kind.account, cell(rows, r, kUser), kind.account);
  doc.appendf("<password>%s</password>", cell(rows, r, kPassword));
  if (!kind.mailing) doc.appendf("<uploadPath>%s</uploadPath>", cell(rows, r, kPath));
  doc.appendf("</%s>", kind.element);
}

void append_destination_list(TextBuffer& doc, const destination_kind& kind) {
  QueryResult rows = kind.mailing ? db_query("select * from SMTPServer")
                                  : db_query("select * from FTPServer");
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">", kind.list_element);
  for (int r = 0; r < rows.rows(); ++r) append_destination(doc, kind, rows, r);
  doc.appendf("</%s>", kind.list_element);
}

void answer_destination_list(const destination_kind& kind) {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_destination_list(doc, kind);
  answer_document(doc, content_type::xml);
}

// One destination, or its empty element when there is no such row.
void answer_destination(const destination_kind& kind, const QueryResult& rows) {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  if (rows.has_rows()) {
    append_destination(doc, kind, rows, 0);
  } else {
    doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\"></%s>", kind.element,
                kind.element);
  }
  answer_document(doc, content_type::xml);
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

destination read_destination(const xmlNode* element, const destination_kind& kind) {
  destination d;
  d.port = kind.default_port;
  for (xmlNode* child : xml_children(element)) {
    if (xml_name_is(child, "id")) {
      xml_copy_text(child, d.id);
    } else if (xml_name_is(child, "hostName") || xml_name_is(child, "ipAddress")) {
      xml_copy_text(child, d.address);
    } else if (xml_name_is(child, "portNo")) {
      d.port = xml_int_text(child);
    } else if (xml_name_is(child, kind.account)) {
      xml_copy_text(child, d.user);
    } else if (xml_name_is(child, "password")) {
      xml_copy_text(child, d.password);
    } else if (!kind.mailing && xml_name_is(child, "uploadPath")) {
      xml_copy_text(child, d.path);
    }
  }
  return d;
}

// Updates the destination the element names (by its id). A statement that
// fails is not reported: the destination may simply not exist.
void update_destination(const xmlNode* element, const destination_kind& kind) {
  destination d = read_destination(element, kind);
  if (kind.mailing) {
    db_exec("update SMTPServer set ServerAddress='%q', UserID='%q', Password='%q', Port=%d "
            "where ServerName='%q'",
            d.address, d.user, d.password, d.port, d.id);
  } else {
    db_exec("update FTPServer set ServerAddress='%q', UserID='%q', Password='%q', Port=%d, "
            "Path='%q' where ServerName='%q'",
            d.address, d.user, d.password, d.port, d.path, d.id);
  }
}

// The mailing insert keeps the camera's statement text, which lacks its
// closing parenthesis: the database refuses it, and mail destinations are
// only ever changed, never added, through this resource.
void insert_destination(const xmlNode* element, const destination_kind& kind) {
  destination d = read_destination(element, kind);
  if (kind.mailing) {
    db_exec("insert into SMTPServer values (NULL, '%q', '%q', '%q', '%q', %d, '', '%q', '', '', 0",
            d.id, d.address, d.user, d.password, d.port, d.user);
  } else {
    db_exec("insert into FTPServer values (NULL, '%q', '%q', '%q', '%q', %d, '%q')", d.id,
            d.address, d.user, d.password, d.port, d.path);
  }
}

void for_each_destination(const xmlNode* list, const destination_kind& kind,
                          void (*apply)(const xmlNode*, const destination_kind&)) {
  for (xmlNode* element : xml_children(list))
    if (xml_name_is(element, kind.element)) apply(element, kind);
}

// PUT of a list, or of one destination (the body's id names the row).
void put_destinations(const destination_kind& kind, bool list) {
  XmlDocument body;
  if (!accept_xml_request(body, list ? kind.list_element : kind.element,
                                 kStatusDeviceError)) return;
  if (list)
    for_each_destination(body.root(), kind, update_destination);
  else
    update_destination(body.root(), kind);
  write_response_status(kStatusOk);
}

// At most three destinations of each kind.
void post_destinations(const destination_kind& kind) {
  int stored = kind.mailing ? db_query_int(0, "select count(*) from SMTPServer")
                            : db_query_int(0, "select count(*) from FTPServer");
  if (stored > 2) {
    write_response_status(kStatusDeviceError);
    return;
  }
  XmlDocument body;
  if (!accept_xml_request(body, kind.list_element, kStatusDeviceError)) return;
  for_each_destination(body.root(), kind, insert_destination);
  write_response_status(kStatusOk);
}

}  // namespace

void append_notification_methods(TextBuffer& doc) {
  doc.appendf("<EventNotificationMethods version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_destination_list(doc, kMailing);
  append_destination_list(doc, kFtp);
  doc.appendf("<FTPFormat>");
  doc.appendf("<uploadSnapShotEnabled>false</uploadSnapShotEnabled>");
  doc.appendf("<uploadVideoClipEnabled>true</uploadVideoClipEnabled>");
  doc.appendf("</FTPFormat>");
  doc.appendf("<MediaFormat>");
  doc.appendf("<snapShotImageType>JPEG</snapShotImageType>");
  doc.appendf("<videoClipFormatType>264</videoClipFormatType>");
  doc.appendf("</MediaFormat>");
  doc.appendf("</EventNotificationMethods>");
}

void apply_notification_methods(const xmlNode* methods) {
  for (xmlNode* list : xml_children(methods)) {
    if (xml_name_is(list, kMailing.list_element))
      for_each_destination(list, kMailing, update_destination);
    else if (xml_name_is(list, kFtp.list_element))
      for_each_destination(list, kFtp, update_destination);
  }
}

void get_event_notification() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_notification_methods(doc);
  answer_document(doc, content_type::xml);
}

// The combined document changes the destinations it names, as the PUT of
// each list does; the fixed upload and media formats cannot be changed.
void put_event_notification() {
  XmlDocument body;
  if (!accept_xml_request(body, "EventNotificationMethods", kStatusDeviceError)) return;
  apply_notification_methods(body.root());
  write_response_status(kStatusOk);
}

void get_mailings() { answer_destination_list(kMailing); }

// The camera describes its first mail server whatever the id asked for.
void get_mailing(const char* /*id*/) {
  answer_destination(kMailing, db_query("select * from SMTPServer"));
}

void put_mailings() { put_destinations(kMailing, true); }
void put_mailing(const char* /*id*/) { put_destinations(kMailing, false); }
void post_mailing() { post_destinations(kMailing); }

void delete_mailing(const char* id) {
  db_exec("delete from SMTPServer where ServerName='%q'", id);
  write_response_status(kStatusOk);
}

void delete_mailings() {
  db_exec("delete from SMTPServer");
  write_response_status(kStatusOk);
}

void get_ftps() { answer_destination_list(kFtp); }

void get_ftp(const char* id) {
  answer_destination(kFtp, db_query("select * from FTPServer where ServerName='%q'", id));
}

void put_ftps() { put_destinations(kFtp, true); }
void put_ftp(const char* /*id*/) { put_destinations(kFtp, false); }
void post_ftp() { post_destinations(kFtp); }

void delete_ftp(const char* id) {
  db_exec("delete from FTPServer where ServerName='%q'", id);
  write_response_status(kStatusOk);
}

void delete_ftps() {
  db_exec("delete from FTPServer");
  write_response_status(kStatusOk);
}
