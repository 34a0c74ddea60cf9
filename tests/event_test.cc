// Request-level tests of the event branch: the trigger and its
// notifications, the schedule, the notification destinations and the
// combined event document.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n";
const char kNs[] = " version=\"1.0\" xmlns=\"urn:psialliance-org\"";

std::string notification(const std::string& id, const std::string& method,
                         const std::string& relay_part = "") {
  return std::string("<EventTriggerNotification") + kNs + "><id>" + id +
         "</id><notificationMethod>" + method + "</notificationMethod>" + relay_part +
         "</EventTriggerNotification>";
}

// The demo camera's trigger: relay, FTP and mail notifications.
std::string seeded_trigger(const std::string& id) {
  return std::string("<EventTrigger") + kNs + "><id>" + id +
         "</id><eventType>IO</eventType><inputIOPortID>0</inputIOPortID>"
         "<intervalBetweenEvents>10</intervalBetweenEvents><EventTriggerNotificationList" +
         kNs + ">" +
         notification("Relay-0", "IO",
                      "<notificationInterval>5000</notificationInterval>"
                      "<outputIOPortID>0</outputIOPortID>") +
         notification("ftp-archive", "FTP") + notification("mail-security", "email") +
         "</EventTriggerNotificationList></EventTrigger>";
}

TEST(EventTrigger, Documents) {
  Camera camera;
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/triggers").out,
            document_answer(kDeclaration + std::string("<EventTriggerList") + kNs + ">" +
                            seeded_trigger("Sensor-0") + "</EventTriggerList>"));
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/triggers/Sensor-0").out,
            document_answer(kDeclaration + seeded_trigger("Sensor-0")));

  Camera plain("update Event set RelayID=-1, FTPServerID=-1, SMTPServerID=-1;"
               "delete from Sensor;");
  EXPECT_EQ(plain.get("/PSIA/Custom/Event/triggers").out,
            document_answer(kDeclaration + std::string("<EventTriggerList") + kNs +
                            "><EventTrigger" + kNs +
                            "><id>Sensor-0</id><eventType>IO</eventType><inputIOPortID>0"
                            "</inputIOPortID><intervalBetweenEvents>10</intervalBetweenEvents>"
                            "</EventTrigger></EventTriggerList>"));
  for (const char* uri : {"/PSIA/Custom/Event/triggers/Sensor-0",
                          "/PSIA/Custom/Event/triggers/Sensor-0/notifications"}) {
    EXPECT_EQ(plain.get(uri).out, status_answer(uri, 4)) << uri;  // no such input
  }
  Camera none("update Spec set max_sensor=0;");
  EXPECT_EQ(none.get("/PSIA/Custom/Event/triggers").out,
            status_answer("/PSIA/Custom/Event/triggers", 4));
}

std::string event_row(Camera& camera) {
  return camera.query("select MinTimeInterval||','||RelayID||','||FTPServerID||','||"
                      "SMTPServerID||' relay '||(select ControlDuration from Relay) from Event");
}

TEST(EventTrigger, UpdatesStoreOneNotification) {
  const std::string one = "/PSIA/Custom/Event/triggers/Sensor-0";
  auto body = [](const std::string& inner) {
    return "<EventTrigger><id>Sen</id>" + inner + "</EventTrigger>";
  };
  auto list = [](const std::string& notifications) {
    return "<EventTriggerNotificationList>" + notifications + "</EventTriggerNotificationList>";
  };
  auto item = [](const char* id, const char* method, const char* interval = "") {
    return std::string("<EventTriggerNotification><id>") + id + "</id><notificationMethod>" +
           method + "</notificationMethod>" + interval + "</EventTriggerNotification>";
  };
  struct Case {
    const char* method;
    std::string uri;
    std::string body;
    const char* row;
  } cases[] = {
      {"PUT", one,
       body("<intervalBetweenEvents>30</intervalBetweenEvents>" +
            list(item("Relay-0", "io", "<notificationInterval>1999</notificationInterval>"))),
       "30,0,-1,-1 relay 1"},
      {"PUT", one, body(list(item("Relay-0", "IO") + item("ftp-archive", "FTP"))),
       "5,-1,1,-1 relay 5"},
      {"PUT", one, body(list(item("mail-security", "SMTP"))), "5,-1,-1,1 relay 5"},
      {"PUT", one, body(list(item("mail-security", "email"))), "5,-1,-1,-1 relay 5"},
      {"PUT", one, body(""), "5,-1,-1,-1 relay 5"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-9", body(""), "10,0,1,1 relay 5"},
      {"PUT", "/PSIA/Custom/Event/triggers",
       "<EventTriggerList><EventTrigger><intervalBetweenEvents>7</intervalBetweenEvents>"
       "</EventTrigger></EventTriggerList>",
       "7,-1,-1,-1 relay 5"},
      {"DELETE", one, "", "10,-1,-1,-1 relay 5"},
      {"PUT", one + "/notifications", list(item("ftp-archive", "FTP")), "10,-1,1,-1 relay 5"},
      {"POST", one + "/notifications", item("Relay-0", "IO"), "10,0,-1,-1 relay 5"},
      {"PUT", one + "/notifications/ftp-archive", item("other", "FTP"), "10,-1,1,-1 relay 5"},
      {"DELETE", one + "/notifications/ftp-archive", "", "10,-1,-1,-1 relay 5"},
      {"DELETE", one + "/notifications/unknown", "", "10,0,1,1 relay 5"},
  };
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.send(c.method, c.uri, c.body).out, status_answer(c.uri, 1))
        << c.method << " " << c.uri << " " << c.body;
    EXPECT_EQ(event_row(camera), c.row) << c.method << " " << c.uri << " " << c.body;
    EXPECT_TRUE(camera.sim().commands().empty());
  }
  Camera camera;
  for (const char* wrong : {"<Trigger/>", "<EventTrigger>"}) {
    EXPECT_EQ(camera.send("PUT", one, wrong).out, status_answer(one, 3));
  }
  EXPECT_EQ(camera.send("POST", "/PSIA/Custom/Event/triggers", "<EventTrigger/>").out,
            status_answer("/PSIA/Custom/Event/triggers", 4));
}

TEST(EventTrigger, NotificationResources) {
  Camera camera;
  const std::string base = "/PSIA/Custom/Event/triggers/Sensor-0/notifications";
  std::string out = camera.get(base).out;
  EXPECT_NE(out.find(std::string("<EventTriggerNotificationList") + kNs +
                     "><EventTriggerNotification" + kNs + "><id>Relay-0</id>"),
            std::string::npos);
  EXPECT_EQ(camera.get(base + "/ftp-archive").out,
            document_answer(kDeclaration + notification("ftp-archive", "FTP")));
  EXPECT_EQ(camera.get(base + "/nothing").out, status_answer(base + "/nothing", 3));
}

std::string schedule_block(int day, const char* begin, const char* end) {
  return "<TimeBlock><dayOfWeek>" + std::to_string(day) + "</dayOfWeek><TimeRange><beginTime>" +
         begin + "</beginTime><endTime>" + end + "</endTime></TimeRange></TimeBlock>";
}

TEST(EventSchedule, DocumentShowsEveryArmedDay) {
  Camera camera("update Event set Week=65, StartTime=900, EndTime=1830;");
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/schedule").out,
            document_answer(kDeclaration + std::string("<EventSchedule") + kNs +
                            "><TimeBlockList" + kNs + ">" +
                            schedule_block(7, "09:00:00", "18:30:00") +
                            schedule_block(6, "09:00:00", "18:30:00") +
                            "</TimeBlockList></EventSchedule>"));
}

TEST(EventSchedule, UpdatesKeepTheCamerasRules) {
  auto body = [](const std::string& blocks) {
    return "<EventSchedule><TimeBlockList>" + blocks + "</TimeBlockList></EventSchedule>";
  };
  struct Case {
    std::string body;
    const char* row;  // Week,StartTime,EndTime
  } cases[] = {
      {body(schedule_block(3, "08:00:00", "17:45:00")), "8,800,4500"},
      {body(schedule_block(1, "08:00:00", "09:00:00") + schedule_block(2, "10:00:00", "11:00:00")),
       "4,800,0"},  // ends are read from the minutes field
      {body("<TimeBlock><dayOfWeek>2</dayOfWeek><bitString>000000001111111100000000</bitString>"
            "</TimeBlock>"),
       "4,1500,900"},
      {body(""), "0,2400,0"},
      {body(schedule_block(9, "01:00:00", "02:00:00")), "0,2400,0"},  // no such day
      {body(schedule_block(7, "06:00:00", "07:30:00")), "1,600,3000"},
  };
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.send("PUT", "/PSIA/Custom/Event/schedule", c.body).out,
              status_answer("/PSIA/Custom/Event/schedule", 1))
        << c.body;
    EXPECT_EQ(camera.query("select Week||','||StartTime||','||EndTime from Event"), c.row)
        << c.body;
  }
}

std::string mailing(const char* id, const char* address_pair, int port) {
  return std::string("<MailingNotification") + kNs + "><id>" + id +
         "</id><authenticationMode>SMTP</authenticationMode>" + address_pair + "<portNo>" +
         std::to_string(port) + "</portNo><accountName>camera</accountName>"
                                "<password>secret</password></MailingNotification>";
}

TEST(EventNotification, DestinationDocuments) {
  Camera camera("insert into SMTPServer values (NULL, 'mail-2', '10.0.0.25', 'camera', "
                "'secret', 587, '', '', '', '', 0);");
  const std::string first = mailing(
      "mail-security",
      "<addressingFormatType>hostname</addressingFormatType><hostName>mail.example.com"
      "</hostName>",
      25);
  const std::string second = mailing(
      "mail-2",
      "<addressingFormatType>ipaddress</addressingFormatType><ipAddress>10.0.0.25</ipAddress>",
      587);
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/notification/mailing").out,
            document_answer(kDeclaration + std::string("<MailingNotificationList") + kNs + ">" +
                            first + second + "</MailingNotificationList>"));
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/notification/mailing/mail-2").out,
            document_answer(kDeclaration + first));  // always the first server
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/notification/ftp/ftp-archive").out,
            document_answer(kDeclaration + std::string("<FTPNotification") + kNs +
                            "><id>ftp-archive</id><addressingFormatType>ipaddress"
                            "</addressingFormatType><ipAddress>192.168.1.5</ipAddress><portNo>21"
                            "</portNo><userName>camera</userName><password>secret</password>"
                            "<uploadPath>/alarms</uploadPath></FTPNotification>"));
  EXPECT_EQ(camera.get("/PSIA/Custom/Event/notification/ftp/none").out,
            document_answer(kDeclaration + std::string("<FTPNotification") + kNs +
                            "></FTPNotification>"));
  std::string all = camera.get("/PSIA/Custom/Event/notification").out;
  EXPECT_NE(all.find(second + "</MailingNotificationList><FTPNotificationList"),
            std::string::npos);
  EXPECT_NE(all.find("</FTPNotificationList><FTPFormat><uploadSnapShotEnabled>false"
                     "</uploadSnapShotEnabled><uploadVideoClipEnabled>true"
                     "</uploadVideoClipEnabled></FTPFormat><MediaFormat><snapShotImageType>JPEG"
                     "</snapShotImageType><videoClipFormatType>264</videoClipFormatType>"
                     "</MediaFormat></EventNotificationMethods>"),
            std::string::npos);
}

TEST(EventNotification, DestinationChanges) {
  const std::string mail = "/PSIA/Custom/Event/notification/mailing";
  const std::string ftp = "/PSIA/Custom/Event/notification/ftp";
  struct Case {
    const char* method;
    std::string uri;
    std::string body;
    int answer;
    const char* mail_rows;  // ServerName:Port:Password, in order
    const char* ftp_rows;
  } cases[] = {
      {"PUT", mail + "/anything",
       "<MailingNotification><id>mail-security</id><hostName>smtp.lan</hostName>"
       "<password>it's</password></MailingNotification>",
       1, "mail-security:25:it's", "ftp-archive:21:secret"},
      {"PUT", ftp,
       "<FTPNotificationList><FTPNotification><id>ftp-archive</id><portNo>2121</portNo>"
       "<uploadPath>/x</uploadPath></FTPNotification><Other/></FTPNotificationList>",
       1, "mail-security:25:secret", "ftp-archive:2121:"},
      {"POST", ftp,
       "<FTPNotificationList><FTPNotification><id>f2</id><ipAddress>10.0.0.2</ipAddress>"
       "</FTPNotification></FTPNotificationList>",
       1, "mail-security:25:secret", "ftp-archive:21:secret f2:21:"},
      {"POST", mail,
       "<MailingNotificationList><MailingNotification><id>m2</id></MailingNotification>"
       "</MailingNotificationList>",
       1, "mail-security:25:secret", "ftp-archive:21:secret"},  // the camera adds none
      {"PUT", "/PSIA/Custom/Event/notification",
       "<EventNotificationMethods><FTPNotificationList><FTPNotification><id>ftp-archive</id>"
       "</FTPNotification></FTPNotificationList></EventNotificationMethods>",
       1, "mail-security:25:secret", "ftp-archive:21:"},
      {"DELETE", ftp + "/unknown", "", 1, "mail-security:25:secret", "ftp-archive:21:secret"},
      {"DELETE", mail + "/mail-security", "", 1, "", "ftp-archive:21:secret"},
      {"DELETE", ftp, "", 1, "mail-security:25:secret", ""},
      {"PUT", mail, "<MailingNotification/>", 3, "mail-security:25:secret",
       "ftp-archive:21:secret"},
  };
  for (const Case& c : cases) {
    Camera camera;
    EXPECT_EQ(camera.send(c.method, c.uri, c.body).out, status_answer(c.uri, c.answer))
        << c.method << " " << c.uri;
    auto rows = [&](const char* table) {
      return camera.query(std::string("select group_concat(ServerName||':'||Port||':'||"
                                      "Password, ' ') from ") + table);
    };
    EXPECT_EQ(rows("SMTPServer"), c.mail_rows) << c.method << " " << c.uri;
    EXPECT_EQ(rows("FTPServer"), c.ftp_rows) << c.method << " " << c.uri;
  }
  Camera full("insert into FTPServer values (NULL, 'b', 'h', 'u', 'p', 21, '/');"
              "insert into FTPServer values (NULL, 'c', 'h', 'u', 'p', 21, '/');");
  EXPECT_EQ(full.send("POST", ftp, "<FTPNotificationList/>").out, status_answer(ftp, 3));
}

TEST(EventDocument, CombinesTheParts) {
  Camera camera;
  std::string out = camera.get("/PSIA/Custom/Event").out;
  EXPECT_NE(out.find(std::string("<EventNotification") + kNs + "><EventTriggerList" + kNs +
                     ">" + seeded_trigger("Sensor-0") + "</EventTriggerList><EventSchedule"),
            std::string::npos);
  EXPECT_NE(out.find("</EventSchedule><EventNotificationMethods"), std::string::npos);
  const std::string end = "</EventNotificationMethods></EventNotification>";
  EXPECT_EQ(out.substr(out.size() - end.size()), end);

  EXPECT_EQ(camera.send("PUT", "/PSIA/Custom/Event",
                 "<EventNotification><EventSchedule><TimeBlockList>" +
                     schedule_block(5, "07:00:00", "08:15:00") +
                     "</TimeBlockList></EventSchedule><EventTriggerList><EventTrigger>"
                     "<intervalBetweenEvents>3</intervalBetweenEvents></EventTrigger>"
                     "</EventTriggerList></EventNotification>").out,
            status_answer("/PSIA/Custom/Event", 1));
  EXPECT_EQ(camera.query("select Week||','||StartTime||','||EndTime||','||MinTimeInterval "
                         "from Event"),
            "32,700,1500,3");
}

}  // namespace
