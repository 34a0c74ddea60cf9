#include "io/host_probes.h"

#include <net/if.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/request_body.h"
#include "io/stream.h"
#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

// An interface request for `interface_name` (cut to the kernel's limit of
// IFNAMSIZ - 1 characters) asking about IPv4.
struct ifreq interface_request(const char* interface_name) {
  struct ifreq request;
  std::memset(&request, 0, sizeof request);
  copy_bounded(request.ifr_name, sizeof request.ifr_name, interface_name);
  request.ifr_addr.sa_family = AF_INET;
  return request;
}

// The IPv4 address the kernel put into the request's address field.
uint32_t answered_address(const struct ifreq& request) {
  struct sockaddr_in address;
  std::memcpy(&address, &request.ifr_addr, sizeof address);
  return address.sin_addr.s_addr;
}

// One of the two address ioctls. When the kernel refuses, the address probe
// names the system's error text; the mask probe only says what failed.
uint32_t probe_address(const char* interface_name, unsigned long request_code,
                       bool with_error_text) {
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    stream_error("Socket Open Fail!\n");
    return kProbeFailed;
  }
  struct ifreq request = interface_request(interface_name);
  if (ioctl(fd, request_code, &request) < 0) {
    if (with_error_text)
      stream_error("Unable to read IP address!, err: %s\n", std::strerror(errno));
    else
      stream_error("Unable to read subnet mask!\n");
    close(fd);
    return kProbeFailed;
  }
  close(fd);
  return answered_address(request);
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

uint32_t read_ip_address(const char* interface_name) {
  return probe_address(interface_name, SIOCGIFADDR, true);
}

uint32_t read_subnet_mask(const char* interface_name) {
  return probe_address(interface_name, SIOCGIFNETMASK, false);
}

int read_mac_address(const char* interface_name, unsigned char mac[6]) {
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    stream_error("Failed to open socket!\n");
    return -1;
  }
  struct ifreq request = interface_request(interface_name);
  if (ioctl(fd, SIOCGIFHWADDR, &request) < 0) {
    stream_error("Unable to read MAC address!\n");
    // Closed here too: a long-lived responder cannot afford to lose a
    // descriptor on every request that asks about a missing interface.
    close(fd);
    return -1;
  }
  close(fd);
  std::memcpy(mac, request.ifr_hwaddr.sa_data, 6);
  return 0;
}

uint32_t read_default_gateway(const char* interface_name) {
  std::string path = host_path("/proc/net/route");
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    stream_error("Do not support /proc file system?\n");
    return kProbeFailed;
  }
  size_t name_length = std::strlen(interface_name);
  char line[256];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    // The header line ("Iface ...") never begins with an interface name.
    if (std::strncmp(line, interface_name, name_length) != 0) continue;

    // Destination and gateway are the first two fields after the name.
    const char* tab = std::strchr(line, '\t');
    const char* cursor = tab != nullptr ? tab + 1 : nullptr;
    unsigned long destination = 0;
    unsigned long gateway = 0;
    if (cursor == nullptr || !read_hex(&cursor, &destination) ||
        !read_hex(&cursor, &gateway)) {
      stream_error("Unable to read routing table!\n");
      std::fclose(file);
      return kProbeFailed;
    }
    if (gateway != 0) {
      std::fclose(file);
      return static_cast<uint32_t>(gateway);
    }
  }
  std::fclose(file);
  return kProbeFailed;
}

int read_name_servers(char primary[kIpv4TextSize],
                      char secondary[kIpv4TextSize]) {
  primary[0] = '\0';
  secondary[0] = '\0';
  std::string path = host_path("/etc/resolv.conf");
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return -1;

  static const char kKeyword[] = "nameserver";
  const size_t keyword_length = sizeof kKeyword - 1;
  int found = 0;
  char line[64];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, kKeyword, keyword_length) != 0) continue;
    // The address starts after the keyword and one separator; a line that
    // ends there, or holds a host name, ends the scan.
    uint32_t address = 0;
    if (std::strlen(line) <= keyword_length + 1 ||
        !parse_ipv4_text(line + keyword_length + 1, &address, 0)) {
      std::fclose(file);
      return -1;
    }
    format_ipv4(htonl(address), found == 0 ? primary : secondary);
    if (++found == 2) {
      std::fclose(file);
      return 0;
    }
  }
  std::fclose(file);
  return -1;
}

void format_ipv4(uint32_t address, char text[kIpv4TextSize]) {
  unsigned char bytes[4];
  std::memcpy(bytes, &address, sizeof bytes);
  std::snprintf(text, kIpv4TextSize, "%d.%d.%d.%d", bytes[0], bytes[1],
                bytes[2], bytes[3]);
}
