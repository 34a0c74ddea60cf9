// What the camera's environment and hostile clients can do: a database
// locked by the camera's other processes, a slow, silent or late daemon,
// a full disk, and texts made to change a statement, a format or the
// parser. Each costs at most its bounded wait and one clear answer; the
// next request is served as usual.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include "harness.h"

using namespace psia_test;

namespace {

// Another process's connection holding a lock on the camera's database.
class Lock {
 public:
  Lock(Camera& camera, const char* begin) {
    sqlite3_open(camera.path("/usr/local/korvia/kkorvia.db").c_str(), &db_);
    EXPECT_EQ(sqlite3_exec(db_, begin, nullptr, nullptr, nullptr), SQLITE_OK);
  }
  ~Lock() { sqlite3_close(db_); }
  void release() { sqlite3_exec(db_, "commit", nullptr, nullptr, nullptr); }

 private:
  sqlite3* db_ = nullptr;
};

TEST(Fault, ALockIsWaitedOutForAboutASecondAtMost) {
  const char* uri = "/PSIA/System/deviceInfo";
  const char* body = "<DeviceInfo><deviceName>hall</deviceName></DeviceInfo>";
  Camera camera;
  {
    // Released while the busy handler waits: the change goes through.
    Lock lock(camera, "begin exclusive");
    camera.clock().on_sleep = [&] {
      if (camera.clock().now_us >= 300000) lock.release();
    };
    EXPECT_EQ(camera.put(uri, body), status_answer(uri, 1));
    EXPECT_EQ(camera.clock().now_us, 300000);  // 50 + 100 + 150 ms
  }
  camera.clock().on_sleep = nullptr;
  camera.clock().now_us = 0;
  {
    Lock lock(camera, "begin immediate; update Audio set Enable=Enable");
    EXPECT_EQ(camera.put(uri, "<DeviceInfo><deviceName>gate</deviceName></DeviceInfo>"), status_answer(uri, 3));
    EXPECT_EQ(camera.clock().now_us, 1050000);  // then given up
  }
  EXPECT_EQ(camera.put(uri, body), status_answer(uri, 1));
  EXPECT_EQ(camera.query("select DDNSHostname from Network"), "hall");
}

TEST(Fault, SlowSilentAndLateDaemons) {
  const char* reboot = "/PSIA/System/reboot";
  Camera slow;
  slow.daemon().delay_ms[8] = 2000;
  EXPECT_EQ(slow.put(reboot, ""), status_answer(reboot, 1));
  EXPECT_GE(slow.clock().now_us, 2000000);
  EXPECT_LT(slow.clock().now_us, 2200000);
  // A silent daemon costs each command its bound: about 5, 30 or 180 s.
  const struct {
    int command;
    const char* method;
    const char* uri;
    int64_t waited_us;
  } silent[] = {
      {8, "PUT", reboot, 5100000},
      {11, "GET", "/PSIA/System/configurationData", 180100000},
      {94, "DELETE", "/PSIA/Security/AAA/users", 5100000},  // ignored: still 1
  };
  for (const auto& s : silent) {
    Camera camera;
    camera.daemon().silent.insert(s.command);
    EXPECT_EQ(camera.send(s.method, s.uri), status_answer(s.uri, s.command == 94 ? 1 : s.command == 11 ? 3 : 2));
    EXPECT_EQ(camera.clock().now_us, s.waited_us) << s.command;
  }
  // Replies are matched by process alone: a late reply waits in the queue
  // and is taken by the next exchange, whose own reply answers the one after.
  Camera late;
  late.daemon().delay_ms[8] = 5600;
  late.daemon().status[8] = 7;
  late.daemon().status[41] = 2;
  EXPECT_EQ(late.put(reboot, ""), status_answer(reboot, 2));
  late.clock().sleep_us(600000);  // the reply comes in between requests
  const char* ip = "/PSIA/System/Network/interfaces/eth0/ipAddress";
  const char* dhcp = "<IPAddress><addressingType>dhcp</addressingType></IPAddress>";
  EXPECT_EQ(late.put(ip, dhcp), status_answer(ip, 3));        // command 8's status 7
  EXPECT_EQ(late.put(reboot, ""), status_answer(reboot, 2));  // 41's
  EXPECT_EQ(late.commands(), (std::vector<std::string>{"8", "41", "8"}));
}

TEST(Fault, AFullDiskLeavesNoUpload) {
  Camera camera;
  std::string target = camera.path("/usr/local/httpd/htdocs/Web/updownload/psia_firmware.dat");
  ASSERT_EQ(symlink("/dev/full", (target + ".part").c_str()), 0);
  const char* uri = "/PSIA/System/updateFirmware";
  EXPECT_EQ(camera.put(uri, std::string(5000, 'f')), status_answer(uri, 3));
  EXPECT_NE(access(target.c_str(), F_OK), 0);
  EXPECT_EQ(camera.put("/PSIA/System/reboot", ""), status_answer("/PSIA/System/reboot", 1));
}

const char* const kHostile[] = {
    "' or '1'='1",
    "x'); drop table UserAccount; --",
    "%n%n%s%s%x%d",
    "admin' --",
    "\"; delete from Preset; \"",
    "long-"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAAAAA"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
};

std::string xml_escaped(const std::string& text) {
  std::string out;
  for (char c : text) out += c == '<' ? "&lt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
  return out;
}

// A Content-Length answer carries exactly that many bytes.
void expect_well_framed(const std::string& out) {
  if (out.rfind("Content-Length: ", 0) != 0) return;
  size_t end = out.find("\r\n\r\n");
  ASSERT_NE(end, std::string::npos);
  EXPECT_EQ(std::stoul(out.substr(16)), out.size() - end - 4);
}

TEST(Injection, TextsAreStoredAsSentAndChangeNoStatement) {
  const struct {
    const char* method;
    const char* uri;
    const char* body;   // %V stands for the hostile value, XML-escaped
    const char* query;  // the stored value ("" when nothing is stored)
  } fields[] = {
      {"POST", "/PSIA/Security/AAA/users", "<User><userName>%V</userName><password>p</password></User>",
       "select UserID from UserAccount where rowid=(select max(rowid) from UserAccount)"},
      {"PUT", "/PSIA/Security/AAA/users/guest", "<User><password>%V</password></User>",
       "select Password from UserAccount where UserID='guest'"},
      {"PUT", "/PSIA/System/time/ntpServers/1", "<NTPServer><hostName>%V</hostName></NTPServer>",
       "select NTPServerName from DateTime"},
      {"PUT", "/PSIA/System/deviceInfo", "<DeviceInfo><deviceName>%V</deviceName></DeviceInfo>",
       "select DDNSHostname from Network"},
      {"PUT", "/PSIA/PTZ/channels/0/presets/1", "<PTZPreset><id>1</id><presetName>%V</presetName></PTZPreset>",
       "select PresetAlias from Preset where Sequence=1"},
      {"PUT", "/PSIA/Custom/Event/notification/mailing/x",
       "<MailingNotification><id>mail-security</id><password>%V</password></MailingNotification>",
       "select Password from SMTPServer"},
      {"POST", "/PSIA/Custom/Event/notification/ftp",
       "<FTPNotificationList><FTPNotification><id>%V</id></FTPNotification></FTPNotificationList>",
       "select ServerName from FTPServer where FTPServerID=2"},
      {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress",
       "<IPAddress><ipVersion>v4</ipVersion><addressingType>static</addressingType><ipAddress>%V</"
       "ipAddress>"
       "</IPAddress>",
       "select IpAddress from Network"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0",
       "<EventTrigger><EventTriggerNotificationList><EventTriggerNotification><id>%V</"
       "id><notificationMethod>FTP"
       "</notificationMethod></EventTriggerNotification></EventTriggerNotificationList></"
       "EventTrigger>",
       ""},
  };
  for (const auto& f : fields) {
    for (const char* hostile : kHostile) {
      SCOPED_TRACE(std::string(f.uri) + ": " + hostile);
      Camera camera;
      std::string schema = camera.rows("select sql from sqlite_master");
      std::string body = f.body;
      body.replace(body.find("%V"), 2, xml_escaped(hostile));
      expect_well_framed(camera.send(f.method, f.uri, body));
      EXPECT_EQ(camera.rows("select sql from sqlite_master"), schema);
      EXPECT_EQ(camera.query("select count(*) from UserAccount where UserID in ('admin', 'anonymous')"), "2");
      EXPECT_EQ(camera.query("select count(*) from Preset"), "2");
      if (*f.query == '\0') continue;
      std::string stored = camera.query(f.query);
      EXPECT_FALSE(stored.empty());
      EXPECT_EQ(std::string(hostile).rfind(stored, 0), 0u) << "stored as " << stored;  // cut, never changed
    }
  }
}

TEST(Injection, PathsHeadersAndXmlTricksAdmitNothing) {
  Camera camera;
  camera.ctx().guard = psia::LoginGuard(0, 0);  // a dozen refused logins in a row follow
  for (const char* hostile : kHostile) {
    for (const std::string& authorization :
         {basic_authorization(hostile, hostile), basic_authorization("admin", hostile)}) {
      Req login;
      login.uri = "/PSIA/index";
      login.authorization = authorization;
      EXPECT_EQ(camera.request(login).rfind("Status: 401", 0), 0u) << hostile;
    }
  }
  for (const char* path :
       {"/PSIA/%n%s%x%s%s%s", "/PSIA/Security/AAA/users/x' or '1'='1", "/PSIA/Custom/Event/triggers/x' or '1'='1",
        "/PSIA/Custom/Event/notification/ftp/x' or '1'='1",
        "/PSIA/Custom/Event/triggers/Sensor-0/notifications/%s%n"}) {
    for (const char* method : {"GET", "DELETE"}) {
      expect_well_framed(camera.send(method, path, "", "MODE=%n%s&PAN=%s"));
      EXPECT_EQ(camera.query("select count(*) from FTPServer"), "1") << path;
      EXPECT_EQ(camera.query("select count(*) from UserAccount"), "4") << path;
    }
  }
  EXPECT_EQ(camera.get("/PSIA/%n%s%x%s%s%s"), status_answer("/PSIA/%n%s%x%s%s%s", 4));
  // Entity expansion, external entities, deep nesting, a body too large.
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<a>";
  const std::string bodies[] = {
      "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\"><!ENTITY lol2 "
      "\"&lol;&lol;&lol;&lol;&lol;\">]>"
      "<DeviceInfo><deviceName>&lol2;</deviceName></DeviceInfo>",
      "<?xml version=\"1.0\"?><!DOCTYPE d [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
      "<DeviceInfo><deviceName>&x;</deviceName></DeviceInfo>",
      "<DeviceInfo><deviceName>&undefined;</deviceName></DeviceInfo>",
      "<DeviceInfo>" + deep + "</DeviceInfo>",
      "<DeviceInfo><deviceName>" + std::string(2 << 20, 'x') + "</deviceName></DeviceInfo>",
  };
  const char* uri = "/PSIA/System/deviceInfo";
  for (const std::string& body : bodies) {
    EXPECT_EQ(camera.put(uri, body), status_answer(uri, 3)) << body.substr(0, 60);
    EXPECT_EQ(camera.query("select DDNSHostname from Network"), "camera-lobby");
  }
  // Entities the parser replaces itself, and CDATA, are text like any other.
  EXPECT_EQ(camera.put(uri, "<DeviceInfo><deviceName>a&amp;b&#65;<![CDATA[<c>]]><x>y</x>z</deviceName></DeviceInfo>"),
            status_answer(uri, 1));
  EXPECT_EQ(camera.query("select DDNSHostname from Network"), "a&bA<c>z");
}

}  // namespace
