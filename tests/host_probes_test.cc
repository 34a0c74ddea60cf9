// The host probes against fixture files below a temporary camera root, and
// the ioctl probes against the loopback interface every Linux host has.
#include "io/host_probes.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "io/stream.h"
#include "util/request_context.h"

namespace {

std::string g_errors;

void discard_output(const void*, size_t) {}
size_t no_input(void*, size_t) { return 0; }
void keep_error(const char* text, size_t size) { g_errors.append(text, size); }

const stream_hooks kCaptureErrors = {discard_output, no_input, keep_error};

const char kRouteHeader[] =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";

class HostProbeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/psia-probes-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    ASSERT_EQ(system(("mkdir -p " + root_ + "/proc/net " + root_ + "/etc").c_str()), 0);
    saved_root_ = context().root;
    context().root = root_;
    g_errors.clear();
    set_stream_hooks(&kCaptureErrors);
  }
  void TearDown() override {
    set_stream_hooks(nullptr);
    context().root = saved_root_;
    ASSERT_EQ(system(("rm -rf " + root_).c_str()), 0);
  }
  // Writes a host file below the root; a null text removes it.
  void host_file(const char* path, const char* text) {
    std::string full = root_ + path;
    if (text == nullptr) {
      unlink(full.c_str());
      return;
    }
    std::ofstream(full, std::ios::binary) << text;
  }

  std::string root_;
  std::string saved_root_;
};

std::string dotted(uint32_t address) {
  char text[kIpv4TextSize];
  format_ipv4(address, text);
  return text;
}

}  // namespace

TEST_F(HostProbeTest, DefaultGatewayFromTheRoutingTable) {
  const std::string header = kRouteHeader;
  struct Case {
    const char* name;
    const char* table;  // null: no routing table file
    const char* gateway;
    const char* errors;
  } cases[] = {
      {"normal", "eth0\t00000000\t010200C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"
                 "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n",
       "192.0.2.1", ""},
      {"missing file", nullptr, "255.255.255.255",
       "Do not support /proc file system?\n"},
      {"no default route", "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n",
       "255.255.255.255", ""},
      {"first gateway wins", "eth0\t000200C0\t00000000\t0001\n"
                             "eth0\t00000000\t0101A8C0\t0003\n"
                             "eth0\t00000000\t0201A8C0\t0003\n",
       "192.168.1.1", ""},
      {"other interfaces ignored", "eth1\t00000000\t0100000A\t0003\n"
                                   "eth0\t00000000\t0200000A\t0003\n",
       "10.0.0.2", ""},
      {"short line", "eth0\t00000000\n", "255.255.255.255",
       "Unable to read routing table!\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    g_errors.clear();
    host_file("/proc/net/route",
              c.table != nullptr ? (header + c.table).c_str() : nullptr);
    EXPECT_EQ(dotted(read_default_gateway("eth0")), c.gateway);
    EXPECT_EQ(g_errors, c.errors);
  }
}

TEST_F(HostProbeTest, NameServersFromTheResolverFile) {
  struct Case {
    const char* name;
    const char* resolv;  // null: no resolver file
    int result;
    const char* primary;
    const char* secondary;
  } cases[] = {
      {"normal", "search example.net\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n", 0,
       "10.0.0.1", "10.0.0.2"},
      {"missing file", nullptr, -1, "", ""},
      {"one name server", "nameserver 8.8.8.8\n", -1, "8.8.8.8", ""},
      {"third never read", "nameserver 1.1.1.1\nnameserver 2.2.2.2\nnameserver 3.3.3.3\n",
       0, "1.1.1.1", "2.2.2.2"},
      {"host name stops the scan",
       "nameserver 1.1.1.1\nnameserver dns.example.net\nnameserver 3.3.3.3\n", -1,
       "1.1.1.1", ""},
      {"comments and tabs", "# nameserver 9.9.9.9\nnameserver\t4.4.4.4\n"
                            "options ndots:2\nnameserver 5.5.5.5", 0,
       "4.4.4.4", "5.5.5.5"},
      {"no name server", "search example.net\n", -1, "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    host_file("/etc/resolv.conf", c.resolv);
    char primary[kIpv4TextSize] = "stale";
    char secondary[kIpv4TextSize] = "stale";
    EXPECT_EQ(read_name_servers(primary, secondary), c.result);
    EXPECT_STREQ(primary, c.primary);
    EXPECT_STREQ(secondary, c.secondary);
  }
  EXPECT_EQ(g_errors, "");  // the resolver probe complains about nothing
}

TEST_F(HostProbeTest, InterfaceIoctls) {
  EXPECT_EQ(read_ip_address("lo"), htonl(0x7F000001));
  EXPECT_EQ(read_subnet_mask("lo"), htonl(0xFF000000));
  unsigned char mac[6] = {1, 1, 1, 1, 1, 1};
  EXPECT_EQ(read_mac_address("lo", mac), 0);
  EXPECT_EQ(std::memcmp(mac, "\0\0\0\0\0\0", 6), 0);
  EXPECT_EQ(g_errors, "");

  // A name longer than the kernel's 15 characters is cut, not overrun.
  const char* missing = "nosuchinterface-with-a-long-name";
  EXPECT_EQ(read_ip_address(missing), kProbeFailed);
  EXPECT_EQ(read_subnet_mask(missing), kProbeFailed);
  unsigned char untouched[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(read_mac_address(missing, untouched), -1);
  EXPECT_EQ(untouched[0], 9);
  EXPECT_EQ(g_errors, std::string("Unable to read IP address!, err: ") +
                          std::strerror(ENODEV) +
                          "\nUnable to read subnet mask!\nUnable to read MAC address!\n");
}

