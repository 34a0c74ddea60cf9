// Request-level tests of device information and status, and of the
// maintenance operations.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "io/host_probes.h"
#include "responder_harness.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n";

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// The responder reads eth0 of the machine it runs on, as this test does.
std::string host_mac() {
  unsigned char mac[6] = {0, 0, 0, 0, 0, 0};
  read_mac_address(kCameraInterface, mac);
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                mac[3], mac[4], mac[5]);
  return text;
}

std::string device_info(const std::string& name, const std::string& id, const std::string& model,
                        const std::string& serial, const std::string& version,
                        const std::string& date) {
  return std::string(kDeclaration) +
         "<DeviceInfo version=\"1.0\" xmlns=\"urn:psialliance-org\"><deviceName>" + name +
         "</deviceName><deviceID>" + id +
         "</deviceID><systemContact>http://www.aldex.com</systemContact><model>" + model +
         "</model><serialNumber>" + serial + "</serialNumber><macAddress>" + host_mac() +
         "</macAddress><firmwareVersion>" + version + "</firmwareVersion><firmwareReleasedDate>" +
         date + "</firmwareReleasedDate></DeviceInfo>";
}

const char kSeedId[] = "5F3C2A10-9B7E-4D21-8C4A-0f1e2d3c4b5a";

TEST(DeviceInfo, DocumentFromItsSources) {
  Camera camera;
  EXPECT_EQ(camera.get("/PSIA/System/deviceInfo").out,
            document_answer(device_info("camera-lobby", kSeedId, "KTA3050", "KT3050-000123",
                                        "1.4.2.201105", "201105")));
}

TEST(DeviceInfo, FallbacksWhenSourcesAreMissing) {
  Camera camera("delete from Network; delete from Spec; update System set SWVersion='7';");
  unlink((camera.root() + "/dev/mtdblock7").c_str());
  Request r;
  r.uri = "/PSIA/System/deviceInfo";
  r.env = {{"HOSTNAME", "cam-7"}};
  ProcessResult answer = camera.request(r);
  EXPECT_EQ(answer.out, document_answer(device_info("cam-7", kSeedId, "Aldex IP Camera", "0",
                                                    "7", "000000")));
  EXPECT_NE(answer.err.find("EEPROM OPEN: No such file or directory\n"), std::string::npos);

  camera.exec("delete from System;");
  write_file(camera.root() + "/dev/mtdblock7", std::string(270, 'x'));  // too short
  answer = camera.request(r);
  EXPECT_NE(answer.out.find("<serialNumber>0</serialNumber><macAddress>"), std::string::npos);
  EXPECT_NE(answer.out.find("<firmwareVersion>0.0.0.0</firmwareVersion><firmwareReleasedDate>"
                            "000000</firmwareReleasedDate>"),
            std::string::npos);
  EXPECT_NE(answer.err.find("eeprom read fail res=14, error="), std::string::npos);
}

TEST(DeviceInfo, IdentifierIsMadeOnceAndStoredInBothDatabases) {
  for (const char* stored : {"aaaaaaaaaaaaaaaa", "aaaaaaaaaaaaaaaaXYZ", ""}) {
    Camera camera(std::string("update System set uuid='") + stored + "';");
    std::string first = camera.get("/PSIA/System/deviceInfo").out;
    std::smatch id;
    ASSERT_TRUE(std::regex_search(
        first, id, std::regex("<deviceID>([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-"
                              "[0-9a-f]{12})</deviceID>")))
        << first;
    EXPECT_EQ(camera.query("select uuid from System"), id[1]);
    // The main connection is closed once the identifier is stored: the
    // rest of this answer shows the fallbacks.
    EXPECT_NE(first.find("<model>Aldex IP Camera</model>"), std::string::npos);
    std::string factory = camera.root() + "/usr/local/korvia/conf/default.db";
    EXPECT_EQ(run_process({"/usr/bin/sqlite3", factory, "select uuid from System"}, {}, "").out,
              std::string(id[1]) + "\n");
    std::string second = camera.get("/PSIA/System/deviceInfo").out;
    EXPECT_NE(second.find("<deviceID>" + std::string(id[1]) + "</deviceID>"), std::string::npos);
    EXPECT_NE(second.find("<model>KTA3050</model>"), std::string::npos);
  }
}

TEST(DeviceInfo, NoFactoryDatabaseKeepsTheConnectionAndCreatesNone) {
  Camera camera("update System set uuid='aaaaaaaaaaaaaaaa';");
  std::string factory = camera.root() + "/usr/local/korvia/conf/default.db";
  ASSERT_EQ(unlink(factory.c_str()), 0);
  std::string out = camera.get("/PSIA/System/deviceInfo").out;
  EXPECT_NE(out.find("<model>KTA3050</model>"), std::string::npos);  // still connected
  EXPECT_NE(access(factory.c_str(), F_OK), 0);
  EXPECT_NE(camera.query("select uuid from System"), "aaaaaaaaaaaaaaaa");
}

TEST(DeviceInfo, PutStoresTheDeviceName) {
  const char uri[] = "/PSIA/System/deviceInfo";
  struct Case {
    const char* body;
    const char* stored;
    int answer;
  } cases[] = {
      {"<DeviceInfo><deviceName>a</deviceName><deviceName>gate's camera</deviceName>"
       "</DeviceInfo>",
       "gate's camera", 1},
      {"<deviceinfo><deviceName>0123456789012345678901234567890123456789</deviceName>"
       "</deviceinfo>",
       "0123456789012345678901234567890", 1},
      {"<DeviceInfo/>", "", 1},
      {"<Device><deviceName>x</deviceName></Device>", "camera-lobby", 3},
      {"not xml", "camera-lobby", 3},
  };
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.put(uri, c.body).out, status_answer(uri, c.answer)) << c.body;
    EXPECT_EQ(camera.query("select DDNSHostname from Network"), c.stored);
    EXPECT_TRUE(camera.sim().commands().empty());
  }
}

TEST(DeviceStatus, UptimeFromTheHost) {
  struct Case {
    const char* uptime;  // null: no file
    const char* shown;   // null: status 3
  } cases[] = {{"12345.67 40000.00\n", "12345"}, {"0.99 1.00", "0"}, {"12345.67\n", nullptr},
               {"garbage", nullptr}, {nullptr, nullptr}};
  for (const Case& c : cases) {
    Camera camera;
    std::string file = camera.root() + "/proc/uptime";
    unlink(file.c_str());
    if (c.uptime != nullptr) write_file(file, c.uptime);
    std::string out = camera.get("/PSIA/System/status").out;
    if (c.shown == nullptr) {
      EXPECT_EQ(out, status_answer("/PSIA/System/status", 3));
      continue;
    }
    std::regex document(
        "Content-Length: 182\r\nContent-Type: application/xml\r\n\r\n<\\?xml version=\"1.0\" "
        "encoding=\"UTF-8\" \\?>\r\n<DeviceStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">"
        "<currentDeviceTime>\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d</currentDeviceTime>"
        "<deviceUpTime>" + std::string(c.shown) + "</deviceUpTime></DeviceStatus>");
    std::string expected_length = std::to_string(out.size() - out.find("\r\n\r\n") - 4);
    out.replace(16, expected_length.size(), "182");
    EXPECT_TRUE(std::regex_match(out, document)) << out;
  }
}

TEST(Maintenance, RebootAndFactoryReset) {
  Camera camera("", {"--status", "8=2"});
  EXPECT_EQ(camera.put("/PSIA/System/reboot", "").out, status_answer("/PSIA/System/reboot", 2));
  struct Case {
    const char* uri;
    int answer;
    bool sent;
  } cases[] = {
      {"/PSIA/System/factoryReset?mode=basic", 1, true},
      {"/PSIA/System/factoryReset?MODE=FULL", 1, true},
      {"/PSIA/System/factoryReset?MODE=x=full", 1, true},  // a further '=' restarts the value
      {"/PSIA/System/factoryReset?MODE=PARTIAL", 3, false},
      {"/PSIA/System/factoryReset?KIND=FULL", 3, false},
      {"/PSIA/System/factoryReset?", 5, false},
      {"/PSIA/System/factoryReset", 5, false},
  };
  for (const Case& c : cases) {
    Camera reset;
    EXPECT_EQ(reset.put(c.uri, "").out, status_answer(c.uri, c.answer)) << c.uri;
    std::vector<SimCommand> sent = reset.sim().commands();
    EXPECT_EQ(sent.size(), c.sent ? 1u : 0u) << c.uri;
    if (c.sent) {
      EXPECT_EQ(sent[0].code, 10);
      EXPECT_EQ(sent[0].payload, std::string(1120, '\0'));
    }
  }
}

TEST(Maintenance, UploadsLandInTheTransferDirectory) {
  struct Case {
    const char* uri;
    const char* file;
  } cases[] = {{"/PSIA/System/updateFirmware", "psia_firmware.dat"},
               {"/PSIA/System/configurationData", "psia_config.dat"}};
  std::string image(300000, '\0');
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i * 7);
  for (const Case& c : cases) {
    Camera camera;
    std::string dir = camera.root() + "/usr/local/httpd/htdocs/Web/updownload/";
    EXPECT_EQ(camera.put(c.uri, image).out, status_answer(c.uri, 1));
    EXPECT_TRUE(read_file(dir + c.file) == image) << c.file;
    EXPECT_NE(access((dir + c.file + ".part").c_str(), F_OK), 0);
    EXPECT_TRUE(camera.sim().commands().empty());

    Request short_body;
    short_body.method = "PUT";
    short_body.uri = c.uri;
    short_body.body = "only this";
    short_body.content_length = "5000";
    EXPECT_EQ(camera.request(short_body).out, status_answer(c.uri, 3));
    EXPECT_TRUE(read_file(dir + c.file) == image);  // the whole earlier upload stands

    run_process({"/bin/rm", "-rf", dir}, {}, "");
    EXPECT_EQ(camera.put(c.uri, image).out, status_answer(c.uri, 3));
  }
}

TEST(Maintenance, ConfigurationDownload) {
  Camera camera;
  ProcessResult answer = camera.get("/PSIA/System/configurationData");
  std::string file =
      read_file(camera.root() + "/usr/local/httpd/htdocs/Web/updownload/psia_backup.cfg");
  ASSERT_FALSE(file.empty());
  EXPECT_EQ(answer.out, "Content-Type: application/octet-stream\nContent-length: " +
                            std::to_string(file.size()) + "\n\n" + file);

  Camera large("", {"--reply-text", "11=0:large.cfg"});
  std::string bytes(2500, 'c');
  bytes[1023] = 'A';
  bytes[2499] = 'Z';
  write_file(large.root() + "/usr/local/httpd/htdocs/Web/updownload/large.cfg", bytes);
  EXPECT_EQ(large.get("/PSIA/System/configurationData").out,
            "Content-Type: application/octet-stream\nContent-length: 2500\n\n" + bytes);

  Camera empty("", {"--reply-text", "11=0:empty.cfg"});
  write_file(empty.root() + "/usr/local/httpd/htdocs/Web/updownload/empty.cfg", "");
  EXPECT_EQ(empty.get("/PSIA/System/configurationData").out,
            "Content-Type: application/octet-stream\nContent-length: 0\n\n");

  // A refused reply, a missing file, and names that are no file at all.
  const char uri[] = "/PSIA/System/configurationData";
  const std::vector<std::string> failures[] = {{"--status", "11=2"},
                                               {"--reply-text", "11=0:missing.cfg"},
                                               {"--reply-text", "11=0:"},
                                               {"--reply-text", "11=0:."}};
  for (const std::vector<std::string>& sim_args : failures) {
    Camera failing("", sim_args);
    EXPECT_EQ(failing.get(uri).out, status_answer(uri, 3)) << sim_args[1];
  }
}

}  // namespace
