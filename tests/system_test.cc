// The System branch: time, time zone and NTP server, device information and
// status, and the maintenance operations.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <regex>

#include "harness.h"

using namespace psia_test;

namespace {

const char kTextUtf8[] = "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n";
const char kTime[] = "/PSIA/System/time";
const char kSeedNtp[] = "6 mode=2 ntp=\"pool.ntp.org\" interval=24 time=";

std::string time_document(const char* mode, const char* local, const std::string& zone) {
  return document_answer(std::string("<Time version=\"1.0\" xmlns=\"urn:psialliance-org\"><timeMode>") +
                             mode + "</timeMode><localTime>" + local + "</localTime><timeZone>" +
                             zone + "</timeZone></Time>",
                         kXmlUtf8);
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

TEST(Time, DocumentsShowModeClockAndZone) {
  const char* now = "2011-05-12T10:20:30";
  const std::string cet = "CET-1CEST,M3.5.0,M10.5.0/3";  // Europe/Berlin's zone file
  run_cases({
      {"GET", kTime, "", 0, time_document("NTP", now, cet)},
      {"GET", kTime, "", 0, time_document("manual", now, "CST-0"), {}, {},
       "update DateTime set DateTimeSync=1, TimeZone='CST-0'"},
      {"GET", kTime, "", 0, time_document("NTP", now, "GMT0"), {}, {},
       "update DateTime set TimeZone='No/Such_Zone'"},
      {"GET", kTime, "", 0, time_document("NTP", now, "GMT0"), {}, {},
       "update DateTime set TimeZone='../../../etc/passwd'"},
      {"GET", kTime, "", 0, time_document("NTP", now, "GMT0"), {}, {},
       "update DateTime set TimeZone='Europe'"},  // a directory
      {"GET", kTime, "", 0, time_document("manual", now, "GMT0"), {}, {}, "delete from DateTime"},
      {"GET", "/PSIA/System/time/localTime", "", 0, document_answer(now, kXmlUtf8)},
      {"GET", "/PSIA/System/time/timeZone", "", 0, document_answer(cet, kTextUtf8)},
      {"GET", "/PSIA/System/time/timeZone", "", 0, document_answer("JST-9", kTextUtf8), {}, {},
       "update DateTime set TimeZone='Japan'"},
      {"GET", "/PSIA/System/time/timeZone", "", 0, document_answer("GMT0", kTextUtf8), {}, {},
       "delete from DateTime"},
  });
}

TEST(Time, ChangesAreSentToTheDaemon) {
  const std::string zone63 = std::string(62, 'A') + "5";
  run_cases({
      // Out-of-range fields roll over; every field is read at its place.
      {"PUT", kTime,
       "<Time><timeMode>manual</timeMode><localTime>2010-02-30T25:00:00</localTime>"
       "<timeZone>UTC0</timeZone></Time>",
       1, "", {"6 mode=0 ntp=\"pool.ntp.org\" interval=24 time=2010-03-03 01:00:00"}},
      {"PUT", kTime, "<time><timeMode>Manual</timeMode><localTime>2012-11-26T17:38:49</localTime></time>",
       1, "", {"6 mode=0 ntp=\"pool.ntp.org\" interval=24 time=2012-11-26 17:38:49"}},
      // No timeMode asks for NTP, which carries the camera's own time.
      {"PUT", kTime, "<Time><localTime>1999-01-01T00:00:00</localTime></Time>", 1, "",
       {std::string(kSeedNtp) + "2011-05-12 10:20:30"}},
      {"PUT", kTime, "<Time><timeZone>" + zone63 + "</timeZone></Time>", 1, "",
       {std::string(kSeedNtp) + "2011-05-12 05:20:30"}},  // its own local time
      {"PUT", kTime, "<Time><timeZone>" + zone63 + "B</timeZone></Time>", 3},  // cut would name another
      {"PUT", kTime, "<Time><timeZone>EST</timeZone></Time>", 3},
      {"PUT", kTime, "<Clock/>", 3},
      {"PUT", kTime, "<Time>", 3},
      {"PUT", kTime, "<Time/>", 3, "", {}, {}, "delete from DateTime"},
      {"PUT", "/PSIA/System/time/localTime", "2011-05-06T07:08:09", 1},  // ignored under NTP
      {"PUT", "/PSIA/System/time/localTime", "2011-05-06T07:08:09", 1, "", {}, {},
       "update DateTime set DateTimeSync=1"},
      {"PUT", "/PSIA/System/time/localTime", "2012-11-26T17:38:49", 1, "",
       {"6 mode=0 ntp=\"pool.ntp.org\" interval=24 time=2012-11-26 17:38:49"}, {},
       "update DateTime set DateTimeSync=0"},
      {"PUT", "/PSIA/System/time/localTime", "2011-05-06T07:08:09", 3, "", {}, {},
       "delete from DateTime"},
      {"PUT", "/PSIA/System/time/timeZone", "JST-9", 1, "", {"7 zone=\"Japan\""},
       {{"select TimeZone from DateTime", "Japan"}}},
      {"PUT", "/PSIA/System/time/timeZone", "est5edt", 1, "", {"7 zone=\"EST5EDT\""},
       {{"select TimeZone from DateTime", "EST5EDT"}}},
      {"PUT", "/PSIA/System/time/timeZone", "XYZ4", 3, "", {},
       {{"select TimeZone from DateTime", "Europe/Berlin"}}},
  });
}

TEST(Time, AZoneGivenWithTheTimeIsKeptForTheProcess) {
  Camera camera;
  camera.daemon().status[6] = 2;
  EXPECT_EQ(camera.put(kTime, "<Time><timeZone>JST-9</timeZone></Time>"), status_answer(kTime, 2));
  // The process's local time follows it; the stored zone does not change.
  EXPECT_EQ(camera.get(kTime), time_document("NTP", "2011-05-12T19:20:30", "JST-9"));
  EXPECT_EQ(camera.get("/PSIA/System/time/timeZone"),
            document_answer("CET-1CEST,M3.5.0,M10.5.0/3", kTextUtf8));
  // An empty zone goes back to the system's.
  camera.put(kTime, "<Time><timeZone></timeZone></Time>");
  EXPECT_EQ(camera.get("/PSIA/System/time/localTime"), document_answer("2011-05-12T10:20:30", kXmlUtf8));
}

TEST(Ntp, TheOneServerIsShownAndReplaced) {
  auto doc = [](bool list, const char* kind, const char* element, const char* value) {
    std::string pad = list ? "" : "    ";
    std::string body = pad + "<id>1</id>" + pad + "<addressingFormatType>" + kind +
                       "</addressingFormatType>" + pad + "<" + element + ">" + value + "</" +
                       element + ">" + pad + "<portNo>123</portNo>";
    return document_answer(
        kDeclaration + (list ? "<NTPServerList version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                               "<NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">" +
                                   body + "</NTPServer></NTPServerList>"
                             : "  <NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">" + body +
                                   "  </NTPServer>"),
        kXmlUtf8);
  };
  const char* list = "/PSIA/System/time/ntpServers";
  const char* one = "/PSIA/System/time/ntpServers/1";
  const char* name = "select NTPServerName from DateTime";
  run_cases({
      {"GET", list, "", 0, doc(true, "hostname", "hostName", "pool.ntp.org")},
      {"GET", "/PSIA/System/time/ntpServers/7", "", 0, doc(false, "ipaddress", "ipAddress", "192.168.0.1"),
       {}, {}, "update DateTime set NTPServerName='192.168.0.1'"},
      {"GET", one, "", 0, doc(false, "hostname", "hostName", "ntp-1.example.com.and.a.long.ta"), {},
       {}, "update DateTime set NTPServerName='ntp-1.example.com.and.a.long.tail'"},
      {"GET", list, "", 0, doc(true, "hostname", "hostName", "pool.ntp.org"), {}, {},
       "delete from DateTime"},
      {"PUT", one,
       "<NTPServer><addressingFormatType>ipaddress</addressingFormatType><ipAddress>10.0.0.1</ipAddress>"
       "</NTPServer>",
       1, "", {}, {{name, "10.0.0.1"}}},
      {"PUT", one, "<NTPServer><hostName>time.lan</hostName></NTPServer>", 1, "", {}, {{name, "time.lan"}}},
      // Only a format type of "NTP" selects the host name.
      {"PUT", one,
       "<NTPServer><addressingFormatType>hostname</addressingFormatType><hostName>time.lan</hostName>"
       "</NTPServer>",
       1, "", {}, {{name, ""}}},
      {"POST", list, "<ntpserver><hostName>o'clock</hostName></ntpserver>", 1, "", {}, {{name, "o'clock"}}},
      {"PUT", list,
       "<NTPServerList><NTPServer><hostName>a.lan</hostName></NTPServer><NTPServer/><NTPServer>"
       "<addressingFormatType>NTP</addressingFormatType><hostName>b.lan</hostName></NTPServer>"
       "</NTPServerList>",
       1, "", {}, {{name, "b.lan"}}},
      {"PUT", list, "<NTPServer/>", 3, "", {}, {{name, "pool.ntp.org"}}},
      {"DELETE", one, "", 1, "", {}, {{name, "pool.ntp.org"}}},
      {"DELETE", list, "", 1, "", {}, {{name, "pool.ntp.org"}}},
  });
}

TEST(Device, InformationFromItsSources) {
  const char* uri = "/PSIA/System/deviceInfo";
  Camera camera;
  EXPECT_EQ(camera.get(uri), document_answer(golden("device_info.xml")));
  // Without its sources each element shows its fallback.
  camera.exec("delete from Network; delete from Spec; update System set SWVersion='7'");
  unlink(camera.path("/dev/mtdblock7").c_str());
  std::string out = camera.get(uri);
  for (const char* part : {"<deviceName>camera-host</deviceName>", "<model>Aldex IP Camera</model>",
                           "<serialNumber>0</serialNumber>",
                           "<firmwareVersion>7</firmwareVersion><firmwareReleasedDate>000000<"})
    EXPECT_NE(out.find(part), std::string::npos) << part;
  EXPECT_EQ(camera.errors(), "EEPROM OPEN: No such file or directory\n");
  // Factory data too short, and factory data that fills the serial's field.
  write_file(camera.path("/dev/mtdblock7"), std::string(270, 'x'));
  EXPECT_NE(camera.get(uri).find("<serialNumber>0</serialNumber>"), std::string::npos);
  EXPECT_NE(camera.errors().find("eeprom read fail res=14, error="), std::string::npos);
  write_file(camera.path("/dev/mtdblock7"), std::string(256, '\0') + std::string(40, 'S'));
  EXPECT_NE(camera.get(uri).find("<serialNumber>" + std::string(31, 'S') + "</serialNumber>"),
            std::string::npos);
  camera.exec("delete from System");
  EXPECT_NE(camera.get(uri).find("<firmwareVersion>0.0.0.0</firmwareVersion><firmwareReleasedDate>"
                                 "000000</firmwareReleasedDate>"),
            std::string::npos);
}

TEST(Device, TheIdentifierIsMadeOnceAndClosesTheConnection) {
  for (const char* stored : {"aaaaaaaaaaaaaaaa", "aaaaaaaaaaaaaaaaXYZ", ""}) {
    Camera camera(std::string("update System set uuid='") + stored + "'");
    std::string first = camera.get("/PSIA/System/deviceInfo");
    std::smatch id;
    ASSERT_TRUE(std::regex_search(first, id, std::regex("<deviceID>([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-"
                                                        "[0-9A-F]{4}-[0-9a-f]{12})</deviceID>")))
        << first;
    EXPECT_EQ(camera.query("select uuid from System"), id[1]);
    // The main connection is closed once the identifier is stored: the rest
    // of this answer shows the fallbacks, and later callers are refused.
    EXPECT_NE(first.find("<model>Aldex IP Camera</model>"), std::string::npos);
    EXPECT_EQ(camera.get("/PSIA/index").rfind("Status: 401", 0), 0u);
    ProcessResult factory = run_process(
        {"/usr/bin/sqlite3", camera.path("/usr/local/korvia/conf/default.db"), "select uuid from System"}, {});
    EXPECT_EQ(factory.out, std::string(id[1]) + "\n");
  }
  // Without a factory database the connection stays and none is created.
  Camera camera("update System set uuid='aaaaaaaaaaaaaaaa'");
  std::string factory = camera.path("/usr/local/korvia/conf/default.db");
  ASSERT_EQ(unlink(factory.c_str()), 0);
  EXPECT_NE(camera.get("/PSIA/System/deviceInfo").find("<model>KTA3050</model>"), std::string::npos);
  EXPECT_NE(access(factory.c_str(), F_OK), 0);
  EXPECT_EQ(camera.get("/PSIA/index"), document_answer(golden("index.xml")));
}

TEST(Device, NameStatusAndUptime) {
  const char* uri = "/PSIA/System/deviceInfo";
  const char* name = "select DDNSHostname from Network";
  auto status = [](const char* uptime) {
    return document_answer(std::string(kDeclaration) +
                           "<DeviceStatus version=\"1.0\" xmlns=\"urn:psialliance-org\"><currentDeviceTime>"
                           "2011-05-12T10:20:30</currentDeviceTime><deviceUpTime>" +
                           uptime + "</deviceUpTime></DeviceStatus>");
  };
  run_cases({
      {"PUT", uri, "<deviceinfo><deviceName>hall</deviceName><deviceName>lobby</deviceName></deviceinfo>",
       1, "", {}, {{name, "lobby"}}},
      {"PUT", uri, "<DeviceInfo><deviceName>" + std::string(31, 'n') + "</deviceName></DeviceInfo>", 1, "",
       {}, {{name, std::string(31, 'n')}}},
      {"PUT", uri, "<DeviceInfo><deviceName>" + std::string(40, 'n') + "</deviceName></DeviceInfo>", 1, "",
       {}, {{name, std::string(31, 'n')}}},
      {"PUT", uri, "<DeviceInfo/>", 1, "", {}, {{name, ""}}},
      {"PUT", uri, "<Device><deviceName>x</deviceName></Device>", 3, "", {}, {{name, "camera-lobby"}}},
      {"PUT", uri, "<DeviceInfo><deviceName>x</deviceName>", 3},
      {"GET", "/PSIA/System/status", "", 0, status("12345")},
  });
  for (const char* uptime : {"", "abc def\n", "12345.67\n"}) {
    Camera camera;
    write_file(camera.path("/proc/uptime"), uptime);
    EXPECT_EQ(camera.get("/PSIA/System/status"), status_answer("/PSIA/System/status", 3)) << uptime;
  }
  Camera camera;
  write_file(camera.path("/proc/uptime"), "2147483647.5 1\n");
  EXPECT_EQ(camera.get("/PSIA/System/status"), status("2147483647"));
}

TEST(Maintenance, RebootAndFactoryReset) {
  const char* reset = "/PSIA/System/factoryReset";
  run_cases({
      {"PUT", "/PSIA/System/reboot", "", 1, "", {"8"}},
      {"PUT", std::string(reset) + "?mode=basic", "", 1, "", {"10"}},
      {"PUT", std::string(reset) + "?MODE=x=FULL", "", 1, "", {"10"}},  // '=' starts the value again
      {"PUT", std::string(reset) + "?MODE=PARTIAL", "", 3},
      {"PUT", std::string(reset) + "?KEY=FULL", "", 3},
      {"PUT", std::string(reset) + "?MODE=" + std::string(300, 'F'), "", 3},
      {"PUT", std::string(reset) + "?", "", 5},
      {"PUT", reset, "", 5},
  });
  for (const auto& [daemon, answer] : std::vector<std::pair<int, int>>{{2, 2}, {7, 3}, {0, 3}, {-1, 3}}) {
    Camera camera;
    camera.daemon().status[8] = daemon;
    EXPECT_EQ(camera.put("/PSIA/System/reboot", ""), status_answer("/PSIA/System/reboot", answer)) << daemon;
  }
  Camera silent;
  silent.daemon().silent.insert(10);
  EXPECT_EQ(silent.put(std::string(reset) + "?MODE=FULL", ""), status_answer(std::string(reset) + "?MODE=FULL", 2));
  EXPECT_EQ(silent.clock().now_us, 180100000);  // 1801 polls of 100 ms
}

TEST(Maintenance, UploadsAreStoredWholeOrNotAtAll) {
  for (const char* uri : {"/PSIA/System/updateFirmware", "/PSIA/System/configurationData"}) {
    Camera camera;
    std::string file = camera.path(std::string("/usr/local/httpd/htdocs/Web/updownload/") +
                                   (uri[13] == 'u' ? "psia_firmware.dat" : "psia_config.dat"));
    std::string image(5000, 'i');
    image[100] = '\0';  // any bytes
    EXPECT_EQ(camera.put(uri, image), status_answer(uri, 1));
    std::ifstream in(file, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), image);
    // Cut short, or empty: refused, and the earlier upload stays.
    Req cut;
    cut.method = "PUT";
    cut.uri = uri;
    cut.body = "short";
    cut.content_length = "6000";
    EXPECT_EQ(camera.request(cut), status_answer(uri, 3));
    EXPECT_EQ(camera.put(uri, ""), status_answer(uri, 3));
    struct stat info;
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_size, 5000);
    EXPECT_NE(access((file + ".part").c_str(), F_OK), 0);
  }
}

TEST(Maintenance, TheConfigurationDownloadSendsTheFileTheDaemonNames) {
  const char* uri = "/PSIA/System/configurationData";
  const std::string dir = "/usr/local/httpd/htdocs/Web/updownload/";
  struct Case {
    const char* name;     // what the daemon names
    std::string content;  // written there (null name: the simulator's own file)
    int status;           // the daemon's status
    bool sent;
  } cases[] = {
      {"large.cfg", std::string(2500, 'c'), 1, true},
      {"empty.cfg", "", 1, true},
      {"large.cfg", "x", 2, false},
      {"missing.cfg", "", 1, false},
      {"", "", 1, false},         // the directory itself
      {".", "", 1, false},
      {"fifo", "", 1, false},     // not a regular file: never opened to block
  };
  for (const Case& c : cases) {
    Camera camera;
    std::string path = camera.path(dir + c.name);
    if (std::string(c.name) == "fifo") mkfifo(path.c_str(), 0600);
    else if (c.sent || c.status != 1) write_file(path, c.content);
    camera.daemon().reply_texts.emplace(11, std::make_pair(0, std::string(c.name)));
    camera.daemon().status[11] = c.status;
    std::string expected = "Content-Type: application/octet-stream\nContent-length: " +
                           std::to_string(c.content.size()) + "\n\n" + c.content;
    EXPECT_EQ(camera.get(uri), c.sent ? expected : status_answer(uri, 3)) << c.name;
    EXPECT_EQ(camera.commands(), std::vector<std::string>{"11"});
  }
  Camera camera;  // the simulator's own file
  EXPECT_EQ(camera.get(uri).rfind("Content-Type: application/octet-stream\nContent-length: 103\n\n# camera", 0), 0u);
}

}  // namespace
