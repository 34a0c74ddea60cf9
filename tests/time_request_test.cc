// Request-level tests of the time, time zone and NTP server resources.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n";
const char kTextType[] = "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n";

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Time, TimeDocumentReportsModeClockAndZone) {
  struct Case {
    const char* sql;
    const char* mode;
    const char* zone;
  } cases[] = {
      {"", "NTP", "CET-1CEST,M3.5.0,M10.5.0/3"},  // Europe/Berlin's zone file
      {"update DateTime set DateTimeSync=1, TimeZone='CST-0';", "manual", "CST-0"},
      {"update DateTime set TimeZone='No/Such_Zone';", "NTP", "GMT0"},
      {"update DateTime set TimeZone='../../../etc/passwd';", "NTP", "GMT0"},
      {"update DateTime set TimeZone='Europe';", "NTP", "GMT0"},  // a directory
      {"delete from DateTime;", "manual", "GMT0"},
  };
  for (const Case& c : cases) {
    Camera camera(c.sql);
    std::string out = camera.get("/PSIA/System/time").out;
    std::string head = std::string("Content-Type: application/xml; charset=\"UTF-8\"\r\n\r\n"
                                   "<Time version=\"1.0\" xmlns=\"urn:psialliance-org\"><timeMode>") +
                       c.mode + "</timeMode><localTime>20";
    EXPECT_TRUE(has(out, head)) << out;
    EXPECT_TRUE(has(out, std::string("</localTime><timeZone>") + c.zone + "</timeZone></Time>"))
        << out;
    EXPECT_EQ(out.size() - out.find("\r\n\r\n") - 4,
              std::stoul(out.substr(sizeof "Content-Length: " - 1)));
  }
}

TEST(Time, TimeZoneDocumentIsTheBareZone) {
  struct Case {
    const char* sql;
    const char* zone;
  } cases[] = {
      {"", "CET-1CEST,M3.5.0,M10.5.0/3"},
      {"update DateTime set TimeZone='Japan';", "JST-9"},
      {"update DateTime set TimeZone='CST-0';", "CST-0"},
      {"delete from DateTime;", "GMT0"},
  };
  for (const Case& c : cases) {
    Camera camera(c.sql);
    EXPECT_EQ(camera.get("/PSIA/System/time/timeZone").out, document_answer(c.zone, kTextType));
  }
}

TEST(Time, ManualTimeIsSentNormalised) {
  Camera camera("", {"--status", "6=2"});
  const char uri[] = "/PSIA/System/time";
  EXPECT_EQ(camera.put(uri, "<Time><timeMode>manual</timeMode>"
                            "<localTime>2010-02-30T25:00:00</localTime>"
                            "<timeZone>UTC0</timeZone></Time>").out,
            status_answer(uri, 2));
  std::vector<SimCommand> sent = camera.sim().commands();
  ASSERT_EQ(sent.size(), 1u);
  const SimCommand& c = sent[0];
  EXPECT_EQ(c.code, 6);
  EXPECT_EQ(c.int_at(0), 0);
  EXPECT_EQ(c.text_at(4, 128), "pool.ntp.org");
  EXPECT_EQ(c.int_at(132), 24);
  int expected[] = {2010, 3, 3, 1, 0, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(c.int_at(136 + 4 * i), expected[i]) << i;
}

TEST(Time, PutTimeChecksTheZoneAndDefaultsToNtp) {
  const char uri[] = "/PSIA/System/time";
  Camera camera;
  EXPECT_EQ(camera.put(uri, "<time><localTime>1999-01-01T00:00:00</localTime></time>").out,
            status_answer(uri, 1));
  ASSERT_EQ(camera.sim().commands().size(), 1u);
  EXPECT_EQ(camera.sim().commands()[0].int_at(0), 2);       // NTP
  EXPECT_GE(camera.sim().commands()[0].int_at(136), 2025);  // the current time, not the body's
  const std::string too_long = "<Time><timeZone>EST5EDT" + std::string(60, 'X') + "</timeZone></Time>";
  for (const std::string& body : {std::string("<Time><timeZone>EST</timeZone></Time>"),
                                  std::string("<Clock/>"), std::string("<Time>"), too_long}) {
    EXPECT_EQ(camera.put(uri, body).out, status_answer(uri, 3)) << body;
  }
  EXPECT_EQ(camera.sim().commands().size(), 1u);
}

TEST(Time, LocalTimeIsIgnoredUnderNtp) {
  const char uri[] = "/PSIA/System/time/localTime";
  Camera ntp;
  EXPECT_EQ(ntp.put(uri, "2011-05-06T07:08:09").out, status_answer(uri, 1));
  EXPECT_TRUE(ntp.sim().commands().empty());

  Camera manual("update DateTime set DateTimeSync=0;");
  EXPECT_EQ(manual.put(uri, "2011-05-06T07:08:09").out, status_answer(uri, 1));
  ASSERT_EQ(manual.sim().commands().size(), 1u);
  EXPECT_EQ(manual.sim().commands()[0].int_at(136), 2011);
  EXPECT_EQ(manual.sim().commands()[0].int_at(156), 9);

  Camera broken("delete from DateTime;");
  EXPECT_EQ(broken.put(uri, "2011-05-06T07:08:09").out, status_answer(uri, 3));
}

TEST(Time, TimeZoneIsChosenFromTheTable) {
  const char uri[] = "/PSIA/System/time/timeZone";
  struct Case {
    const char* body;
    const char* stored;  // null: refused
  } cases[] = {{"JST-9", "Japan"}, {"EST5", "EST"}, {"est5edt", "EST5EDT"},
               {"Africa/Cairo", "Africa/Cairo"}, {"XYZ4", nullptr}};
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.put(uri, c.body).out, status_answer(uri, c.stored ? 1 : 3)) << c.body;
    EXPECT_EQ(camera.query("select TimeZone from DateTime"),
              c.stored ? c.stored : "Europe/Berlin");
    if (c.stored) {
      EXPECT_EQ(camera.sim().commands().at(0).text_at(0, 48), c.stored);
    }
  }
}

std::string ntp_server(bool list, const char* kind, const char* element, const char* value) {
  std::string pad = list ? "" : "    ";
  std::string body = pad + "<id>1</id>" + pad + "<addressingFormatType>" + kind +
                     "</addressingFormatType>" + pad + "<" + element + ">" + value + "</" +
                     element + ">" + pad + "<portNo>123</portNo>";
  if (list)
    return std::string(kDeclaration) +
           "<NTPServerList version=\"1.0\" xmlns=\"urn:psialliance-org\">"
           "<NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">" +
           body + "</NTPServer></NTPServerList>";
  return std::string(kDeclaration) +
         "  <NTPServer version=\"1.0\" xmlns=\"urn:psialliance-org\">" + body + "  </NTPServer>";
}

TEST(Ntp, DocumentsShowTheOneServer) {
  struct Case {
    const char* sql;
    const char* kind;
    const char* element;
    const char* value;
  } cases[] = {
      {"", "hostname", "hostName", "pool.ntp.org"},
      {"update DateTime set NTPServerName='192.168.0.1';", "ipaddress", "ipAddress",
       "192.168.0.1"},
      {"update DateTime set NTPServerName='ntp-1.example.com.and.a.long.tail';", "hostname",
       "hostName", "ntp-1.example.com.and.a.long.ta"},
      {"delete from DateTime;", "hostname", "hostName", "pool.ntp.org"},
  };
  for (const Case& c : cases) {
    Camera camera(c.sql);
    EXPECT_EQ(camera.get("/PSIA/System/time/ntpServers").out,
              document_answer(ntp_server(true, c.kind, c.element, c.value), kXmlUtf8Type));
    EXPECT_EQ(camera.get("/PSIA/System/time/ntpServers/7").out,
              document_answer(ntp_server(false, c.kind, c.element, c.value), kXmlUtf8Type));
  }
}

TEST(Ntp, ChangesStoreTheSelectedField) {
  struct Case {
    const char* method;
    const char* uri;
    const char* body;
    const char* stored;
    int answer;
  } cases[] = {
      {"PUT", "/PSIA/System/time/ntpServers/1",
       "<NTPServer><addressingFormatType>ipaddress</addressingFormatType>"
       "<ipAddress>10.0.0.1</ipAddress></NTPServer>",
       "10.0.0.1", 1},
      {"PUT", "/PSIA/System/time/ntpServers/1", "<NTPServer><hostName>time.lan</hostName>"
                                                 "</NTPServer>",
       "time.lan", 1},
      {"PUT", "/PSIA/System/time/ntpServers/1",
       "<NTPServer><addressingFormatType>hostname</addressingFormatType>"
       "<hostName>time.lan</hostName></NTPServer>",
       "", 1},
      {"POST", "/PSIA/System/time/ntpServers", "<ntpserver><hostName>o'clock</hostName>"
                                               "</ntpserver>",
       "o'clock", 1},
      {"PUT", "/PSIA/System/time/ntpServers",
       "<NTPServerList><NTPServer><hostName>a.lan</hostName></NTPServer><NTPServer/>"
       "<NTPServer><addressingFormatType>NTP</addressingFormatType><hostName>b.lan</hostName>"
       "</NTPServer></NTPServerList>",
       "b.lan", 1},
      {"PUT", "/PSIA/System/time/ntpServers", "<NTPServer/>", "pool.ntp.org", 3},
      {"DELETE", "/PSIA/System/time/ntpServers/1", "", "pool.ntp.org", 1},
      {"DELETE", "/PSIA/System/time/ntpServers", "", "pool.ntp.org", 1},
  };
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.send(c.method, c.uri, c.body).out, status_answer(c.uri, c.answer)) << c.body;
    EXPECT_EQ(camera.query("select NTPServerName from DateTime"), c.stored) << c.body;
    EXPECT_TRUE(camera.sim().commands().empty());
  }
}

}  // namespace
