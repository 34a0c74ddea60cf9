// The camera's one NTP server (DateTime.NTPServerName), shown as a list of
// one and as member 1. Changes are only stored: the control daemon gets
// the server with the next set-time command, which carries it.
#include <cstdio>

#include "io/xml_input.h"
#include "resources/system/system.h"

namespace psia {

namespace {

// Shown when the camera has no server stored: the public NTP pool, which
// answers from anywhere without configuration.
const char kDefaultNtpServer[] = "pool.ntp.org";

struct ntp_server {
  char name[32];
  bool is_address;  // only digits and dots: an IPv4 address
};

ntp_server read_ntp_server(request& req) {
  ntp_server s;
  if (!req.db().query_text(s.name, sizeof s.name, "select NTPServerName from DateTime")) {
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
void append_server(text_buffer& doc, const ntp_server& s, int indent) {
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

void read_server_element(xml_node server, ntp_update* u) {
  for (xml_node child : server.children()) {
    if (child.is("addressingFormatType")) {
      u->use_host_name = child.text_is("NTP");
    } else if (child.is("hostName")) {
      child.copy_text(u->host_name);
    } else if (child.is("ipAddress")) {
      child.copy_text(u->address);
    }
  }
}

answer store_ntp_server(request& req, bool list) {
  xml_body body(req, list ? "NTPServerList" : "NTPServer", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  ntp_update u;
  if (list) {
    for (xml_node server : body.root().children())
      if (server.is("NTPServer") && server.has_children()) read_server_element(server, &u);
  } else {
    read_server_element(body.root(), &u);
  }
  bool stored = req.db().exec("update DateTime set NTPServerName=?",
                              u.use_host_name ? u.host_name : u.address);
  return answer::status(stored ? kStatusOk : kStatusDeviceError);
}

}  // namespace

answer get_ntp_server(request& req, const route_args&) {
  ntp_server s = read_ntp_server(req);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("  <NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_server(doc, s, 4);
  doc.append("  </NTPServer>");
  return answer::document(std::move(doc), content_type::xml_utf8);
}

answer get_ntp_server_list(request& req, const route_args&) {
  ntp_server s = read_ntp_server(req);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<NTPServerList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_server(doc, s, 0);
  doc.append("</NTPServer>");
  doc.append("</NTPServerList>");
  return answer::document(std::move(doc), content_type::xml_utf8);
}

answer put_ntp_server(request& req, const route_args&) { return store_ntp_server(req, false); }

answer put_ntp_server_list(request& req, const route_args&) { return store_ntp_server(req, true); }

// The camera has one server: a POST replaces it, as a PUT does.
answer post_ntp_server(request& req, const route_args&) { return store_ntp_server(req, false); }

// The one server cannot be removed; the request changes nothing.
answer delete_ntp_server(request&, const route_args&) { return answer::status(kStatusOk); }

answer delete_ntp_server_list(request&, const route_args&) { return answer::status(kStatusOk); }

}  // namespace psia
