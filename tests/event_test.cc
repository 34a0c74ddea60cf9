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

const std::string kEvent = "/PSIA/Custom/Event", kMethods = kEvent + "/notification", kMail = kMethods + "/mailing",
                  kFtp = kMethods + "/ftp";
const char kMails[] = "select ServerName, ServerAddress, UserID, Password, Port from SMTPServer";
const char kFtps[] = "select ServerName, ServerAddress, UserID, Password, Port, Path from FTPServer";
const char kSeededMail[] = "mail-security|mail.example.com|camera|secret|25";
const char kSeededFtp[] = "ftp-archive|192.168.1.5|camera|secret|21|/alarms";

// A request answered 1 that leaves the mail and FTP servers as `mail_rows` and `ftp_rows`.
request_case stores_servers(const char* method, const std::string& path, const std::string& body,
                            const std::string& mail_rows, const std::string& ftp_rows) {
  return request(method, path, body).answers(1).leaves(kMails, mail_rows).leaves(kFtps, ftp_rows);
}
std::string ftp_list(const std::string& items) { return "<FTPNotificationList>" + items + "</FTPNotificationList>"; }

TEST(Event, NotificationDestinations) {
  const char* second =
      "insert into SMTPServer values (NULL, 'mail-2', '10.0.0.25', 'camera', 'secret', 587, '', '', '', '', 0)";
  const std::string first_mail =
      mailing("mail-security",
              "<addressingFormatType>hostname</addressingFormatType><hostName>mail.example.com</hostName>", 25);
  const std::string second_mail =
      mailing("mail-2", "<addressingFormatType>ipaddress</addressingFormatType><ipAddress>10.0.0.25</ipAddress>", 587);
  const std::string all = golden("event.xml"), methods = all.substr(all.find("<EventNotificationMethods"));
  // clang-format off
  run_cases({
      get(kMail).after(second).answers(xml_answer(psia_element("MailingNotificationList", first_mail + second_mail))),
      get(kMail + "/mail-2").after(second).answers(xml_answer(first_mail)),  // always the first server
      get(kFtp + "/ftp-archive").answers(xml_answer(psia_element("FTPNotification", "<id>ftp-archive</id><addressingFormatType>ipaddress</addressingFormatType><ipAddress>192.168.1.5</ipAddress>"
                                                               "<portNo>21</portNo><userName>camera</userName><password>secret</password><uploadPath>/alarms</uploadPath>"))),
      get(kFtp + "/none").answers(xml_answer(psia_element("FTPNotification", ""))),
      get(kMethods).answers(xml_answer(methods.substr(0, methods.size() - std::string("</EventNotification>").size()))),
      stores_servers("PUT", kMail + "/anything", "<MailingNotification><id>mail-security</id><hostName>smtp.lan</hostName><accountName>mailer</accountName><password>it's</password></MailingNotification>",
         "mail-security|smtp.lan|mailer|it's|25", kSeededFtp),
      stores_servers("PUT", kFtp, ftp_list("<FTPNotification><id>ftp-archive</id><ipAddress>10.0.0.9</ipAddress><userName>up</userName><password>pw</password><portNo>2121</portNo><uploadPath>/x</uploadPath></FTPNotification><Other/>"),
         kSeededMail, "ftp-archive|10.0.0.9|up|pw|2121|/x"),
      stores_servers("PUT", kFtp + "/x", "<FTPNotification><id>ftp-archive</id></FTPNotification>", kSeededMail, "ftp-archive||||21|"),
      stores_servers("POST", kFtp, ftp_list("<FTPNotification><id>f2</id><ipAddress>10.0.0.2</ipAddress><userName>u2</userName><password>p2</password><uploadPath>/p</uploadPath></FTPNotification>"),
         kSeededMail, std::string(kSeededFtp) + "\nf2|10.0.0.2|u2|p2|21|/p"),
      stores_servers("POST", kMail, "<MailingNotificationList><MailingNotification><id>m2</id></MailingNotification></MailingNotificationList>", kSeededMail, kSeededFtp),  // the camera's statement adds nothing
      stores_servers("PUT", kMethods, "<EventNotificationMethods>" + ftp_list("<FTPNotification><id>ftp-archive</id></FTPNotification>") +
         "<MailingNotificationList><MailingNotification><id>mail-security</id><portNo>587</portNo></MailingNotification></MailingNotificationList></EventNotificationMethods>",
         "mail-security||||587", "ftp-archive||||21|"),
      stores_servers("DELETE", kFtp + "/unknown", "", kSeededMail, kSeededFtp),
      stores_servers("DELETE", kMail + "/mail-security", "", "", kSeededFtp),
      stores_servers("DELETE", kFtp + "/ftp-archive", "", kSeededMail, ""),
      stores_servers("DELETE", kFtp, "", kSeededMail, ""),
      stores_servers("DELETE", kMail, "", "", kSeededFtp),
      // At most three destinations of each kind.
      post(kFtp, "<FTPNotificationList/>").after("insert into FTPServer values (NULL, 'b', 'h', 'u', 'p', 21, '/'), (NULL, 'c', 'h', 'u', 'p', 21, '/')").answers(3),
      post(kMail, "<MailingNotificationList/>").after("insert into SMTPServer values (NULL, 'm2', '', '', '', 25, '', '', '', '', 0), (NULL, 'm3', '', '', '', 25, '', '', '', '', 0)").answers(3),
  });
  // clang-format on
}

TEST(Event, TheWholeEvent) {
  // clang-format off
  run_cases({
      get(kEvent).answers(document_answer(golden("event.xml"))),
      // Without a sensor the trigger list is left out.
      get(kEvent).after("update Spec set max_sensor=0").holds({"<EventNotification version=\"1.0\" xmlns=\"urn:psialliance-org\"><EventSchedule"}),
      // The whole event: each part applied; only a schedule that cannot be stored is reported.
      put(kEvent, "<EventNotification><EventSchedule><TimeBlockList><TimeBlock><dayOfWeek>5</dayOfWeek><TimeRange><beginTime>07:00:00</beginTime><endTime>08:15:00</endTime></TimeRange>"
                 "</TimeBlock></TimeBlockList></EventSchedule><EventTriggerList><EventTrigger><intervalBetweenEvents>3</intervalBetweenEvents></EventTrigger></EventTriggerList>"
                 "<EventNotificationMethods><FTPNotificationList><FTPNotification><id>ftp-archive</id><portNo>99</portNo></FTPNotification></FTPNotificationList></EventNotificationMethods></EventNotification>").answers(1).leaves("select Week, StartTime, EndTime, MinTimeInterval, RelayID from Event", "32|700|1500|3|-1").leaves("select Port from FTPServer", "99"),
      put(kEvent, "<EventNotification><EventSchedule/></EventNotification>").after(kEventUnchangeable).answers(3),
      put(kEvent, "<EventNotification/>").after(kEventUnchangeable).answers(1),
  });
  // clang-format on
}

std::string trigger_body(const std::string& inner) { return "<EventTrigger><id>Sen</id>" + inner + "</EventTrigger>"; }
// A request answered 1 that leaves the event's row as `row`.
request_case stores_event(const std::string& method, const std::string& path, const std::string& body,
                          const char* row) {
  return request(method, path, body).answers(1).leaves(kEventRow, row);
}

TEST(Event, TriggerAndItsNotifications) {
  const char* plain = "update Event set RelayID=-1, FTPServerID=-1, SMTPServerID=-1; delete from Sensor";
  // clang-format off
  run_cases({
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
      stores_event("PUT", kSensor, trigger_body("<intervalBetweenEvents>30</intervalBetweenEvents>" + notifications(notification("Relay-0", "io", "<notificationInterval>1999</notificationInterval>"))), "30|0|-1|-1|1"),
      stores_event("PUT", kSensor, trigger_body(notifications(notification("Relay-0", "IO") + notification("ftp-archive", "FTP"))), "5|-1|1|-1|5"),
      stores_event("PUT", kSensor, trigger_body(notifications(notification("mail-security", "SMTP"))), "5|-1|-1|1|5"),
      stores_event("PUT", kSensor, trigger_body(notifications(notification("mail-security", "email"))), "5|-1|-1|-1|5"),
      stores_event("PUT", kSensor, trigger_body(notifications(notification("nobody", "FTP"))), "5|-1|-1|-1|5"),
      stores_event("PUT", kTriggers + "/Sensor-9", trigger_body(""), "10|0|1|1|5"),  // not the alarm input
      stores_event("PUT", kTriggers, "<EventTriggerList><EventTrigger><intervalBetweenEvents>7</intervalBetweenEvents></EventTrigger></EventTriggerList>", "7|-1|-1|-1|5"),
      stores_event("DELETE", kSensor, "", "10|-1|-1|-1|5"),
      stores_event("DELETE", kTriggers, "", "10|-1|-1|-1|5"),
      stores_event("PUT", kSensor + "/notifications", notifications(notification("ftp-archive", "FTP")), "10|-1|1|-1|5"),
      stores_event("POST", kSensor + "/notifications", notification("Relay-0", "IO"), "10|0|-1|-1|5"),
      stores_event("PUT", kSensor + "/notifications/ftp-archive", notification("other", "FTP"), "10|-1|1|-1|5"),
      stores_event("DELETE", kSensor + "/notifications/ftp-archive", "", "10|-1|-1|-1|5"),
      stores_event("DELETE", kSensor + "/notifications/unknown", "", "10|0|1|1|5"),
      stores_event("DELETE", kSensor + "/notifications", "", "10|-1|-1|-1|5"),
      post(kTriggers, "<EventTrigger/>").answers(4),
  });
  // clang-format on
}

std::string time_block(int day, const char* begin, const char* end) {
  return "<TimeBlock><dayOfWeek>" + std::to_string(day) + "</dayOfWeek><TimeRange><beginTime>" + begin +
         "</beginTime><endTime>" + end + "</endTime></TimeRange></TimeBlock>";
}

TEST(Event, Schedule) {
  const char* sched = "/PSIA/Custom/Event/schedule";
  auto schedule = [](const std::string& blocks) {
    return xml_answer(psia_element("EventSchedule", psia_element("TimeBlockList", blocks)));
  };
  // A schedule of `blocks` answered 1, stored as the row `stored` of week, start and end.
  auto arm = [&](const std::string& blocks, const char* stored) {
    return put(sched, "<EventSchedule><TimeBlockList>" + blocks + "</TimeBlockList></EventSchedule>")
        .answers(1)
        .leaves("select Week, StartTime, EndTime from Event", stored);
  };
  // clang-format off
  run_cases({
      get(sched).after("update Event set Week=65, StartTime=900, EndTime=1830").answers(schedule(time_block(7, "09:00:00", "18:30:00") + time_block(6, "09:00:00", "18:30:00"))),
      get(sched).after("delete from Event").answers(schedule("")),
      arm(time_block(3, "08:00:00", "17:45:00"), "8|800|4500"),  // the end is read from the minutes
      arm(time_block(1, "08:00:00", "09:00:00") + time_block(2, "10:00:00", "11:00:00"), "4|800|0"),
      arm("<TimeBlock><dayOfWeek>2</dayOfWeek><bitString>000000001111111100000000</bitString></TimeBlock>", "4|1500|900"),
      arm("<TimeBlock><dayOfWeek>1</dayOfWeek><bitString>000000000000000000000001</bitString></TimeBlock>", "2|2300|2400"),
      arm("<TimeBlock><dayOfWeek>7</dayOfWeek><bitString>111</bitString></TimeBlock>", "1|2400|0"),  // dropped
      arm(time_block(9, "01:00:00", "02:00:00"), "0|2400|0"),  // no such day
      arm(time_block(0, "01:00:00", "02:00:00"), "0|2400|0"),
      arm(time_block(7, "06:00:00", "07:30:00"), "1|600|3000"),
      // Hours beyond any clock: a begin past 24 is not taken; the end is bounded so the stored time cannot overflow.
      arm(time_block(6, "99999999:00:00", "00:99999999"), "64|2400|2147483600"),
      put(sched, "<EventSchedule/>").after(kEventUnchangeable).answers(3),
  });
  // clang-format on
}

}  // namespace
