// The Event branch: trigger, schedule, destinations, the whole document. No command goes to the control daemon.
#include <gtest/gtest.h>

#include "harness.h"

using namespace psia_test;

namespace {

// The Event table refusing every change, as a full or read-only database does.
const char kEventUnchangeable[] =
    "create trigger refuse before update on Event begin select raise(fail, 'read-only'); end";
const std::string kTriggers = "/PSIA/Custom/Event/triggers";
const std::string kSensor = kTriggers + "/Sensor-0";
const char kEventRow[] =
    "select MinTimeInterval, RelayID, FTPServerID, SMTPServerID, (select ControlDuration from Relay) from Event";

std::string notification(const std::string& id, const std::string& method, const std::string& relay = "") {
  return psia_element("EventTriggerNotification",
                      "<id>" + id + "</id><notificationMethod>" + method + "</notificationMethod>" + relay);
}
std::string notifications(const std::string& items) { return psia_element("EventTriggerNotificationList", items); }
std::string trigger(const std::string& notifications) {
  return psia_element("EventTrigger",
                      "<id>Sensor-0</id><eventType>IO</eventType><inputIOPortID>0</inputIOPortID>"
                      "<intervalBetweenEvents>10</intervalBetweenEvents>" +
                          notifications);
}
const std::string kSeededNotifications =
    notifications(notification("Relay-0", "IO",
                               "<notificationInterval>5000</notificationInterval><outputIOPortID>0</outputIOPortID>") +
                  notification("ftp-archive", "FTP") + notification("mail-security", "email"));
const std::string kSeededTrigger = trigger(kSeededNotifications);

std::string mailing(const char* id, const char* address, int port) {
  return psia_element("MailingNotification",
                      std::string("<id>") + id + "</id><authenticationMode>SMTP</authenticationMode>" + address +
                          "<portNo>" + std::to_string(port) +
                          "</portNo><accountName>camera</accountName><password>secret</password>");
}

TEST(Event, TriggerScheduleDestinationsAndTheWholeEvent) {
  const std::string event = "/PSIA/Custom/Event", uri = event + "/notification", mail = uri + "/mailing",
                    ftp = uri + "/ftp";
  const char* second =
      "insert into SMTPServer values (NULL, 'mail-2', '10.0.0.25', 'camera', 'secret', 587, '', '', '', '', 0)";
  const std::string first_mail =
      mailing("mail-security",
              "<addressingFormatType>hostname</addressingFormatType><hostName>mail.example.com</hostName>", 25);
  const std::string second_mail =
      mailing("mail-2", "<addressingFormatType>ipaddress</addressingFormatType><ipAddress>10.0.0.25</ipAddress>", 587);
  // The whole event and its notification methods; its trigger is the trigger's own document.
  const std::string all = golden("event.xml"),
                    open = "<EventNotification version=\"1.0\" xmlns=\"urn:psialliance-org\">";
  const std::string methods = all.substr(all.find("<EventNotificationMethods"));
  EXPECT_EQ(all.find(kDeclaration + open + psia_element("EventTriggerList", kSeededTrigger) + "<EventSchedule"), 0u);
  EXPECT_NE(test_camera("update Spec set max_sensor=0").get(event).find(open + "<EventSchedule"), std::string::npos);
  const char* mails = "select ServerName, ServerAddress, UserID, Password, Port from SMTPServer";
  const char* ftps = "select ServerName, ServerAddress, UserID, Password, Port, Path from FTPServer";
  const char* seeded_mail = "mail-security|mail.example.com|camera|secret|25";
  const char* seeded_ftp = "ftp-archive|192.168.1.5|camera|secret|21|/alarms";
  auto ok = [&](const char* method, const std::string& path, const std::string& body, const std::string& mail_rows,
                const std::string& ftp_rows) {
    return request(method, path, body).answers(1).leaves(mails, mail_rows).leaves(ftps, ftp_rows);
  };
  auto ftp_list = [](const std::string& items) { return "<FTPNotificationList>" + items + "</FTPNotificationList>"; };
  const char* plain = "update Event set RelayID=-1, FTPServerID=-1, SMTPServerID=-1; delete from Sensor";
  auto body = [](const std::string& inner) { return "<EventTrigger><id>Sen</id>" + inner + "</EventTrigger>"; };
  auto list = [](const std::string& items) {
    return "<EventTriggerNotificationList>" + items + "</EventTriggerNotificationList>";
  };
  auto item = [](const char* id, const char* method, const char* interval = "") {
    return std::string("<EventTriggerNotification><id>") + id + "</id><notificationMethod>" + method +
           "</notificationMethod>" + interval + "</EventTriggerNotification>";
  };
  auto stores = [](const std::string& method, const std::string& path, const std::string& b, const char* row) {
    return request(method, path, b).answers(1).leaves(kEventRow, row);
  };
  const char* sched = "/PSIA/Custom/Event/schedule";
  const char* row = "select Week, StartTime, EndTime from Event";
  auto block = [](int day, const char* begin, const char* end) {
    return "<TimeBlock><dayOfWeek>" + std::to_string(day) + "</dayOfWeek><TimeRange><beginTime>" + begin +
           "</beginTime><endTime>" + end + "</endTime></TimeRange></TimeBlock>";
  };
  auto schedule = [](const std::string& blocks) {
    return xml_answer(psia_element("EventSchedule", psia_element("TimeBlockList", blocks)));
  };
  auto arm = [&](const std::string& blocks, const char* stored) {
    return put(sched, "<EventSchedule><TimeBlockList>" + blocks + "</TimeBlockList></EventSchedule>")
        .answers(1)
        .leaves(row, stored);
  };
  // clang-format off
  run_cases({
      get(mail).after(second).answers(xml_answer(psia_element("MailingNotificationList", first_mail + second_mail))),
      get(mail + "/mail-2").after(second).answers(xml_answer(first_mail)),  // always the first server
      get(ftp + "/ftp-archive").answers(xml_answer(psia_element("FTPNotification", "<id>ftp-archive</id><addressingFormatType>ipaddress</addressingFormatType><ipAddress>192.168.1.5</ipAddress>"
                                                               "<portNo>21</portNo><userName>camera</userName><password>secret</password><uploadPath>/alarms</uploadPath>"))),
      get(ftp + "/none").answers(xml_answer(psia_element("FTPNotification", ""))),
      get(ftp).after("delete from FTPServer").answers(xml_answer(psia_element("FTPNotificationList", ""))),
      get(uri).answers(xml_answer(methods.substr(0, methods.size() - std::string("</EventNotification>").size()))),
      get(event).answers(document_answer(all)),
      ok("PUT", mail + "/anything", "<MailingNotification><id>mail-security</id><hostName>smtp.lan</hostName><accountName>mailer</accountName><password>it's</password></MailingNotification>",
         "mail-security|smtp.lan|mailer|it's|25", seeded_ftp),
      ok("PUT", ftp, ftp_list("<FTPNotification><id>ftp-archive</id><ipAddress>10.0.0.9</ipAddress><userName>up</userName><password>pw</password><portNo>2121</portNo><uploadPath>/x</uploadPath></FTPNotification><Other/>"),
         seeded_mail, "ftp-archive|10.0.0.9|up|pw|2121|/x"),
      ok("PUT", ftp + "/x", "<FTPNotification><id>ftp-archive</id></FTPNotification>", seeded_mail, "ftp-archive||||21|"),
      ok("POST", ftp, ftp_list("<FTPNotification><id>f2</id><ipAddress>10.0.0.2</ipAddress><userName>u2</userName><password>p2</password><uploadPath>/p</uploadPath></FTPNotification>"),
         seeded_mail, std::string(seeded_ftp) + "\nf2|10.0.0.2|u2|p2|21|/p"),
      ok("POST", mail, "<MailingNotificationList><MailingNotification><id>m2</id></MailingNotification></MailingNotificationList>", seeded_mail, seeded_ftp),  // the camera's statement adds nothing
      ok("PUT", uri, "<EventNotificationMethods>" + ftp_list("<FTPNotification><id>ftp-archive</id></FTPNotification>") +
         "<MailingNotificationList><MailingNotification><id>mail-security</id><portNo>587</portNo></MailingNotification></MailingNotificationList></EventNotificationMethods>",
         "mail-security||||587", "ftp-archive||||21|"),
      ok("DELETE", ftp + "/unknown", "", seeded_mail, seeded_ftp),
      ok("DELETE", mail + "/mail-security", "", "", seeded_ftp),
      ok("DELETE", ftp + "/ftp-archive", "", seeded_mail, ""),
      ok("DELETE", ftp, "", seeded_mail, ""),
      ok("DELETE", mail, "", "", seeded_ftp),
      put(mail, "<MailingNotification/>").answers(3).leaves(mails, seeded_mail),
      put(uri, "<EventNotification/>").answers(3),
      // At most three destinations of each kind.
      post(ftp, "<FTPNotificationList/>").after("insert into FTPServer values (NULL, 'b', 'h', 'u', 'p', 21, '/'), (NULL, 'c', 'h', 'u', 'p', 21, '/')").answers(3),
      post(mail, "<MailingNotificationList/>").after("insert into SMTPServer values (NULL, 'm2', '', '', '', 25, '', '', '', '', 0), (NULL, 'm3', '', '', '', 25, '', '', '', '', 0)").answers(3),
      // The whole event: each part applied; only a schedule that cannot be stored is reported.
      put(event, "<EventNotification><EventSchedule><TimeBlockList><TimeBlock><dayOfWeek>5</dayOfWeek><TimeRange><beginTime>07:00:00</beginTime><endTime>08:15:00</endTime></TimeRange>"
                 "</TimeBlock></TimeBlockList></EventSchedule><EventTriggerList><EventTrigger><intervalBetweenEvents>3</intervalBetweenEvents></EventTrigger></EventTriggerList>"
                 "<EventNotificationMethods><FTPNotificationList><FTPNotification><id>ftp-archive</id><portNo>99</portNo></FTPNotification></FTPNotificationList></EventNotificationMethods></EventNotification>").answers(1).leaves("select Week, StartTime, EndTime, MinTimeInterval, RelayID from Event", "32|700|1500|3|-1").leaves("select Port from FTPServer", "99"),
      put(event, "<EventNotification><EventSchedule/></EventNotification>").after(kEventUnchangeable).answers(3),
      put(event, "<EventNotification/>").after(kEventUnchangeable).answers(1),
      put(event, "<Event/>").answers(3),
      // The trigger with its one stored notification, and the schedule.
      get(kTriggers).answers(xml_answer(psia_element("EventTriggerList", kSeededTrigger))),
      get(kSensor).answers(xml_answer(kSeededTrigger)),
      // No sensor row: the list shows "Sensor-0" with no notifications.
      get(kTriggers).after(plain).answers(xml_answer(psia_element("EventTriggerList", trigger("")))),
      get(kSensor).after(plain).answers(4),
      get(kSensor + "/notifications").after(plain).answers(4),
      get(kTriggers).after("update Spec set max_sensor=0").answers(4),
      // A notification whose name is gone is left out.
      get(kSensor).after("delete from Relay; delete from FTPServer").answers(xml_answer(trigger(notifications(notification("mail-security", "email"))))),
      get(kSensor + "/notifications").answers(xml_answer(kSeededNotifications)),
      get(kSensor + "/notifications/ftp-archive").answers(xml_answer(notification("ftp-archive", "FTP"))),
      get(kSensor + "/notifications/nothing").answers(3),
      // Only the alarm input's trigger is stored, with one notification.
      stores("PUT", kSensor, body("<intervalBetweenEvents>30</intervalBetweenEvents>" + list(item("Relay-0", "io", "<notificationInterval>1999</notificationInterval>"))), "30|0|-1|-1|1"),
      stores("PUT", kSensor, body(list(item("Relay-0", "IO") + item("ftp-archive", "FTP"))), "5|-1|1|-1|5"),
      stores("PUT", kSensor, body(list(item("mail-security", "SMTP"))), "5|-1|-1|1|5"),
      stores("PUT", kSensor, body(list(item("mail-security", "email"))), "5|-1|-1|-1|5"),
      stores("PUT", kSensor, body(list(item("nobody", "FTP"))), "5|-1|-1|-1|5"),
      stores("PUT", kSensor, body(""), "5|-1|-1|-1|5"),
      stores("PUT", kTriggers + "/Sensor-9", body(""), "10|0|1|1|5"),  // not the alarm input
      stores("PUT", kTriggers, "<EventTriggerList><EventTrigger><intervalBetweenEvents>7</intervalBetweenEvents></EventTrigger></EventTriggerList>", "7|-1|-1|-1|5"),
      stores("DELETE", kSensor, "", "10|-1|-1|-1|5"),
      stores("DELETE", kTriggers, "", "10|-1|-1|-1|5"),
      stores("PUT", kSensor + "/notifications", list(item("ftp-archive", "FTP")), "10|-1|1|-1|5"),
      stores("POST", kSensor + "/notifications", item("Relay-0", "IO"), "10|0|-1|-1|5"),
      stores("PUT", kSensor + "/notifications/ftp-archive", item("other", "FTP"), "10|-1|1|-1|5"),
      stores("DELETE", kSensor + "/notifications/ftp-archive", "", "10|-1|-1|-1|5"),
      stores("DELETE", kSensor + "/notifications/unknown", "", "10|0|1|1|5"),
      stores("DELETE", kSensor + "/notifications", "", "10|-1|-1|-1|5"),
      put(kSensor, "<Trigger/>").answers(3).leaves(kEventRow, "10|0|1|1|5"),
      put(kSensor, "<EventTrigger>").answers(3),
      post(kTriggers, "<EventTrigger/>").answers(4),
      // The schedule, by the camera's rules.
      get(sched).after("update Event set Week=65, StartTime=900, EndTime=1830").answers(schedule(block(7, "09:00:00", "18:30:00") + block(6, "09:00:00", "18:30:00"))),
      get(sched).after("delete from Event").answers(schedule("")),
      arm(block(3, "08:00:00", "17:45:00"), "8|800|4500"),  // the end is read from the minutes
      arm(block(1, "08:00:00", "09:00:00") + block(2, "10:00:00", "11:00:00"), "4|800|0"),
      arm("<TimeBlock><dayOfWeek>2</dayOfWeek><bitString>000000001111111100000000</bitString></TimeBlock>", "4|1500|900"),
      arm("<TimeBlock><dayOfWeek>1</dayOfWeek><bitString>000000000000000000000001</bitString></TimeBlock>", "2|2300|2400"),
      arm("<TimeBlock><dayOfWeek>7</dayOfWeek><bitString>111</bitString></TimeBlock>", "1|2400|0"),  // dropped
      arm("", "0|2400|0"),
      arm(block(9, "01:00:00", "02:00:00"), "0|2400|0"),  // no such day
      arm(block(0, "01:00:00", "02:00:00"), "0|2400|0"),
      arm(block(7, "06:00:00", "07:30:00"), "1|600|3000"),
      // Hours beyond any clock: a begin past 24 is not taken; the end is bounded so the stored time cannot overflow.
      arm(block(6, "99999999:00:00", "00:99999999"), "64|2400|2147483600"),
      put(sched, "<Schedule/>").answers(3),
      put(sched, "<EventSchedule/>").after(kEventUnchangeable).answers(3),
  });
  // clang-format on
}

}  // namespace
