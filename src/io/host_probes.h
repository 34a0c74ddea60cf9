// Host network probes: the live state of a network interface, read from the
// operating system rather than from the configuration database.
//
// Addresses are 32-bit values in network byte order (their memory bytes are
// the dotted quad's numbers, first to last). Every probe writes its
// complaint as one line on the error stream and returns its failure value;
// none of them ends the request. The failure value of the address probes,
// all ones, cannot be told from 255.255.255.255 and is printed as such.
#ifndef PSIA_IO_HOST_PROBES_H
#define PSIA_IO_HOST_PROBES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace psia {

class Log;

// The one interface the camera has.
constexpr const char* kCameraInterface = "eth0";

// What the address probes return when they cannot answer.
constexpr uint32_t kProbeFailed = 0xFFFFFFFFu;

// Room for a dotted quad and its NUL ("255.255.255.255").
constexpr size_t kIpv4TextSize = 16;

// The interface's IPv4 address (SIOCGIFADDR), or kProbeFailed.
uint32_t read_ip_address(Log& log, const char* interface_name);
// The interface's subnet mask (SIOCGIFNETMASK), or kProbeFailed.
uint32_t read_subnet_mask(Log& log, const char* interface_name);
// Copies the six bytes of the interface's hardware address (SIOCGIFHWADDR)
// into `mac`; returns 0, or -1 (leaving `mac` alone) on failure.
int read_mac_address(Log& log, const char* interface_name, unsigned char mac[6]);

// The gateway of the first route of the interface in the routing table file
// (/proc/net/route) whose gateway is not zero, or kProbeFailed when there is
// none.
uint32_t read_default_gateway(Log& log, const std::string& route_path, const char* interface_name);

// The first two "nameserver" lines of the resolver file (/etc/resolv.conf)
// as dotted quads. Both fields are cleared first. Returns 0 when two were
// found, -1 otherwise; a primary server found before the failure stays
// written.
int read_name_servers(const std::string& resolv_path, char primary[kIpv4TextSize],
                      char secondary[kIpv4TextSize]);

// Writes an address in network byte order as a dotted quad.
void format_ipv4(uint32_t address, char text[kIpv4TextSize]);

}  // namespace psia

#endif  // PSIA_IO_HOST_PROBES_H
