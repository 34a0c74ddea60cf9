// The System branch (time, NTP, device, maintenance), the Network branch (eth0 and its stored addressing), host probes.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>
#include <tuple>

#include "harness.h"
#include "io/host_probes.h"
#include "util/log.h"

using namespace psia_test;

namespace {

const char kTextUtf8[] = "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n";
const std::string kTime = "/PSIA/System/time", kZone = kTime + "/timeZone", kLocal = kTime + "/localTime";
const std::string kSent = "6 mode=0 ntp=\"pool.ntp.org\" interval=24 time=";  // a manual time
const std::string kSentNtp = "6 mode=2 ntp=\"pool.ntp.org\" interval=24 time=";
const char kDevice[] = "/PSIA/System/deviceInfo";
const std::string kTransfer = "/usr/local/httpd/htdocs/Web/updownload/";

std::string time_doc(const char* mode, const char* local, const std::string& zone) {
  return document_answer(psia_element("Time", std::string("<timeMode>") + mode + "</timeMode><localTime>" + local +
                                                  "</localTime><timeZone>" + zone + "</timeZone>"),
                         kXmlUtf8);
}

void write_file(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

const char kNow[] = "2011-05-12T10:20:30";
const char kCet[] = "CET-1CEST,M3.5.0,M10.5.0/3";  // Europe/Berlin's zone file
const std::string kSetZone = "update DateTime set TimeZone=";
const std::string kZone63 = std::string(62, 'A') + "5";
const char kStoredZone[] = "select TimeZone from DateTime";
std::string set_time(const std::string& elements) { return "<Time>" + elements + "</Time>"; }

TEST(System, TimeAndTimeZone) {
  // clang-format off
  run_cases({
      // A zone that fits its 64-byte field; the time sent is in that zone, the next camera's in UTC again.
      put(kTime, set_time("<timeZone>" + kZone63 + "</timeZone>")).answers(1).sends({kSentNtp + "2011-05-12 05:20:30"}),
      get(kTime).answers(time_doc("NTP", kNow, kCet)),
      get(kTime).after(kSetZone + "'CST-0', DateTimeSync=1").answers(time_doc("manual", kNow, "CST-0")),
      get(kTime).after(kSetZone + "'No/Such_Zone'").answers(time_doc("NTP", kNow, "GMT0")),
      get(kTime).after(kSetZone + "'US/Eastern'").answers(time_doc("NTP", kNow, "EST5EDT,M3.2.0,M11.1.0")),  // a link
      get(kTime).after(kSetZone + "'../../../etc/passwd'").answers(time_doc("NTP", kNow, "GMT0")),
      get(kTime).after("delete from DateTime").answers(time_doc("manual", kNow, "GMT0")),
      get(kLocal).answers(document_answer(kNow, kXmlUtf8)),
      get(kZone).answers(document_answer(kCet, kTextUtf8)),
      // Out-of-range fields roll over; every field is read at its place.
      put(kTime, set_time("<timeMode>manual</timeMode><localTime>2010-02-30T25:00:00</localTime>")).answers(1).sends({kSent + "2010-03-03 01:00:00"}),
      put(kTime, "<time><timeMode>Manual</timeMode><localTime>2012-11-26T17:38:49</localTime></time>").answers(1).sends({kSent + "2012-11-26 17:38:49"}),
      // A stored server name as long as its field is sent cut by one.
      put(kTime, set_time("<timeMode>NTP</timeMode>")).after("update DateTime set NTPServerName='" + std::string(128, 'n') + "'").answers(1).sends({"6 mode=2 ntp=\"" + std::string(127, 'n') + "\" interval=24 time=2011-05-12 10:20:30"}),
      // No timeMode asks for NTP, which carries the camera's own time.
      put(kTime, set_time("<localTime>1999-01-01T00:00:00</localTime>")).answers(1).sends({kSentNtp + "2011-05-12 10:20:30"}),
      put(kTime, set_time("<timeZone>A" + kZone63 + "</timeZone>")).answers(3),  // cut, it would name another
      put(kTime, set_time("<timeZone>EST</timeZone>")).answers(3),
      put(kTime, "<Time/>").after("delete from DateTime").answers(3),
      put(kLocal, "2011-05-06T07:08:09").after("update DateTime set DateTimeSync=1").answers(1),  // ignored under NTP
      put(kLocal, "2011-05-06T07:08:09").after("delete from DateTime").answers(3),
      put(kZone, "XYZ4").answers(3).leaves(kStoredZone, "Europe/Berlin"),
  });
  // clang-format on
  // Each row of golden/time_zones.tsv: its POSIX text picks the first row it begins, whose name is stored and sent.
  std::vector<std::pair<std::string, std::string>> table;
  std::istringstream lines(golden("time_zones.tsv"));
  for (std::string line; std::getline(lines, line);)
    table.emplace_back(line.substr(0, line.find('\t')), line.substr(line.find('\t') + 1));
  ASSERT_EQ(table.size(), 180u);
  test_camera camera;
  for (const auto& [posix, zoneinfo] : table) {
    auto first = std::find_if(table.begin(), table.end(), [&posix = posix](const auto& row) {
      return strncasecmp(row.first.c_str(), posix.c_str(), posix.size()) == 0;
    });
    EXPECT_EQ(camera.put(kZone, posix), status_answer(kZone, 1)) << posix;
    EXPECT_EQ(camera.query(kStoredZone), first->second) << posix;
    EXPECT_EQ(camera.commands().back(), "7 zone=\"" + first->second + "\"") << posix;
  }
}

const std::string kNtpServers = "/PSIA/System/time/ntpServers", kNtpServer = kNtpServers + "/1";
const char kNtpName[] = "select NTPServerName from DateTime";
const std::string kSetNtpName = "update DateTime set NTPServerName=";

// The NTP server document, alone or as the list, naming `name` by host name or by address.
std::string ntp_document(bool list, const std::string& name, bool address = false) {
  const std::string pad = list ? "" : "    ";
  const std::string kind = address ? "ipaddress" : "hostname", element = address ? "ipAddress" : "hostName";
  const std::string server = pad + "<id>1</id>" + pad + "<addressingFormatType>" + kind + "</addressingFormatType>" +
                             pad + "<" + element + ">" + name + "</" + element + ">" + pad + "<portNo>123</portNo>";
  return xml_answer(list ? psia_element("NTPServerList", psia_element("NTPServer", server))
                         : "  " + psia_element("NTPServer", server + "  "),
                    kXmlUtf8);
}
std::string ntp_server(const std::string& elements) { return "<NTPServer>" + elements + "</NTPServer>"; }

TEST(System, TheOneNtpServerShownAndReplaced) {
  // clang-format off
  run_cases({
      get(kNtpServers).answers(ntp_document(true, "pool.ntp.org")),
      get(kNtpServers + "/7").after(kSetNtpName + "'192.168.0.1'").answers(ntp_document(false, "192.168.0.1", true)),
      get(kNtpServer).after(kSetNtpName + "'ntp-1.example.com.and.a.long.tail'").answers(ntp_document(false, "ntp-1.example.com.and.a.long.ta")),
      get(kNtpServers).after("delete from DateTime").answers(ntp_document(true, "pool.ntp.org")),
      put(kNtpServer, ntp_server("<addressingFormatType>ipaddress</addressingFormatType><ipAddress>" + std::string(40, '1') + "</ipAddress>")).answers(1).leaves(kNtpName, std::string(31, '1')),
      put(kNtpServer, ntp_server("<hostName>time.lan</hostName>")).answers(1).leaves(kNtpName, "time.lan"),
      // Only a format type of "NTP" selects the host name.
      put(kNtpServer, ntp_server("<addressingFormatType>hostname</addressingFormatType><hostName>time.lan</hostName>")).answers(1).leaves(kNtpName, ""),
      post(kNtpServers, "<ntpserver><hostName>o'clock</hostName></ntpserver>").answers(1).leaves(kNtpName, "o'clock"),
      put(kNtpServers, "<NTPServerList>" + ntp_server("<hostName>a.lan</hostName>") + "<NTPServer/>" +
                ntp_server("<addressingFormatType>NTP</addressingFormatType><hostName>b.lan</hostName>") + "<Other><hostName>c.lan</hostName></Other></NTPServerList>").answers(1).leaves(kNtpName, "b.lan"),
      del(kNtpServer).answers(1).leaves(kNtpName, "pool.ntp.org"),
      del(kNtpServers).answers(1).leaves(kNtpName, "pool.ntp.org"),
  });
  // clang-format on
}

const char kHost[] = "select DDNSHostname from Network";
const std::string kStatus = "/PSIA/System/status";
std::string device_info(const std::string& elements) { return "<DeviceInfo>" + elements + "</DeviceInfo>"; }
std::string device_status(const std::string& seconds) {
  const std::string at = "<currentDeviceTime>2011-05-12T10:20:30</currentDeviceTime>";
  return xml_answer(psia_element("DeviceStatus", at + "<deviceUpTime>" + seconds + "</deviceUpTime>"));
}
std::function<void(test_camera&)> uptime_reads(std::string text) {
  return [text](test_camera& c) { write_file(c.path("/proc/uptime"), text); };
}

TEST(System, DeviceNameAndStatus) {
  const std::string n31(31, 'n');
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<a>";
  // clang-format off
  run_cases({
      put(kDevice, "<deviceinfo><deviceName>hall</deviceName><deviceName>lobby</deviceName></deviceinfo>").answers(1).leaves(kHost, "lobby"),
      put(kDevice, device_info("<deviceName>" + n31 + "</deviceName>")).answers(1).leaves(kHost, n31),
      put(kDevice, device_info("<deviceName>" + n31 + "nnnnnnnn</deviceName>")).answers(1).leaves(kHost, n31),
      put(kDevice, "<DeviceInfo/>").answers(1).leaves(kHost, ""),
      // Entities the parser replaces itself, and CDATA, are text like any other; a DTD (here naming an external entity),
      // an undefined entity and deep nesting are refused.
      put(kDevice, device_info("<deviceName>a&amp;b&#65;<![CDATA[<c>]]><x>y</x>z</deviceName>")).answers(1).leaves(kHost, "a&bA<c>z"),
      put(kDevice, "<!DOCTYPE d [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + device_info("<deviceName>&x;</deviceName>")).answers(3).leaves(kHost, "camera-lobby"),
      put(kDevice, device_info("<deviceName>&undefined;</deviceName>")).answers(3).leaves(kHost, "camera-lobby"),
      put(kDevice, device_info(deep)).answers(3).leaves(kHost, "camera-lobby"),
      get(kStatus).answers(device_status("12345")),
      get(kStatus).with(uptime_reads("2147483647.5 1\n")).answers(device_status("2147483647")),
      get(kStatus).with(uptime_reads("")).answers(3),
      get(kStatus).with(uptime_reads("12345.67\n")).answers(3),
  });
  // clang-format on
}

TEST(System, RebootAndFactoryReset) {
  const std::string reboot = "/PSIA/System/reboot", reset = "/PSIA/System/factoryReset";
  // clang-format off
  run_cases({
      put(reboot).daemon(8, 0).answers(3).sends({"8"}),  // outside 1..7: no text but 3's
      put(reset + "?mode=basic").answers(1).sends({"10"}),
      put(reset + "?MODE=x=FULL").answers(1).sends({"10"}),  // '=' starts the value again
      put(reset + "?MODE=PARTIAL").answers(3),
      put(reset + "?KEY=FULL").answers(3),
      put(reset + "?MODE=" + std::string(300, 'F')).answers(3),
      put(reset + "?").answers(5),
      put(reset).answers(5),
  });
  // clang-format on
}

// Past January 2038 (a 32-bit time_t ends there): the camera's clock is read, shown and sent, and a manual time
// normalised, as before it.
TEST(Time, DatesPast2038AndAZoneForTheProcess) {
  test_camera camera;
  camera.clock().wall_start = 2214129600;  // 2040-02-29T12:00:00Z
  EXPECT_EQ(camera.get(kLocal), document_answer("2040-02-29T12:00:00", kXmlUtf8));
  EXPECT_EQ(camera.put(kTime, "<Time><timeMode>NTP</timeMode></Time>"), status_answer(kTime, 1));
  camera.exec("update DateTime set DateTimeSync=0");
  EXPECT_EQ(camera.put(kLocal, "2040-02-30T25:00:00"), status_answer(kLocal, 1));
  EXPECT_EQ(camera.commands(),
            (std::vector<std::string>{kSentNtp + "2040-02-29 12:00:00", kSent + "2040-03-02 01:00:00"}));
  // A zone given with the time is kept for the process: its local time follows it, the stored zone does not change.
  test_camera zoned;
  zoned.daemon().status[6] = 2;
  EXPECT_EQ(zoned.put(kTime, "<Time><timeZone>JST-9</timeZone></Time>"), status_answer(kTime, 2));
  EXPECT_EQ(zoned.get(kTime), time_doc("NTP", "2011-05-12T19:20:30", "JST-9"));
  EXPECT_EQ(zoned.get(kZone), document_answer("CET-1CEST,M3.5.0,M10.5.0/3", kTextUtf8));
  // An empty zone goes back to the system's.
  zoned.put(kTime, "<Time><timeZone></timeZone></Time>");
  EXPECT_EQ(zoned.get(kLocal), document_answer("2011-05-12T10:20:30", kXmlUtf8));
}

TEST(Device, InformationFromItsSourcesAndTheIdentifierMadeOnce) {
  test_camera camera;
  EXPECT_EQ(camera.get(kDevice), document_answer(golden("device_info.xml")));
  // Without its sources each element shows its fallback.
  camera.exec("delete from Network; delete from Spec; update System set SWVersion='7'");
  unlink(camera.path("/dev/mtdblock7").c_str());
  std::string out = camera.get(kDevice);
  for (const char* part :
       {"<deviceName>camera-host</deviceName>", "<model>Aldex IP Camera</model>", "<serialNumber>0</serialNumber>",
        "<firmwareVersion>7</firmwareVersion><firmwareReleasedDate>000000<"})
    EXPECT_NE(out.find(part), std::string::npos) << part;
  EXPECT_EQ(camera.errors(), "EEPROM OPEN: No such file or directory\n");
  // Factory data too short, and factory data that fills the serial's field.
  write_file(camera.path("/dev/mtdblock7"), std::string(270, 'x'));
  EXPECT_NE(camera.get(kDevice).find("<serialNumber>0</serialNumber>"), std::string::npos);
  EXPECT_NE(camera.errors().find("eeprom read fail res=14, error="), std::string::npos);
  write_file(camera.path("/dev/mtdblock7"), std::string(256, '\0') + std::string(40, 'S'));
  EXPECT_NE(camera.get(kDevice).find("<serialNumber>" + std::string(31, 'S') + "</serialNumber>"), std::string::npos);
  camera.exec("delete from System");
  EXPECT_NE(camera.get(kDevice).find("<firmwareVersion>0.0.0.0</firmwareVersion><firmwareReleasedDate>000000<"),
            std::string::npos);
  // The identifier is made once (8-4-4-4 upper-case hex digits, then 12 lower-case), and closes the connection.
  const std::regex made_id("<deviceID>([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9a-f]{12})</deviceID>");
  for (const char* stored : {"aaaaaaaaaaaaaaaa", "aaaaaaaaaaaaaaaaXYZ", ""}) {
    test_camera fresh(std::string("update System set uuid='") + stored + "'");
    std::string first = fresh.get(kDevice);
    std::smatch made;
    ASSERT_TRUE(std::regex_search(first, made, made_id)) << first;
    const std::string id = made[1];
    EXPECT_EQ(fresh.query("select uuid from System"), id);
    const std::string factory = fresh.path("/usr/local/korvia/conf/default.db");
    EXPECT_EQ(run_process({"/usr/bin/sqlite3", factory, "select uuid from System"}, {}).out, id + "\n");
    // The main connection is closed once the identifier is stored: the rest of this answer shows the fallbacks, and
    // later callers are refused.
    EXPECT_NE(first.find("<model>Aldex IP Camera</model>"), std::string::npos);
    EXPECT_EQ(fresh.get("/PSIA/index").rfind("Status: 401", 0), 0u);
  }
  // Without a factory database the connection stays and none is created.
  test_camera kept("update System set uuid='aaaaaaaaaaaaaaaa'");
  std::string factory = kept.path("/usr/local/korvia/conf/default.db");
  ASSERT_EQ(unlink(factory.c_str()), 0);
  EXPECT_NE(kept.get(kDevice).find("<model>KTA3050</model>"), std::string::npos);
  EXPECT_NE(access(factory.c_str(), F_OK), 0);
  EXPECT_EQ(kept.get("/PSIA/index"), document_answer(golden("index.xml")));
}

TEST(Maintenance, UploadsAndTheConfigurationDownload) {
  static const char* uri = "/PSIA/System/configurationData";
  test_camera camera;
  const std::string file = camera.path(kTransfer + "psia_config.dat");
  std::string image(5000, 'i');
  image[100] = '\0';  // any bytes
  EXPECT_EQ(camera.put(uri, image), status_answer(uri, 1));
  EXPECT_EQ(file_text(file), image);
  // Cut short, or empty: refused, and the earlier upload stays.
  test_request cut{"PUT", uri, "short"};
  cut.content_length = "6000";
  EXPECT_EQ(camera.request(cut), status_answer(uri, 3));
  EXPECT_EQ(camera.put(uri, ""), status_answer(uri, 3));
  EXPECT_EQ(file_text(file), image);
  EXPECT_NE(access((file + ".part").c_str(), F_OK), 0);
  // The configuration download sends the file the daemon names.
  // The daemon names `name` and answers `status`; `content` (null: none) was written there.
  auto names = [](std::string name, int status, const char* content) {
    return get(uri).daemon(11, status).sends({"11"}).with([=](test_camera& c) {
      if (content != nullptr) write_file(c.path(kTransfer + name), content);
      c.daemon().reply_texts.emplace(11, std::make_pair(0, name));
    });
  };
  auto sent = [](const std::string& c) {
    return "Content-Type: application/octet-stream\nContent-length: " + std::to_string(c.size()) + "\n\n" + c;
  };
  const std::string large(2500, 'c');
  run_cases({names("large.cfg", 1, large.c_str()).answers(sent(large)), names("empty.cfg", 1, "").answers(sent("")),
             names("large.cfg", 2, "x").answers(3), names("missing.cfg", 1, nullptr).answers(3),
             names(".", 1, nullptr).answers(3),   // the directory itself
             names("a..b", 1, "x").answers(3)});  // no name with ".." goes out, whatever it would lead to
}

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

TEST(Network, DocumentsShowTheLiveInterfaceAndUpdatesAreAppliedInTheirSteps) {
  // Not static (the seeded type: the first document below), or no type stored; and the host files missing.
  for (const char* sql : {"update Network set ConnectionType=1", "delete from Network"}) {
    test_camera camera(sql);
    unlink(camera.path("/proc/net/route").c_str());
    unlink(camera.path("/etc/resolv.conf").c_str());
    std::string expected = golden("ip_address.xml");
    expected.replace(expected.find("static"), 6, "dynamic");
    expected.replace(expected.find("192.168.7.1"), 11, "255.255.255.255");
    expected.replace(expected.find("10.1.1.1"), 8, "");
    expected.replace(expected.find("10.1.1.2"), 8, "");
    EXPECT_EQ(camera.get(kIp), document_answer(expected)) << sql;
    EXPECT_EQ(camera.errors(), "Do not support /proc file system?\n");
  }
  const char* secondary = "<SecondaryDNS><ipAddress>10.9.0.54</ipAddress></SecondaryDNS>";
  const std::string over = std::string(40, '9'), address = "<ipAddress>" + over + "</ipAddress>",
                    cut = "|" + over.substr(0, 31);
  // clang-format off
  run_cases({
      get(kIp).answers(document_answer(golden("ip_address.xml"))),
      get("/PSIA/System/Network/interfaces").answers(document_answer(golden("interfaces.xml"))),
      put(kInterface).answers(document_answer(golden("interface.xml"))),  // crossed: PUT answers the document
      get("/PSIA/System/Network/interfaces/eth0/discovery").answers(document_answer(golden("discovery.xml"))),
      put("/PSIA/System/Network/interfaces/eth0/discovery", "<Discovery/>").answers(1),
      put(kIp, static_body(secondary)).after("update Network set ConnectionType=1").answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|10.9.0.54"),
      // Each address is cut to 31 characters.
      put(kIp, "<IPAddress><addressingType>static</addressingType>" + address + "<subnetMask>" + over + "</subnetMask><DefaultGateway>" + address + "</DefaultGateway><PrimaryDNS>" + address + "</PrimaryDNS><SecondaryDNS>" + address + "</SecondaryDNS></IPAddress>").answers(1).sends({"41", "42"}).leaves(kRow, "0" + cut + cut + cut + cut + cut),
      // DHCP (or any type but static) stores only the mode.
      put(kIp, kDhcpBody).answers(1).sends({"41"}).leaves(kRow, "1|192.168.1.100|255.255.255.0|192.168.1.1|192.168.1.1|8.8.8.8"),
      // The crossed GET: without a secondary server the stored one stays.
      request("GET", kInterface, "<NetworkInterface><id>ETH0</id><IPAddress>" + static_settings("") + "</IPAddress></NetworkInterface>").answers(1).sends({"41", "42"}).leaves(kRow, "0|10.9.8.7|255.255.0.0|10.9.0.1|10.9.0.53|8.8.8.8"),
      // The daemon's replies are answered as they come.
      put(kIp, static_body("")).daemon(41, 3).answers(3).sends({"41"}),
      put(kIp, static_body("")).daemon(42, 2).answers(2).sends({"41", "42"}),
      put(kIp, kDhcpBody).daemon(41, 2).answers(2).sends({"41"}),
      // Refused: nothing stored, nothing sent.
      put(kIp, "<IPAddress><ipVersion>v6</ipVersion><addressingType>static</addressingType></IPAddress>").answers(3).leaves(kRow, kSeededRow),
      put(kIp, "<IPAddress><ipAddress>10.0.0.9</ipAddress></IPAddress>").answers(3).leaves(kRow, kSeededRow),
      get(kInterface).answers(3),  // a plain GET carries no body
      request("GET", kInterface, "<NetworkInterface><id>eth0</id></NetworkInterface>").answers(3),
      request("GET", kInterface, "<NetworkInterface><id>eth1</id><IPAddress><addressingType>dhcp</addressingType></IPAddress></NetworkInterface>").answers(3).leaves(kRow, kSeededRow),
  });
  // clang-format on
}

TEST(HostProbes, GatewayAndNameServersFromTheirFilesAndTheInterfaceIoctls) {
  test_camera camera;
  psia::event_log log;
  std::string errors;
  log.set_stream([&](const char* t, size_t n) { errors.append(t, n); });
  const std::string header = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  // clang-format off
  const std::tuple<const char*, const char*, const char*> routes[] = {  // the table, gateway, errors
      {"eth0\t000200C0\t00000000\t0001\n", "255.255.255.255", ""},  // no default route
      {"eth0\t000200C0\t00000000\t0001\neth0\t00000000\t0101A8C0\t0003\neth0\t00000000\t0201A8C0\t0003\n", "192.168.1.1", ""},  // the first gateway wins
      {"eth1\t00000000\t0100000A\t0003\neth0\t00000000\t0200000A\t0003\n", "10.0.0.2", ""},
      {"eth0\t00000000\n", "255.255.255.255", "Unable to read routing table!\n"},
  };
  // clang-format on
  std::string route = camera.path("/proc/net/route");
  for (const auto& [table, gateway, expected_errors] : routes) {
    errors.clear();
    write_file(route, header + table);
    char text[psia::kIpv4TextSize];
    psia::format_ipv4(psia::read_default_gateway(log, route, "eth0").value_or(0xFFFFFFFFu), text);
    EXPECT_STREQ(text, gateway) << table;
    EXPECT_EQ(errors, expected_errors);
  }
  // The file, the result, the two servers.
  const std::tuple<const char*, bool, const char*, const char*> resolvers[] = {
      {"nameserver 8.8.8.8\n", false, "8.8.8.8", ""},
      {"nameserver 1.1.1.1\nnameserver 2.2.2.2\nnameserver 3.3.3.3\n", true, "1.1.1.1", "2.2.2.2"},
      {"nameserver 1.1.1.1\nnameserver dns.example.net\nnameserver 3.3.3.3\n", false, "1.1.1.1", ""},
      {"# nameserver 9.9.9.9\nnameserver\t4.4.4.4\noptions ndots:2\nnameserver 5.5.5.5", true, "4.4.4.4", "5.5.5.5"},
  };
  std::string resolv = camera.path("/etc/resolv.conf");
  for (const auto& [file, result, first, second] : resolvers) {
    write_file(resolv, file);
    char primary[psia::kIpv4TextSize] = "stale", secondary[psia::kIpv4TextSize] = "stale";
    EXPECT_EQ(psia::read_name_servers(resolv, primary, secondary), result) << file;
    EXPECT_STREQ(primary, first);
    EXPECT_STREQ(secondary, second);
  }
  // The interface ioctls, on the loopback interface.
  errors.clear();
  EXPECT_EQ(psia::read_ip_address(log, "lo"), htonl(0x7F000001));
  EXPECT_EQ(psia::read_subnet_mask(log, "lo"), htonl(0xFF000000));
  unsigned char mac[6] = {1, 1, 1, 1, 1, 1};
  EXPECT_TRUE(psia::read_mac_address(log, "lo", mac));
  EXPECT_EQ(std::memcmp(mac, "\0\0\0\0\0\0", 6), 0);
  EXPECT_EQ(errors, "");
  // A name longer than the kernel's 15 characters is cut, not overrun.
  const char* missing = "nosuchinterface-with-a-long-name";
  EXPECT_EQ(psia::read_ip_address(log, missing), std::nullopt);
  EXPECT_EQ(psia::read_subnet_mask(log, missing), std::nullopt);
  unsigned char untouched[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_FALSE(psia::read_mac_address(log, missing, untouched));
  EXPECT_EQ(untouched[0], 9);
  EXPECT_EQ(errors, std::string("Unable to read IP address!, err: ") + std::strerror(ENODEV) +
                        "\nUnable to read subnet mask!\nUnable to read MAC address!\n");
}

}  // namespace
