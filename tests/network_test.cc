// The Network branch: eth0 as the host sees it and its stored addressing; the host probes, directly.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <tuple>

#include "harness.h"
#include "io/host_probes.h"
#include "util/log.h"

using namespace psia_test;

namespace {

const char kIp[] = "/PSIA/System/Network/interfaces/eth0/ipAddress";
const char kInterface[] = "/PSIA/System/Network/interfaces/eth0";
const char kRow[] = "select ConnectionType, IpAddress, SubnetMask, Gateway, PrimaryDNS, SecondaryDNS from Network";
const char kSeededRow[] = "0|192.168.1.100|255.255.255.0|192.168.1.1|192.168.1.1|8.8.8.8";

std::string static_settings(const std::string& secondary) {
  return "<ipVersion>v4</ipVersion><addressingType>static</addressingType>"
         "<ipAddress>10.9.8.7</ipAddress><subnetMask>255.255.0.0</subnetMask>"
         "<DefaultGateway><ipAddress>10.9.0.1</ipAddress></DefaultGateway>"
         "<PrimaryDNS><ipAddress>x</ipAddress><ipAddress>10.9.0.53</ipAddress></PrimaryDNS>" +
         secondary;
}
std::string static_body(const std::string& secondary) {
  return "<IPAddress version=\"1.0\">" + static_settings(secondary) + "</IPAddress>";
}
const char kDhcpBody[] =
    "<IPAddress><ipVersion>v4</ipVersion><addressingType>DHCP</addressingType>"
    "<ipAddress>10.9.8.7</ipAddress></IPAddress>";

TEST(Network, AddressingTypeAndMissingHostFiles) {
  for (const auto& [sql, type] : {std::pair<const char*, const char*>{"update Network set ConnectionType=0", "static"},
                                  {"update Network set ConnectionType=1", "dynamic"},
                                  {"delete from Network", "dynamic"}}) {
    Camera camera(sql);
    unlink(camera.path("/proc/net/route").c_str());
    unlink(camera.path("/etc/resolv.conf").c_str());
    std::string expected = golden("ip_address.xml");
    expected.replace(expected.find("static"), 6, type);
    expected.replace(expected.find("192.168.7.1"), 11, "255.255.255.255");
    expected.replace(expected.find("10.1.1.1"), 8, "");
    expected.replace(expected.find("10.1.1.2"), 8, "");
    EXPECT_EQ(camera.get(kIp), document_answer(expected)) << sql;
    EXPECT_EQ(camera.errors(), "Do not support /proc file system?\n");
  }
}

TEST(Network, DocumentsShowTheLiveInterfaceAndUpdatesAreAppliedInTheirSteps) {
  const char* secondary = "<SecondaryDNS><ipAddress>10.9.0.54</ipAddress></SecondaryDNS>";
  // clang-format off
  run_cases({
      get(kIp).answers(document_answer(golden("ip_address.xml"))),
      get("/PSIA/System/Network/interfaces").answers(document_answer(golden("interfaces.xml"))),
      put(kInterface).answers(document_answer(golden("interface.xml"))),  // crossed: PUT answers the document
      get("/PSIA/System/Network/interfaces/eth0/discovery").answers(document_answer(golden("discovery.xml"))),
      put("/PSIA/System/Network/interfaces/eth0/discovery", "<Discovery/>").answers(1),
      put(kIp, static_body(secondary)).after("update Network set ConnectionType=1").answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|10.9.0.54"),
      // Without a secondary server the stored one stays.
      put(kIp, static_body("")).answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|8.8.8.8"),
      put(kIp, static_body("<SecondaryDNS><ipAddress/></SecondaryDNS>")).answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|8.8.8.8"),
      // DHCP (or any type but static) stores only the mode.
      put(kIp, kDhcpBody).answers(1).sends({"41"}).leaves(kRow, "1|192.168.1.100|255.255.255.0|192.168.1.1|192.168.1.1|8.8.8.8"),
      request("GET", kInterface, "<NetworkInterface><id>ETH0</id><IPAddress>" + static_settings("") + "</IPAddress></NetworkInterface>").answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|8.8.8.8"),
      // The daemon's replies are answered as they come.
      put(kIp, static_body("")).daemon(41, 3).answers(3).sends({"41"}),
      put(kIp, static_body("")).daemon(42, 2).answers(2).sends({"41", "42"}),
      put(kIp, kDhcpBody).daemon(41, 2).answers(2).sends({"41"}),
      // Refused: nothing stored, nothing sent.
      put(kIp, "<NetworkInterface/>").answers(5).leaves(kRow, kSeededRow),
      put(kIp, "not xml").answers(3),
      put(kIp).answers(3),
      put(kIp, "<IPAddress><ipVersion>v6</ipVersion><addressingType>static</addressingType></IPAddress>").answers(3).leaves(kRow, kSeededRow),
      put(kIp, "<IPAddress><ipAddress>10.0.0.9</ipAddress></IPAddress>").answers(3).leaves(kRow, kSeededRow),
      put(kIp, "<IPAddress/>").answers(3),
      get(kInterface).answers(3),  // a plain GET carries no body
      request("GET", kInterface, "<IPAddress/>").answers(5),
      request("GET", kInterface, "<NetworkInterface><id>eth0</id></NetworkInterface>").answers(3),
      request("GET", kInterface, "<NetworkInterface><id>eth1</id><IPAddress><addressingType>dhcp</addressingType></IPAddress></NetworkInterface>").answers(3).leaves(kRow, kSeededRow),
  });
  // clang-format on
}

TEST(HostProbes, GatewayAndNameServersFromTheirFilesAndTheInterfaceIoctls) {
  Camera camera;
  psia::Log log;
  std::string errors;
  log.set_stream([&](const char* t, size_t n) { errors.append(t, n); });
  const std::string header = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  // clang-format off
  const std::tuple<const char*, const char*, const char*> routes[] = {  // the table (null: no file), gateway, errors
      {"eth0\t00000000\t010200C0\t0003\n", "192.0.2.1", ""},
      {nullptr, "255.255.255.255", "Do not support /proc file system?\n"},
      {"eth0\t000200C0\t00000000\t0001\n", "255.255.255.255", ""},  // no default route
      {"eth0\t000200C0\t00000000\t0001\neth0\t00000000\t0101A8C0\t0003\neth0\t00000000\t0201A8C0\t0003\n", "192.168.1.1", ""},  // the first gateway wins
      {"eth1\t00000000\t0100000A\t0003\neth0\t00000000\t0200000A\t0003\n", "10.0.0.2", ""},
      {"eth0\t00000000\n", "255.255.255.255", "Unable to read routing table!\n"},
  };
  // clang-format on
  std::string route = camera.path("/proc/net/route");
  for (const auto& [table, gateway, expected_errors] : routes) {
    errors.clear();
    unlink(route.c_str());
    if (table != nullptr) std::ofstream(route) << header + table;
    char text[psia::kIpv4TextSize];
    psia::format_ipv4(psia::read_default_gateway(log, route, "eth0"), text);
    EXPECT_STREQ(text, gateway) << (table ? table : "no file");
    EXPECT_EQ(errors, expected_errors);
  }
  // The file (null: none), the result, the two servers.
  const std::tuple<const char*, int, const char*, const char*> resolvers[] = {
      {nullptr, -1, "", ""},
      {"nameserver 8.8.8.8\n", -1, "8.8.8.8", ""},
      {"nameserver 1.1.1.1\nnameserver 2.2.2.2\nnameserver 3.3.3.3\n", 0, "1.1.1.1", "2.2.2.2"},
      {"nameserver 1.1.1.1\nnameserver dns.example.net\nnameserver 3.3.3.3\n", -1, "1.1.1.1", ""},
      {"# nameserver 9.9.9.9\nnameserver\t4.4.4.4\noptions ndots:2\nnameserver 5.5.5.5", 0, "4.4.4.4", "5.5.5.5"},
      {"search example.net\n", -1, "", ""},
  };
  std::string resolv = camera.path("/etc/resolv.conf");
  for (const auto& [file, result, first, second] : resolvers) {
    unlink(resolv.c_str());
    if (file != nullptr) std::ofstream(resolv) << file;
    char primary[psia::kIpv4TextSize] = "stale", secondary[psia::kIpv4TextSize] = "stale";
    EXPECT_EQ(psia::read_name_servers(resolv, primary, secondary), result) << (file ? file : "no file");
    EXPECT_STREQ(primary, first);
    EXPECT_STREQ(secondary, second);
  }
  // The interface ioctls, on the loopback interface.
  errors.clear();
  EXPECT_EQ(psia::read_ip_address(log, "lo"), htonl(0x7F000001));
  EXPECT_EQ(psia::read_subnet_mask(log, "lo"), htonl(0xFF000000));
  unsigned char mac[6] = {1, 1, 1, 1, 1, 1};
  EXPECT_EQ(psia::read_mac_address(log, "lo", mac), 0);
  EXPECT_EQ(std::memcmp(mac, "\0\0\0\0\0\0", 6), 0);
  EXPECT_EQ(errors, "");
  // A name longer than the kernel's 15 characters is cut, not overrun.
  const char* missing = "nosuchinterface-with-a-long-name";
  EXPECT_EQ(psia::read_ip_address(log, missing), psia::kProbeFailed);
  EXPECT_EQ(psia::read_subnet_mask(log, missing), psia::kProbeFailed);
  unsigned char untouched[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(psia::read_mac_address(log, missing, untouched), -1);
  EXPECT_EQ(untouched[0], 9);
  EXPECT_EQ(errors, std::string("Unable to read IP address!, err: ") + std::strerror(ENODEV) +
                        "\nUnable to read subnet mask!\nUnable to read MAC address!\n");
}

}  // namespace
