// Hostile texts in every request field that reaches a statement, a format
// or the XML parser: nothing is admitted, no statement changes meaning,
// values are stored as sent (cut to their fields), and every answer keeps
// its framing.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

const char* const kHostile[] = {
    "' or '1'='1",
    "x'); drop table UserAccount; --",
    "%n%n%s%s%x%d",
    "admin' --",
    "\"; delete from Preset; \"",
    "long-AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
};

std::string xml_escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '<') out += "&lt;";
    else if (c == '&') out += "&amp;";
    else if (c == '"') out += "&quot;";
    else out += c;
  }
  return out;
}

// A Content-Length answer carries exactly that many bytes.
void expect_well_framed(const ProcessResult& answer, const std::string& what) {
  const std::string& out = answer.out;
  EXPECT_EQ(answer.exit_status, 0) << what;
  if (out.rfind("Content-Length: ", 0) != 0) return;
  size_t end = out.find("\r\n\r\n");
  ASSERT_NE(end, std::string::npos) << what;
  EXPECT_EQ(std::stoul(out.substr(16)), out.size() - end - 4) << what;
}

struct Field {
  const char* name;
  const char* method;
  const char* uri;
  const char* body;   // %V stands for the hostile value, XML-escaped
  const char* query;  // the stored value ("" when nothing is stored)
};

const Field kFields[] = {
    {"new user name", "POST", "/PSIA/Security/AAA/users",
     "<User><userName>%V</userName><password>p</password></User>",
     "select UserID from UserAccount where rowid=(select max(rowid) from UserAccount)"},
    {"password", "PUT", "/PSIA/Security/AAA/users/guest", "<User><password>%V</password></User>",
     "select Password from UserAccount where UserID='guest'"},
    {"NTP server", "PUT", "/PSIA/System/time/ntpServers/1",
     "<NTPServer><hostName>%V</hostName></NTPServer>", "select NTPServerName from DateTime"},
    {"device name", "PUT", "/PSIA/System/deviceInfo",
     "<DeviceInfo><deviceName>%V</deviceName></DeviceInfo>", "select DDNSHostname from Network"},
    {"preset name", "PUT", "/PSIA/PTZ/channels/0/presets/1",
     "<PTZPreset><id>1</id><presetName>%V</presetName></PTZPreset>",
     "select PresetAlias from Preset where Sequence=1"},
    {"mail password", "PUT", "/PSIA/Custom/Event/notification/mailing/x",
     "<MailingNotification><id>mail-security</id><password>%V</password></MailingNotification>",
     "select Password from SMTPServer"},
    {"FTP server name", "POST", "/PSIA/Custom/Event/notification/ftp",
     "<FTPNotificationList><FTPNotification><id>%V</id></FTPNotification></FTPNotificationList>",
     "select ServerName from FTPServer where FTPServerID=2"},
    {"address", "PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress",
     "<IPAddress><ipVersion>v4</ipVersion><addressingType>static</addressingType>"
     "<ipAddress>%V</ipAddress></IPAddress>",
     "select IpAddress from Network"},
    {"trigger notification name", "PUT", "/PSIA/Custom/Event/triggers/Sensor-0",
     "<EventTrigger><EventTriggerNotificationList><EventTriggerNotification><id>%V</id>"
     "<notificationMethod>FTP</notificationMethod></EventTriggerNotification>"
     "</EventTriggerNotificationList></EventTrigger>",
     ""},
};

TEST(Injection, TextsAreStoredAsSentAndChangeNoStatement) {
  for (const Field& f : kFields) {
    for (const char* hostile : kHostile) {
      Camera camera;
      std::string schema = camera.query("select group_concat(sql) from sqlite_master");
      std::string body = f.body;
      body.replace(body.find("%V"), 2, xml_escaped(hostile));
      std::string what = std::string(f.name) + ": " + hostile;
      expect_well_framed(camera.send(f.method, f.uri, body), what);
      EXPECT_EQ(camera.query("select group_concat(sql) from sqlite_master"), schema) << what;
      EXPECT_EQ(camera.query("select count(*) from UserAccount where UserID in "
                             "('admin', 'anonymous')"),
                "2")
          << what;
      EXPECT_EQ(camera.query("select count(*) from Preset"), "2") << what;
      if (*f.query == '\0') continue;
      std::string stored = camera.query(f.query);
      EXPECT_FALSE(stored.empty()) << what;
      EXPECT_EQ(std::string(hostile).rfind(stored, 0), 0u) << what << " stored as " << stored;
    }
  }
}

TEST(Injection, PathsAndHeadersAdmitNothing) {
  Camera camera;
  for (const char* hostile : kHostile) {
    Request login;
    login.uri = "/PSIA/index";
    login.authorization = basic_authorization(hostile, hostile);
    EXPECT_EQ(camera.request(login).out.rfind("Status: 401", 0), 0u) << hostile;
    login.authorization = basic_authorization("admin", hostile);
    EXPECT_EQ(camera.request(login).out.rfind("Status: 401", 0), 0u) << hostile;
  }
  const char* const paths[] = {
      "/PSIA/%n%s%x%s%s%s",
      "/PSIA/Security/AAA/users/x' or '1'='1",
      "/PSIA/Custom/Event/triggers/x' or '1'='1",
      "/PSIA/Custom/Event/notification/ftp/x' or '1'='1",
      "/PSIA/Custom/Event/triggers/Sensor-0/notifications/%s%n",
  };
  for (const char* path : paths) {
    for (const char* method : {"GET", "DELETE"}) {
      expect_well_framed(camera.send(method, path, "", "MODE=%n%s&PAN=%s"),
                         std::string(method) + " " + path);
      EXPECT_EQ(camera.query("select count(*) from FTPServer"), "1") << path;
      EXPECT_EQ(camera.query("select count(*) from UserAccount"), "4") << path;
    }
  }
  EXPECT_EQ(camera.get("/PSIA/%n%s%x%s%s%s").out, status_answer("/PSIA/%n%s%x%s%s%s", 4));
}

TEST(Injection, XmlTricksAreRefused) {
  const std::string laughs =
      "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\">"
      "<!ENTITY lol2 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">"
      "<!ENTITY lol3 \"&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;\">]>"
      "<DeviceInfo><deviceName>&lol3;</deviceName></DeviceInfo>";
  const std::string external =
      "<?xml version=\"1.0\"?><!DOCTYPE d [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
      "<DeviceInfo><deviceName>&x;</deviceName></DeviceInfo>";
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<a>";
  const std::string bodies[] = {laughs, external, "<DeviceInfo>" + deep + "</DeviceInfo>",
                                "<DeviceInfo><deviceName>" + std::string(2 << 20, 'x') +
                                    "</deviceName></DeviceInfo>"};
  const char uri[] = "/PSIA/System/deviceInfo";
  for (const std::string& body : bodies) {
    Camera camera;
    EXPECT_EQ(camera.put(uri, body).out, status_answer(uri, 3)) << body.substr(0, 60);
    EXPECT_EQ(camera.query("select DDNSHostname from Network"), "camera-lobby");
  }
}

}  // namespace
