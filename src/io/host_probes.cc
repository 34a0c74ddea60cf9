#include "io/host_probes.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "io/request_body.h"
#include "util/bounded_copy.h"
#include "util/file.h"
#include "util/log.h"

namespace psia {

namespace {

// Host files are small; anything larger is not the file the probe expects.
constexpr size_t kHostFileLimit = 1 << 20;

// An interface request for `interface_name` (cut to the kernel's limit of
// IFNAMSIZ - 1 characters) asking about IPv4.
struct ifreq interface_request(const char* interface_name) {
  struct ifreq request;
  std::memset(&request, 0, sizeof request);
  copy_bounded(request.ifr_name, sizeof request.ifr_name, interface_name);
  request.ifr_addr.sa_family = AF_INET;
  return request;
}

// What became of a question to the kernel about an interface.
enum class asked { answered, no_socket, refused };

// Asks the kernel about the interface; when it refuses, `error` is its
// reason.
asked ask_interface(unsigned long request_code, struct ifreq* request, int* error) {
  unique_fd fd(socket(AF_INET, SOCK_DGRAM, 0));
  if (!fd.valid()) return asked::no_socket;
  if (ioctl(fd.get(), request_code, request) == 0) return asked::answered;
  *error = errno;
  return asked::refused;
}

// The IPv4 address the kernel put into the request's address field.
uint32_t answered_address(const struct ifreq& request) {
  struct sockaddr_in address;
  std::memcpy(&address, &request.ifr_addr, sizeof address);
  return address.sin_addr.s_addr;
}

// Reads one hexadecimal number of a routing table line, as "%lx" would.
bool read_hex(const char** cursor, unsigned long* value) {
  char* end = nullptr;
  *value = std::strtoul(*cursor, &end, 16);
  if (end == *cursor) return false;
  *cursor = end;
  return true;
}

}  // namespace

std::optional<uint32_t> read_ip_address(event_log& log, const char* interface_name) {
  struct ifreq request = interface_request(interface_name);
  int error = 0;
  asked asked = ask_interface(SIOCGIFADDR, &request, &error);
  if (asked == asked::no_socket) log.diagnostic("Socket Open Fail!\n");
  if (asked == asked::refused)
    log.diagnostic("Unable to read IP address!, err: %s\n", std::strerror(error));
  if (asked != asked::answered) return std::nullopt;
  return answered_address(request);
}

std::optional<uint32_t> read_subnet_mask(event_log& log, const char* interface_name) {
  struct ifreq request = interface_request(interface_name);
  int error = 0;
  asked asked = ask_interface(SIOCGIFNETMASK, &request, &error);
  if (asked == asked::no_socket) log.diagnostic("Socket Open Fail!\n");
  if (asked == asked::refused) log.diagnostic("Unable to read subnet mask!\n");
  if (asked != asked::answered) return std::nullopt;
  return answered_address(request);
}

bool read_mac_address(event_log& log, const char* interface_name, unsigned char mac[6]) {
  struct ifreq request = interface_request(interface_name);
  int error = 0;
  asked asked = ask_interface(SIOCGIFHWADDR, &request, &error);
  if (asked == asked::no_socket) log.diagnostic("Failed to open socket!\n");
  if (asked == asked::refused) log.diagnostic("Unable to read MAC address!\n");
  if (asked != asked::answered) return false;
  std::memcpy(mac, request.ifr_hwaddr.sa_data, 6);
  return true;
}

std::optional<uint32_t> read_default_gateway(event_log& log, const std::string& route_path,
                                             const char* interface_name) {
  std::string table;
  if (!read_regular_file(route_path, kHostFileLimit, &table, kFollowSystemLinks)) {
    log.diagnostic("Do not support /proc file system?\n");
    return std::nullopt;
  }
  size_t name_length = std::strlen(interface_name);
  line_reader lines(table);
  char line[256];
  while (lines.next(line, sizeof line)) {
    // The header line ("Iface ...") never begins with an interface name.
    if (std::strncmp(line, interface_name, name_length) != 0) continue;
    // Destination and gateway are the first two fields after the name.
    const char* tab = std::strchr(line, '\t');
    const char* cursor = tab != nullptr ? tab + 1 : nullptr;
    unsigned long destination = 0;
    unsigned long gateway = 0;
    if (cursor == nullptr || !read_hex(&cursor, &destination) || !read_hex(&cursor, &gateway)) {
      log.diagnostic("Unable to read routing table!\n");
      return std::nullopt;
    }
    if (gateway != 0) return static_cast<uint32_t>(gateway);
  }
  return std::nullopt;
}

bool read_name_servers(const std::string& resolv_path, char primary[kIpv4TextSize],
                       char secondary[kIpv4TextSize]) {
  primary[0] = '\0';
  secondary[0] = '\0';
  std::string resolver;
  if (!read_regular_file(resolv_path, kHostFileLimit, &resolver, kFollowSystemLinks)) return false;
  static const char kKeyword[] = "nameserver";
  const size_t keyword_length = sizeof kKeyword - 1;
  int found = 0;
  line_reader lines(resolver);
  char line[64];
  while (lines.next(line, sizeof line)) {
    if (std::strncmp(line, kKeyword, keyword_length) != 0) continue;
    // The address starts after the keyword and one separator; a line that
    // ends there, or holds a host name, ends the scan.
    std::optional<uint32_t> address;
    if (std::strlen(line) > keyword_length + 1)
      address = parse_ipv4_text(line + keyword_length + 1);
    if (!address) return false;
    format_ipv4(htonl(*address), found == 0 ? primary : secondary);
    if (++found == 2) return true;
  }
  return false;
}

void format_ipv4(uint32_t address, char text[kIpv4TextSize]) {
  unsigned char bytes[4];
  std::memcpy(bytes, &address, sizeof bytes);
  std::snprintf(text, kIpv4TextSize, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
}

}  // namespace psia
