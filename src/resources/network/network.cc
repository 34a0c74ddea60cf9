// The eth0 interface resources. Documents report the interface as the
// operating system sees it right now, together with the stored addressing
// type; updates store the new settings in table Network and ask the control
// daemon to apply them.
//
// The interface list, the interface and its ipAddress resource share one
// IPAddress block, written at the depth each document needs it.
#include <cstdint>

#include "control/control_message.h"
#include "io/host_probes.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/network/network.h"
#include "store/database.h"

namespace {

// Indentation steps of the documents.
constexpr int kStep = 4;

// The live state of eth0 and the stored addressing type.
struct interface_state {
  int connection_type;  // Network.ConnectionType: 0 static, 1 dynamic
  uint32_t ip_address;  // network byte order; all ones when unknown
  uint32_t subnet_mask;
  uint32_t gateway;
  char primary_dns[kIpv4TextSize];  // empty when resolv.conf has none
  char secondary_dns[kIpv4TextSize];
};

interface_state read_interface_state() {
  interface_state state;
  // Without a stored row the camera behaves as a DHCP client.
  state.connection_type = db_query_int(1, "select ConnectionType from Network");
  state.ip_address = read_ip_address(kCameraInterface);
  state.subnet_mask = read_subnet_mask(kCameraInterface);
  state.gateway = read_default_gateway(kCameraInterface);
  read_name_servers(state.primary_dns, state.secondary_dns);
  return state;
}

// The elements of an IPAddress document from ipVersion to the SecondaryDNS
// block, at `indent` spaces (their children one step deeper).
void append_ip_address_elements(TextBuffer& doc, const interface_state& state,
                                int indent) {
  const int inner = indent + kStep;
  char ip_address[kIpv4TextSize];
  char subnet_mask[kIpv4TextSize];
  char gateway[kIpv4TextSize];
  format_ipv4(state.ip_address, ip_address);
  format_ipv4(state.subnet_mask, subnet_mask);
  format_ipv4(state.gateway, gateway);

  doc.appendf("%*s<ipVersion>v4</ipVersion>\n", indent, "");
  doc.appendf("%*s<addressingType>%s</addressingType>\n", indent, "",
              state.connection_type == 1 ? "dynamic" : "static");
  doc.appendf("%*s<ipAddress>%s</ipAddress>\n", indent, "", ip_address);
  doc.appendf("%*s<subnetMask>%s</subnetMask>\n", indent, "", subnet_mask);
  doc.appendf("%*s<DefaultGateway>\n", indent, "");
  doc.appendf("%*s<ipAddress>%s</ipAddress>\n", inner, "", gateway);
  doc.appendf("%*s</DefaultGateway>\n", indent, "");
  doc.appendf("%*s<PrimaryDNS>\n", indent, "");
  doc.appendf("%*s<ipAddress>%s</ipAddress>\n", inner, "", state.primary_dns);
  doc.appendf("%*s</PrimaryDNS>\n", indent, "");
  doc.appendf("%*s<SecondaryDNS>\n", indent, "");
  doc.appendf("%*s<ipAddress>%s</ipAddress>\n", inner, "", state.secondary_dns);
  doc.appendf("%*s</SecondaryDNS>\n", indent, "");
}

// The Zeroconf block of a Discovery element, at `indent` spaces.
// Zero-configuration discovery cannot be switched off on this camera.
void append_zeroconf(TextBuffer& doc, int indent) {
  doc.appendf("%*s<Zeroconf>\n", indent, "");
  doc.appendf("%*s<enabled>true</enabled>\n", indent + kStep, "");
  doc.appendf("%*s</Zeroconf>\n", indent, "");
}

// The body of a NetworkInterface element (id, IPAddress, Discovery) with
// its children at `indent` spaces.
void append_interface_body(TextBuffer& doc, const interface_state& state,
                           int indent) {
  doc.appendf("%*s<id>eth0</id>\n", indent, "");
  doc.appendf("%*s<IPAddress version=\"1.0\">\n", indent, "");
  append_ip_address_elements(doc, state, indent + kStep);
  doc.appendf("%*s</IPAddress>\n", indent, "");
  doc.appendf("%*s<Discovery version=\"1.0\">\n", indent, "");
  append_zeroconf(doc, indent + kStep);
  doc.appendf("%*s</Discovery>\n", indent, "");
}

// The network documents keep the ResponseStatus form of the declaration
// (a bare \n), unlike the other GET documents.
void append_declaration(TextBuffer& doc) {
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
}

// ---------------------------------------------------------------------------
// Updates

// The settings of an IPAddress element, each in its own bounded field.
struct network_settings {
  bool has_addressing_type = false;
  bool is_static = false;
  char ip_address[32] = "";
  char subnet_mask[32] = "";
  char gateway[32] = "";
  char primary_dns[32] = "";
  char secondary_dns[32] = "";
};

// Copies the text of every ipAddress child of `block` into `field`; a later
// one overwrites an earlier one.
template <size_t N>
void read_nested_address(const xmlNode* block, char (&field)[N]) {
  for (xmlNode* child : xml_children(block)) {
    if (xml_name_is(child, "ipAddress")) xml_copy_text(child, field);
  }
}

// Reads the children of an IPAddress element. Returns 0, or the status code
// to answer (3 for an empty element or an IP version other than v4).
int read_network_settings(const xmlNode* element, network_settings* settings) {
  if (!xml_has_children(element)) return kStatusDeviceError;
  for (xmlNode* child : xml_children(element)) {
    if (xml_name_is(child, "ipVersion")) {
      if (!xml_text_is(child, "v4")) return kStatusDeviceError;
    } else if (xml_name_is(child, "addressingType")) {
      settings->has_addressing_type = true;
      settings->is_static = xml_text_is(child, "static");
    } else if (xml_name_is(child, "ipAddress")) {
      xml_copy_text(child, settings->ip_address);
    } else if (xml_name_is(child, "subnetMask")) {
      xml_copy_text(child, settings->subnet_mask);
    } else if (xml_name_is(child, "DefaultGateway")) {
      read_nested_address(child, settings->gateway);
    } else if (xml_name_is(child, "PrimaryDNS")) {
      read_nested_address(child, settings->primary_dns);
    } else if (xml_name_is(child, "SecondaryDNS")) {
      read_nested_address(child, settings->secondary_dns);
    }
  }
  // Without an addressing type the request says nothing we could apply.
  if (!settings->has_addressing_type) return kStatusDeviceError;
  return 0;
}

// Stores the settings and has the daemon apply them; returns the status
// code to answer.
int apply_network_settings(const network_settings& settings) {
  if (!settings.is_static) {
    // A DHCP client takes its addresses from the server: only the mode is
    // stored, and the addresses of the request are not used.
    if (!db_exec("update Network set ConnectionType=1")) return kStatusDeviceError;
    return send_control_command(kCommandNetworkApply);
  }

  // A request without a secondary server keeps the stored one.
  bool stored;
  if (settings.secondary_dns[0] != '\0') {
    stored = db_exec(
        "update Network set ConnectionType=0, IpAddress='%q', SubnetMask='%q', "
        "Gateway='%q', PrimaryDNS='%q', SecondaryDNS='%q'",
        settings.ip_address, settings.subnet_mask, settings.gateway,
        settings.primary_dns, settings.secondary_dns);
  } else {
    stored = db_exec(
        "update Network set ConnectionType=0, IpAddress='%q', SubnetMask='%q', "
        "Gateway='%q', PrimaryDNS='%q'",
        settings.ip_address, settings.subnet_mask, settings.gateway,
        settings.primary_dns);
  }
  if (!stored) return kStatusDeviceError;

  // Static addressing takes two steps: the daemon applies the settings
  // (41), and only when that worked is the second step (42) asked for.
  int status = send_control_command(kCommandNetworkApply);
  if (status != kStatusOk) return status;
  return send_control_command(kCommandNetworkStatic);
}

// Reads the settings of an IPAddress element and applies them.
int update_network(const xmlNode* element) {
  network_settings settings;
  int failure = read_network_settings(element, &settings);
  if (failure != 0) return failure;
  return apply_network_settings(settings);
}

}  // namespace

void get_ip_address() {
  interface_state state = read_interface_state();
  TextBuffer doc;
  if (doc) {
    append_declaration(doc);
    doc.appendf("<IPAddress version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
    append_ip_address_elements(doc, state, kStep);
    doc.appendf("</IPAddress>\n");
  }
  answer_document(doc, content_type::xml);
}

void put_ip_address() {
  XmlDocument doc;
  if (!accept_xml_request(doc, "IPAddress", kStatusInvalidXmlFormat)) return;
  write_response_status(update_network(doc.root()));
}

void get_discovery() {
  TextBuffer doc;
  if (doc) {
    append_declaration(doc);
    doc.appendf("<Discovery version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
    append_zeroconf(doc, kStep);
    doc.appendf("</Discovery>\n");
  }
  answer_document(doc, content_type::xml);
}

// Discovery has nothing to change: the request is accepted and ignored.
void put_discovery() { write_response_status(kStatusOk); }

void get_network_interface() {
  interface_state state = read_interface_state();
  TextBuffer doc;
  if (doc) {
    append_declaration(doc);
    doc.appendf("<NetworkInterface version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
    append_interface_body(doc, state, kStep);
    doc.appendf("</NetworkInterface>\n");
  }
  answer_document(doc, content_type::xml);
}

void put_network_interface() {
  XmlDocument doc;
  if (!accept_xml_request(doc, "NetworkInterface", kStatusInvalidXmlFormat)) return;
  // The settings are those of the IPAddress child; the id, when given,
  // must name the camera's one interface.
  const xmlNode* settings = nullptr;
  for (xmlNode* child : xml_children(doc.root())) {
    if (xml_name_is(child, "id")) {
      if (!xml_text_is(child, "eth0")) {
        write_response_status(kStatusDeviceError);
        return;
      }
    } else if (xml_name_is(child, "IPAddress")) {
      settings = child;
    }
  }
  if (settings == nullptr) {
    write_response_status(kStatusDeviceError);
    return;
  }
  write_response_status(update_network(settings));
}

void get_network_interface_list() {
  interface_state state = read_interface_state();
  TextBuffer doc;
  if (doc) {
    append_declaration(doc);
    doc.appendf(
        "<NetworkInterfaceList version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
    doc.appendf("%*s<NetworkInterface version=\"1.0\">\n", kStep, "");
    append_interface_body(doc, state, 2 * kStep);
    doc.appendf("%*s</NetworkInterface>\n", kStep, "");
    doc.appendf("</NetworkInterfaceList>\n");
  }
  answer_document(doc, content_type::xml);
}
