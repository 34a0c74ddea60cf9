// Request-level tests of the eth0 interface resources: the documents byte
// for byte, and the stored settings and control commands of the updates.
//
// The routing table and resolver file of each camera root are fixtures; the
// interface address and mask are this host's own, so the expected documents
// take them from the same probes the responder runs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "io/host_probes.h"
#include "responder_harness.h"

namespace {

const char kIpAddressUri[] = "/PSIA/System/Network/interfaces/eth0/ipAddress";
const char kInterfaceUri[] = "/PSIA/System/Network/interfaces/eth0";
const char kInterfaceListUri[] = "/PSIA/System/Network/interfaces";
const char kDiscoveryUri[] = "/PSIA/System/Network/interfaces/eth0/discovery";

const char kRoute[] =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
    "eth0\t0007A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
    "eth0\t00000000\t0107A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";
const char kResolv[] = "search example.net\nnameserver 10.1.1.1\nnameserver 10.1.1.2\n";

std::string dotted(uint32_t address) {
  char text[kIpv4TextSize];
  format_ipv4(address, text);
  return text;
}

// The IPAddress elements as the camera writes them at `indent` spaces.
std::string ip_address_elements(const std::string& type, const std::string& gateway,
                                const std::string& primary, const std::string& secondary,
                                int indent) {
  const std::string a(indent, ' ');
  const std::string b(indent + 4, ' ');
  return a + "<ipVersion>v4</ipVersion>\n" +
         a + "<addressingType>" + type + "</addressingType>\n" +
         a + "<ipAddress>" + dotted(read_ip_address("eth0")) + "</ipAddress>\n" +
         a + "<subnetMask>" + dotted(read_subnet_mask("eth0")) + "</subnetMask>\n" +
         a + "<DefaultGateway>\n" + b + "<ipAddress>" + gateway + "</ipAddress>\n" +
         a + "</DefaultGateway>\n" +
         a + "<PrimaryDNS>\n" + b + "<ipAddress>" + primary + "</ipAddress>\n" +
         a + "</PrimaryDNS>\n" +
         a + "<SecondaryDNS>\n" + b + "<ipAddress>" + secondary + "</ipAddress>\n" +
         a + "</SecondaryDNS>\n";
}

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

// The children of an IPAddress element asking for static addressing.
std::string static_settings(const std::string& secondary_block) {
  return "<ipVersion>v4</ipVersion><addressingType>static</addressingType>"
         "<ipAddress>10.9.8.7</ipAddress><subnetMask>255.255.0.0</subnetMask>"
         "<DefaultGateway><ipAddress>10.9.0.1</ipAddress></DefaultGateway>"
         "<PrimaryDNS><ipAddress>10.9.0.53</ipAddress></PrimaryDNS>" +
         secondary_block;
}

std::string static_body(const std::string& secondary_block) {
  return "<IPAddress version=\"1.0\" xmlns=\"urn:psialliance-org\">" +
         static_settings(secondary_block) + "</IPAddress>";
}

const char kDhcpBody[] =
    "<IPAddress><ipVersion>v4</ipVersion><addressingType>DHCP</addressingType>"
    "<ipAddress>10.9.8.7</ipAddress></IPAddress>";

class NetworkTest : public ::testing::Test {
 protected:
  NetworkTest() {
    host_file("/proc/net/route", kRoute);
    host_file("/etc/resolv.conf", kResolv);
  }
  // Replaces a host file of the camera root (make-root links some to this
  // host's own); a null text removes it.
  void host_file(const std::string& path, const char* text) {
    std::string full = camera_.root() + path;
    unlink(full.c_str());
    if (text != nullptr) std::ofstream(full, std::ios::binary) << text;
  }
  std::string row() {
    return camera_.query(
        "select ConnectionType || ' ' || IpAddress || ' ' || SubnetMask || ' ' || "
        "Gateway || ' ' || PrimaryDNS || ' ' || SecondaryDNS from Network");
  }
  // The codes the daemon received, each checked to carry no payload.
  std::vector<int> command_codes() {
    std::vector<int> codes;
    for (const SimCommand& c : camera_.sim().commands()) {
      EXPECT_EQ(c.status_sent, 0);
      EXPECT_EQ(c.payload, std::string(1120, '\0')) << "command " << c.code;
      codes.push_back(c.code);
    }
    return codes;
  }
  Camera camera_;
};

const char kSeededRow[] = "0 192.168.1.100 255.255.255.0 192.168.1.1 192.168.1.1 8.8.8.8";

}  // namespace

TEST_F(NetworkTest, DocumentsByteForByte) {
  const std::string block12 =
      ip_address_elements("static", "192.168.7.1", "10.1.1.1", "10.1.1.2", 12);
  const std::string block8 =
      ip_address_elements("static", "192.168.7.1", "10.1.1.1", "10.1.1.2", 8);
  struct Case {
    const char* method;
    const char* uri;
    std::string body;
  } cases[] = {
      {"GET", kIpAddressUri,
       std::string(kDeclaration) +
           "<IPAddress version=\"1.0\" xmlns=\"urn:psialliance-org\">\n" +
           ip_address_elements("static", "192.168.7.1", "10.1.1.1", "10.1.1.2", 4) +
           "</IPAddress>\n"},
      {"GET", kInterfaceListUri,
       std::string(kDeclaration) +
           "<NetworkInterfaceList version=\"1.0\" xmlns=\"urn:psialliance-org\">\n"
           "    <NetworkInterface version=\"1.0\">\n"
           "        <id>eth0</id>\n"
           "        <IPAddress version=\"1.0\">\n" + block12 +
           "        </IPAddress>\n"
           "        <Discovery version=\"1.0\">\n"
           "            <Zeroconf>\n"
           "                <enabled>true</enabled>\n"
           "            </Zeroconf>\n"
           "        </Discovery>\n"
           "    </NetworkInterface>\n"
           "</NetworkInterfaceList>\n"},
      // The interface document answers PUT: the binding is crossed.
      {"PUT", kInterfaceUri,
       std::string(kDeclaration) +
           "<NetworkInterface version=\"1.0\" xmlns=\"urn:psialliance-org\">\n"
           "    <id>eth0</id>\n"
           "    <IPAddress version=\"1.0\">\n" + block8 +
           "    </IPAddress>\n"
           "    <Discovery version=\"1.0\">\n"
           "        <Zeroconf>\n"
           "            <enabled>true</enabled>\n"
           "        </Zeroconf>\n"
           "    </Discovery>\n"
           "</NetworkInterface>\n"},
      {"GET", kDiscoveryUri,
       std::string(kDeclaration) +
           "<Discovery version=\"1.0\" xmlns=\"urn:psialliance-org\">\n"
           "    <Zeroconf>\n"
           "        <enabled>true</enabled>\n"
           "    </Zeroconf>\n"
           "</Discovery>\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.uri);
    EXPECT_EQ(camera_.send(c.method, c.uri, "").out, document_answer(c.body));
  }
  EXPECT_TRUE(camera_.sim().commands().empty());
}

TEST_F(NetworkTest, AddressingTypeAndMissingHostFiles) {
  // Without a routing table or resolver file the gateway reads as all ones
  // and the name servers stay empty.
  host_file("/proc/net/route", nullptr);
  host_file("/etc/resolv.conf", nullptr);
  struct Case {
    const char* sql;
    const char* type;
  } cases[] = {
      {"update Network set ConnectionType=0", "static"},
      {"update Network set ConnectionType=1", "dynamic"},
      {"delete from Network", "dynamic"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    camera_.exec(c.sql);
    ProcessResult r = camera_.get(kIpAddressUri);
    EXPECT_EQ(r.out, document_answer(
                         std::string(kDeclaration) +
                         "<IPAddress version=\"1.0\" xmlns=\"urn:psialliance-org\">\n" +
                         ip_address_elements(c.type, "255.255.255.255", "", "", 4) +
                         "</IPAddress>\n"));
    EXPECT_NE(r.err.find("Do not support /proc file system?\n"), std::string::npos);
  }
}

TEST_F(NetworkTest, StaticUpdateStoresAndSendsBothSteps) {
  struct Case {
    const char* name;
    std::string body;
    const char* stored;
  } cases[] = {
      {"with secondary",
       static_body("<SecondaryDNS><ipAddress>10.9.0.54</ipAddress></SecondaryDNS>"),
       "0 10.9.8.7 255.255.0.0 10.9.0.1 10.9.0.53 10.9.0.54"},
      // Without a secondary server the stored one stays.
      {"without secondary", static_body(""),
       "0 10.9.8.7 255.255.0.0 10.9.0.1 10.9.0.53 8.8.8.8"},
      {"empty secondary", static_body("<SecondaryDNS><ipAddress/></SecondaryDNS>"),
       "0 10.9.8.7 255.255.0.0 10.9.0.1 10.9.0.53 8.8.8.8"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    camera_.exec(std::string("update Network set ConnectionType=1, SecondaryDNS='8.8.8.8'"));
    size_t before = camera_.sim().commands().size();
    EXPECT_EQ(camera_.put(kIpAddressUri, c.body).out, status_answer(kIpAddressUri, 1));
    EXPECT_EQ(row(), c.stored);
    std::vector<int> codes = command_codes();
    EXPECT_EQ(std::vector<int>(codes.begin() + before, codes.end()),
              (std::vector<int>{41, 42}));
  }
}

TEST_F(NetworkTest, DynamicUpdateStoresOnlyTheMode) {
  EXPECT_EQ(camera_.put(kIpAddressUri, kDhcpBody).out, status_answer(kIpAddressUri, 1));
  EXPECT_EQ(row(), "1 192.168.1.100 255.255.255.0 192.168.1.1 192.168.1.1 8.8.8.8");
  EXPECT_EQ(command_codes(), (std::vector<int>{41}));
}

TEST_F(NetworkTest, RefusedUpdatesChangeNothing) {
  struct Case {
    const char* method;  // the interface's update answers GET
    const char* uri;
    std::string body;
    int code;
  } cases[] = {
      {"PUT", kIpAddressUri, "<NetworkInterface/>", 5},  // wrong root
      {"PUT", kIpAddressUri, "not xml", 3},
      {"PUT", kIpAddressUri, "", 3},                     // no body
      {"PUT", kIpAddressUri,
       "<IPAddress><ipVersion>v6</ipVersion><addressingType>static</addressingType>"
       "</IPAddress>", 3},
      {"PUT", kIpAddressUri, "<IPAddress><ipAddress>10.0.0.9</ipAddress></IPAddress>", 3},
      {"GET", kInterfaceUri, "", 3},  // a plain GET of the interface carries no body
      {"GET", kInterfaceUri, "<IPAddress/>", 5},
      {"GET", kInterfaceUri, "<NetworkInterface><id>eth0</id></NetworkInterface>", 3},
      {"GET", kInterfaceUri,
       "<NetworkInterface><id>eth1</id><IPAddress><addressingType>dhcp</addressingType>"
       "</IPAddress></NetworkInterface>", 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    EXPECT_EQ(camera_.send(c.method, c.uri, c.body).out, status_answer(c.uri, c.code));
  }
  EXPECT_EQ(row(), kSeededRow);
  EXPECT_TRUE(camera_.sim().commands().empty());
}

TEST(NetworkDaemonTest, RepliesAreAnsweredAsTheyCome) {
  struct Case {
    std::vector<std::string> sim_args;
    std::string body;
    int code;
    std::vector<int> sent;
  } cases[] = {
      {{"--status", "41=3"}, static_body(""), 3, {41}},
      {{"--status", "42=2"}, static_body(""), 2, {41, 42}},
      {{"--status", "41=2"}, kDhcpBody, 2, {41}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sim_args[1]);
    Camera camera("", c.sim_args);
    EXPECT_EQ(camera.put(kIpAddressUri, c.body).out, status_answer(kIpAddressUri, c.code));
    std::vector<int> sent;
    for (const SimCommand& command : camera.sim().commands()) sent.push_back(command.code);
    EXPECT_EQ(sent, c.sent);
  }
}
