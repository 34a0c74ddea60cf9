// The eth0 interface resources. Documents report the interface as the
// operating system sees it right now, together with the stored addressing
// type; updates store the new settings in table Network and ask the control
// daemon to apply them.
//
// The interface list, the interface and its ipAddress resource share one
// IPAddress block, written at the depth each document needs it.
#include <cstdint>
#include <optional>

#include "io/host_probes.h"
#include "io/xml_input.h"
#include "resources/network/network.h"

namespace psia {

namespace {

// Indentation steps of the documents.
constexpr int kStep = 4;

// The live state of eth0 and the stored addressing type.
struct interface_state {
  int connection_type;                 // Network.ConnectionType: 0 static, 1 dynamic
  std::optional<uint32_t> ip_address;  // network byte order
  std::optional<uint32_t> subnet_mask;
  std::optional<uint32_t> gateway;
  char primary_dns[kIpv4TextSize];  // empty when resolv.conf has none
  char secondary_dns[kIpv4TextSize];
};

interface_state read_interface_state(request& req) {
  interface_state state;
  // Without a stored row the camera behaves as a DHCP client.
  state.connection_type = req.db().query_int(1, "select ConnectionType from Network");
  state.ip_address = read_ip_address(req.log(), kCameraInterface);
  state.subnet_mask = read_subnet_mask(req.log(), kCameraInterface);
  state.gateway =
      read_default_gateway(req.log(), req.host_path("/proc/net/route"), kCameraInterface);
  read_name_servers(req.host_path("/etc/resolv.conf"), state.primary_dns, state.secondary_dns);
  return state;
}

// An address the probe could not read is shown as 255.255.255.255, as the
// camera's clients have always seen it.
void format_probed(std::optional<uint32_t> address, char text[kIpv4TextSize]) {
  format_ipv4(address.value_or(0xFFFFFFFFu), text);
}

// The elements of an IPAddress document from ipVersion to the SecondaryDNS
// block, at `indent` spaces (their children one step deeper).
void append_ip_address_elements(text_buffer& doc, const interface_state& state, int indent) {
  const int inner = indent + kStep;
  char ip_address[kIpv4TextSize];
  char subnet_mask[kIpv4TextSize];
  char gateway[kIpv4TextSize];
  format_probed(state.ip_address, ip_address);
  format_probed(state.subnet_mask, subnet_mask);
  format_probed(state.gateway, gateway);

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
void append_zeroconf(text_buffer& doc, int indent) {
  doc.appendf("%*s<Zeroconf>\n", indent, "");
  doc.appendf("%*s<enabled>true</enabled>\n", indent + kStep, "");
  doc.appendf("%*s</Zeroconf>\n", indent, "");
}

// The body of a NetworkInterface element (id, IPAddress, Discovery) with
// its children at `indent` spaces.
void append_interface_body(text_buffer& doc, const interface_state& state, int indent) {
  doc.appendf("%*s<id>eth0</id>\n", indent, "");
  doc.appendf("%*s<IPAddress version=\"1.0\">\n", indent, "");
  append_ip_address_elements(doc, state, indent + kStep);
  doc.appendf("%*s</IPAddress>\n", indent, "");
  doc.appendf("%*s<Discovery version=\"1.0\">\n", indent, "");
  append_zeroconf(doc, indent + kStep);
  doc.appendf("%*s</Discovery>\n", indent, "");
}

// One network document: the root element in the PSIA namespace around what
// fill appends. The network documents keep the ResponseStatus form of the
// declaration (a bare \n), unlike the other GET documents.
template <typename Fill>
answer network_document(const char* element, Fill fill) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
  doc.appendf("<%s version=\"1.0\" xmlns=\"urn:psialliance-org\">\n", element);
  fill(doc);
  doc.appendf("</%s>\n", element);
  return answer::document(std::move(doc), content_type::xml);
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
void read_nested_address(xml_node block, char (&field)[N]) {
  for (xml_node child : block.children())
    if (child.is("ipAddress")) child.copy_text(field);
}

// Reads the children of an IPAddress element. False for an empty element,
// an IP version other than v4, or no addressing type.
bool read_network_settings(xml_node element, network_settings* settings) {
  if (!element.has_children()) return false;
  for (xml_node child : element.children()) {
    if (child.is("ipVersion")) {
      if (!child.text_is("v4")) return false;
    } else if (child.is("addressingType")) {
      settings->has_addressing_type = true;
      settings->is_static = child.text_is("static");
    } else if (child.is("ipAddress")) {
      child.copy_text(settings->ip_address);
    } else if (child.is("subnetMask")) {
      child.copy_text(settings->subnet_mask);
    } else if (child.is("DefaultGateway")) {
      read_nested_address(child, settings->gateway);
    } else if (child.is("PrimaryDNS")) {
      read_nested_address(child, settings->primary_dns);
    } else if (child.is("SecondaryDNS")) {
      read_nested_address(child, settings->secondary_dns);
    }
  }
  // Without an addressing type the request says nothing we could apply.
  return settings->has_addressing_type;
}

// Stores the settings and has the daemon apply them.
answer apply_network_settings(request& req, const network_settings& settings) {
  if (!settings.is_static) {
    // A DHCP client takes its addresses from the server: only the mode is
    // stored, and the addresses of the request are not used.
    if (!req.db().exec("update Network set ConnectionType=1"))
      return answer::status(kStatusDeviceError);
    return answer::status(req.control().send_command(kCommandNetworkApply));
  }

  // A request without a secondary server keeps the stored one.
  bool stored;
  if (settings.secondary_dns[0] != '\0') {
    stored = req.db().exec(
        "update Network set ConnectionType=0, IpAddress=?, SubnetMask=?, "
        "Gateway=?, PrimaryDNS=?, SecondaryDNS=?",
        settings.ip_address, settings.subnet_mask, settings.gateway, settings.primary_dns,
        settings.secondary_dns);
  } else {
    stored = req.db().exec(
        "update Network set ConnectionType=0, IpAddress=?, SubnetMask=?, "
        "Gateway=?, PrimaryDNS=?",
        settings.ip_address, settings.subnet_mask, settings.gateway, settings.primary_dns);
  }
  if (!stored) return answer::status(kStatusDeviceError);

  // Static addressing takes two steps: the daemon applies the settings
  // (41), and only when that worked is the second step (42) asked for.
  control_result applied = req.control().send_command(kCommandNetworkApply);
  if (applied != control_result::ok) return answer::status(applied);
  return answer::status(req.control().send_command(kCommandNetworkStatic));
}

// Reads the settings of an IPAddress element and applies them.
answer update_network(request& req, xml_node element) {
  network_settings settings;
  if (!read_network_settings(element, &settings)) return answer::status(kStatusDeviceError);
  return apply_network_settings(req, settings);
}

}  // namespace

answer get_ip_address(request& req, const route_args&) {
  interface_state state = read_interface_state(req);
  return network_document("IPAddress",
                          [&](text_buffer& doc) { append_ip_address_elements(doc, state, kStep); });
}

answer put_ip_address(request& req, const route_args&) {
  xml_body body(req, "IPAddress", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  return update_network(req, body.root());
}

answer get_discovery(request&, const route_args&) {
  return network_document("Discovery", [](text_buffer& doc) { append_zeroconf(doc, kStep); });
}

// Discovery has nothing to change: the request is accepted and ignored.
answer put_discovery(request&, const route_args&) { return answer::status(kStatusOk); }

answer get_network_interface(request& req, const route_args&) {
  interface_state state = read_interface_state(req);
  return network_document("NetworkInterface",
                          [&](text_buffer& doc) { append_interface_body(doc, state, kStep); });
}

answer put_network_interface(request& req, const route_args&) {
  xml_body body(req, "NetworkInterface", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  // The settings are those of the IPAddress child; the id, when given,
  // must name the camera's one interface.
  xml_node settings;
  for (xml_node child : body.root().children()) {
    if (child.is("id")) {
      if (!child.text_is("eth0")) return answer::status(kStatusDeviceError);
    } else if (child.is("IPAddress")) {
      settings = child;
    }
  }
  if (!settings) return answer::status(kStatusDeviceError);
  return update_network(req, settings);
}

answer get_network_interface_list(request& req, const route_args&) {
  interface_state state = read_interface_state(req);
  return network_document("NetworkInterfaceList", [&](text_buffer& doc) {
    doc.appendf("%*s<NetworkInterface version=\"1.0\">\n", kStep, "");
    append_interface_body(doc, state, 2 * kStep);
    doc.appendf("%*s</NetworkInterface>\n", kStep, "");
  });
}

}  // namespace psia
