// The camera's one NTP server (DateTime.NTPServerName), shown as a list of
// one and as member 1. Changes are only stored: the control daemon gets
// the server with the next set-time command, which carries it.
#include <cstdio>

#include "io/response.h"
#include "io/xml_input.h"
#include "resources/system/system.h"
#include "store/database.h"

namespace {

// Shown when the camera has no server stored: the public NTP pool, which
// answers from anywhere without configuration.
const char kDefaultNtpServer[] = "pool.ntp.org";

struct ntp_server {
  char name[32];
  bool is_address;  // only digits and dots: an IPv4 address
};

ntp_server read_ntp_server() {
  ntp_server s;
  if (!db_query_text(s.name, sizeof s.name, "select NTPServerName from DateTime")) {
    std::snprintf(s.name, sizeof s.name, "%s", kDefaultNtpServer);
    s.is_address = false;
    return s;
  }
  s.is_address = true;
  for (const char* c = s.name; *c != '\0'; ++c)
    if (!((*c >= '0' && *c <= '9') || *c == '.')) s.is_address = false;
  return s;
}

// The server's elements, each line led by `indent` spaces.
void append_server(TextBuffer& doc, const ntp_server& s, int indent) {
  doc.appendf("%*s<id>1</id>", indent, "");
  if (s.is_address) {
    doc.appendf("%*s<addressingFormatType>ipaddress</addressingFormatType>", indent, "");
    doc.appendf("%*s<ipAddress>%s</ipAddress>", indent, "", s.name);
  } else {
    doc.appendf("%*s<addressingFormatType>hostname</addressingFormatType>", indent, "");
    doc.appendf("%*s<hostName>%s</hostName>", indent, "", s.name);
  }
  doc.appendf("%*s<portNo>123</portNo>", indent, "");
}

// The fields an NTPServer element sets. Only a format type of "NTP" selects
// the host name; any other (even "hostname") selects the address, as the
// camera's clients have always been answered.
struct ntp_update {
  char host_name[32] = "";
  char address[32] = "";
  bool use_host_name = true;
};

void read_server_element(const xmlNode* server, ntp_update* u) {
  for (xmlNode* child : xml_children(server)) {
    if (xml_name_is(child, "addressingFormatType")) {
      u->use_host_name = xml_text_is(child, "NTP");
    } else if (xml_name_is(child, "hostName")) {
      xml_copy_text(child, u->host_name);
    } else if (xml_name_is(child, "ipAddress")) {
      xml_copy_text(child, u->address);
    }
  }
}

void store_ntp_server(bool list) {
  XmlDocument body;
  if (!accept_xml_request(body, list ? "NTPServerList" : "NTPServer", kStatusDeviceError)) return;
  ntp_update u;
  if (list) {
    for (xmlNode* server : xml_children(body.root()))
      if (xml_name_is(server, "NTPServer") && xml_has_children(server))
        read_server_element(server, &u);
  } else {
    read_server_element(body.root(), &u);
  }
  bool stored = db_exec("update DateTime set NTPServerName='%q'",
                        u.use_host_name ? u.host_name : u.address);
  write_response_status(stored ? kStatusOk : kStatusDeviceError);
}

}  // namespace

void get_ntp_server() {
  ntp_server s = read_ntp_server();
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("  <NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_server(doc, s, 4);
  doc.appendf("  </NTPServer>");
  answer_document(doc, content_type::xml_utf8);
}

void get_ntp_server_list() {
  ntp_server s = read_ntp_server();
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<NTPServerList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_server(doc, s, 0);
  doc.appendf("</NTPServer>");
  doc.appendf("</NTPServerList>");
  answer_document(doc, content_type::xml_utf8);
}

void put_ntp_server() { store_ntp_server(false); }

void put_ntp_server_list() { store_ntp_server(true); }

// The camera has one server: a POST replaces it, as a PUT does.
void post_ntp_server() { store_ntp_server(false); }

// The one server cannot be removed; the request changes nothing.
void delete_ntp_server() { write_response_status(kStatusOk); }

void delete_ntp_server_list() { write_response_status(kStatusOk); }
