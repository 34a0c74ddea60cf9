// Host network probes: the live state of a network interface, read from the
// operating system rather than from the configuration database.
//
// Addresses are 32-bit values in network byte order (their memory bytes are
// the dotted quad's numbers, first to last). Every probe writes its
// complaint as one line on the error stream and returns nothing (or
// false); none of them ends the request.
#ifndef PSIA_IO_HOST_PROBES_H
#define PSIA_IO_HOST_PROBES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace psia {

class event_log;

// The one interface the camera has.
constexpr const char* kCameraInterface = "eth0";

// Room for a dotted quad and its NUL ("255.255.255.255").
constexpr size_t kIpv4TextSize = 16;

// The interface's IPv4 address (SIOCGIFADDR).
std::optional<uint32_t> read_ip_address(event_log& log, const char* interface_name);
// The interface's subnet mask (SIOCGIFNETMASK).
std::optional<uint32_t> read_subnet_mask(event_log& log, const char* interface_name);
// Copies the six bytes of the interface's hardware address (SIOCGIFHWADDR)
// into `mac`; false (leaving `mac` alone) on failure.
bool read_mac_address(event_log& log, const char* interface_name, unsigned char mac[6]);

// The gateway of the first route of the interface in the routing table file
// (/proc/net/route) whose gateway is not zero; nothing when there is none.
std::optional<uint32_t> read_default_gateway(event_log& log, const std::string& route_path,
                                             const char* interface_name);

// The first two "nameserver" lines of the resolver file (/etc/resolv.conf)
// as dotted quads. Both fields are cleared first. True when two were found;
// a primary server found before a failure stays written.
bool read_name_servers(const std::string& resolv_path, char primary[kIpv4TextSize],
                       char secondary[kIpv4TextSize]);

// Writes an address in network byte order as a dotted quad.
void format_ipv4(uint32_t address, char text[kIpv4TextSize]);

}  // namespace psia

#endif  // PSIA_IO_HOST_PROBES_H
