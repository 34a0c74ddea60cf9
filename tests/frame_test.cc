// The request frame: authentication, the login guard on a clock the test sets and the audit trail, routing, the
// catalogue, unreadable bodies, start-up, the executable as CGI (logging to a syslog socket of the test's).
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>

#include "frame/audit.h"
#include "frame/routing.h"
#include "frame/startup.h"
#include "harness.h"
#include "resources/event/event.h"
#include "resources/network/network.h"
#include "resources/system/system.h"
#include "util/login_guard.h"

using namespace psia_test;

namespace {

const char kUnauthorized[] =
    "Status: 401 Unauthorized\nWWW-Authenticate: Basic realm=\"Aldex Smart IP Device Authentication\"\n"
    "Content-Type: text/plain\n\nUnauthorized\n";

TEST(Frame, OnlyLevelZeroAccountsAreAdmitted) {
  Camera camera("insert into UserAccount values('viewer', 'pw2', 2);");
  // The Authorization header, and whether it is admitted.
  const std::pair<std::string, bool> cases[] = {
      {basic_authorization("admin", "admin"), true},
      {"Xxxxx " + basic_authorization("admin", "admin").substr(6), true},  // scheme unread
      {"", false},
      {"Basic", false},  // too short to hold any
      {basic_authorization("admin", "wrong"), false},
      {basic_authorization("ADMIN", "admin"), false},        // names are exact
      {basic_authorization("operator", "operator"), false},  // level 1
      {basic_authorization("viewer", "pw2"), false},         // level 2
      {basic_authorization("nobody", "x"), false},
      {basic_authorization("admin' or '1'='1", "admin"), false},
      {"Basic " + std::string(5000, 'Q'), false},
  };
  for (const auto& [authorization, admitted] : cases)
    EXPECT_EQ(camera.request(get_as("/PSIA/Security/index", authorization)),
              admitted ? document_answer(golden("security_index.xml")) : kUnauthorized)
        << authorization;
}

TEST(Frame, UnmatchedRequestsAndSubPaths) {
  Camera camera;
  // The request URL is echoed as it stands, query and all.
  for (const char* uri : {"/PSIA/foo", "/PSIA/Security/AAA/users/", "/PSIA/index", "/PSIA/System/status?x=<b>&y=%s",
                          "/PSIA/System/Network/interfaces/eth0/", "/PSIA/System/reboot"})
    EXPECT_EQ(camera.send("POST", uri), status_answer(uri, 4)) << uri;
  EXPECT_EQ(camera.send("PATCH", "/PSIA/System/deviceInfo"), status_answer("/PSIA/System/deviceInfo", 4));
  // A path that only begins like a resource's is not that resource.
  EXPECT_EQ(camera.send("GET", "/PSIA/System/Network/interfaces/eth0/"),
            status_answer("/PSIA/System/Network/interfaces/eth0/", 4));
  // Paths and methods are compared without regard to case.
  EXPECT_EQ(camera.send("get", "/psia/security/index"), document_answer(golden("security_index.xml")));
  EXPECT_EQ(camera.send("GET", ""), "");  // no path: no answer at all
  // Sub-paths give their handlers their arguments.
  Camera sub;
  // The trigger id and notification id are cut at the slashes.
  sub.exec("update Event set RelayID=0, FTPServerID=-1, SMTPServerID=-1");
  EXPECT_NE(sub.get("/PSIA/Custom/Event/triggers/Sensor-0/notifications/Relay-0")
                .find("<id>Relay-0</id><notificationMethod>IO"),
            std::string::npos);
  // The preset number follows "presets/"; "goto" anywhere recalls it.
  sub.put("/PSIA/PTZ/channels/9/presets/2/goto", "");
  sub.put("/PSIA/PTZ/channels/9/PRESETS/2/goTo", "");
  EXPECT_EQ(sub.commands(), (std::vector<std::string>{"53 preset=2", "53 preset=2"}));
}

TEST(Frame, RulesAreTriedInOrderByPathMethodAndLevel) {
  // clang-format off
  const struct { const char *path, *method; int level, ptz; psia::handler_call expected; } cases[] = {  // empty: no rule
      {"/PSIA/System/time/ntpServers/3", "GET", 3, 2, psia::get_ntp_server},
      // A level-2 DELETE falls through every shorter prefix to no rule.
      {"/PSIA/System/time/ntpServers/3", "DELETE", 2, 2, {}},
      {"/PSIA/System/time/ntpServers/3", "DELETE", 1, 2, psia::delete_ntp_server},
      {"/PSIA/System/time/ntpServers", "POST", 1, 2, psia::post_ntp_server},
      {"/PSIA/System/reboot", "PUT", 1, 2, {}},  // level 0 only
      {"/PSIA/System/reboot", "PUT", 0, 2, psia::put_reboot},
      {"/PSIA/System/Network/interfaces/eth0", "GET", 3, 2, psia::put_network_interface},
      {"/PSIA/System/Network/interfaces/eth0", "PUT", 0, 2, psia::get_network_interface},
      {"/PSIA/Custom/Event/triggers/", "GET", 0, 2, psia::get_event_trigger},
      {"/PSIA/Custom/Event/triggers/Sensor-0/x", "POST", 1, 2, psia::post_trigger_notification},
      {"/PSIA/Custom/Event/triggers/Sensor-0", "POST", 1, 2, psia::post_trigger},  // falls through
      {"/PSIA/Custom/Event/triggers/S/notifications/n", "GET", 3, 2, psia::get_trigger_notification},
      {"/PSIA/PTZ/index", "GET", 0, 1, {}},
      {"/PSIA/foo", "GET", 0, 1, {}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.path + " level " + std::to_string(c.level));
    psia::route_target t;
    const psia::handler_call& e = c.expected;
    EXPECT_EQ(psia::route_request(c.path, c.method, c.level, c.ptz, &t), e.plain || e.text || e.number || e.pair);
    EXPECT_TRUE(t.handler.plain == e.plain && t.handler.text == e.text && t.handler.pair == e.pair);
  }
}

TEST(Frame, CatalogueDocumentsAndUnreadableBodies) {
  Camera camera;
  // clang-format off
  const struct { const char *uri, *golden, *type = kXml; } cases[] = {
      {"/PSIA/index", "index.xml"}, {"/PSIA/index.xml", "index.xml"} /* a prefix match */, {"/PSIA/indexr", "indexr.xml"},
      {"/PSIA/description", "description.xml"}, {"/PSIA/System/index", "system_index.xml"}, {"/PSIA/System/description", "description.xml"},
      {"/PSIA/System/Network/index", "network_index.xml"}, {"/PSIA/System/Network/description", "network_description.xml"},
      {"/PSIA/System/Audio/index", "audio_index.xml", kXmlUtf8}, {"/PSIA/System/Audio/description", "description.xml", kXmlUtf8},
      {"/PSIA/System/Video/index", "video_index.xml"}, {"/PSIA/Security/AAA/index", "aaa_index.xml"}, {"/PSIA/Security/AAA/description", "description.xml"},
      {"/PSIA/Streaming/index", "streaming_index.xml"}, {"/PSIA/Custom/index", "custom_index.xml"}, {"/PSIA/Custom/description", "description.xml"},
      {"/PSIA/Custom/Event/index", "event_index.xml"}, {"/PSIA/PTZ/index", "ptz_index.xml"}, {"/PSIA/PTZ/description", "description.xml"},
      {"/PSIA/PTZ/channels/description", "ptz_channels_description.xml"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(camera.get(c.uri), document_answer(golden(c.golden), c.type)) << c.uri;
  // The same documents every time: they are built once.
  EXPECT_EQ(camera.get("/PSIA/indexr"), document_answer(golden("indexr.xml")));
  // Bodies that cannot be read answer Device Error.
  Camera schedule;
  const char* path = "/PSIA/Custom/Event/schedule";
  // A body and its CONTENT_LENGTH (null: none): none at all, one over 1 MiB, one shorter than announced.
  // clang-format off
  const std::pair<std::string, const char*> bodies[] = {
      {"", nullptr}, {"", "0"}, {"<EventSchedule/>", "999999999999999999999"}, {"<EventSchedule/>", "1048577"},
      {"<EventSchedule/>", "-5"}, {"<EventSchedule/>", "x"}, {"<EventSchedule/>", "100"}, {"<EventSchedule><TimeBlockList>", "30"},
      {"<?xml version=\"1.0\"?><!DOCTYPE EventSchedule><EventSchedule/>", nullptr}};
  // clang-format on
  for (const auto& [body, length] : bodies) {
    Req r{"PUT", path, body};
    r.content_length = length;
    r.no_content_length = length == nullptr && body.empty();
    EXPECT_EQ(schedule.request(r), status_answer(path, 3)) << (length ? length : body);
  }
  EXPECT_EQ(schedule.query("select Week from Event"), "127");  // nothing stored
}

TEST(Startup, ADatabaseThatCannotBeOpenedOrStaysLockedStopsTheResponder) {
  // The database at start-up, the line it ends with ("": it starts) and the camera time it took.
  // clang-format off
  const struct { const char* database; const char* line; int64_t waited_us; } cases[] = {
      {"missing", "PSIA: DB Open Failed", 0},
      {"", "PSIA: DB Open Failed", 0},
      {"this is not a database, it is a text file...\n", "PSIA: DB Open Failed", 0},
      {"drop", "PSIA: DB Open Failed", 0},  // without a camera table
      {"locked", "PSIA: database busy", 10000000},
      {"locked for 3 s", "", 3150000},  // the back-off's steps: 50 ms, 100 ms ... 300 ms, 300 ms ...
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.database);
    Camera camera;
    std::string db = camera.path("/usr/local/korvia/kkorvia.db"), kind = c.database;
    std::unique_ptr<DatabaseLock> lock;
    if (kind == "drop") {
      camera.exec("drop table Relay");
    } else if (kind.rfind("locked", 0) == 0) {
      lock = std::make_unique<DatabaseLock>(camera, "begin exclusive");
      if (kind != "locked")
        camera.clock().on_sleep = [&] {
          if (camera.clock().now_us >= 3000000) lock->release();
        };
    } else {
      ASSERT_EQ(unlink(db.c_str()), 0);
      if (kind != "missing") std::ofstream(db) << kind;
    }
    psia::Settings settings = camera.ctx().settings;
    psia::request_context ctx(settings, camera.clock());
    std::string errors;
    std::vector<std::string> syslog;
    ctx.log.set_stream([&](const char* t, size_t n) { errors.append(t, n); });
    ctx.log.set_syslog([&](int p, const char* line) { syslog.push_back(std::to_string(p) + " " + line); });
    EXPECT_EQ(psia::start_up(ctx), *c.line == '\0');
    EXPECT_EQ(errors, *c.line != '\0' ? c.line + std::string("\n") : "");
    EXPECT_EQ(syslog, *c.line != '\0' ? std::vector<std::string>{"27 " + std::string(c.line)}  // daemon.err
                                      : std::vector<std::string>{});
    EXPECT_EQ(camera.clock().now_us, c.waited_us);
    EXPECT_EQ(access(db.c_str(), F_OK) == 0, kind != "missing");  // never created
  }
}

// The executable itself, as the web server runs it: as a CGI program, and refusing to start without its database.
TEST(Executable, ServesOneRequestAsACgiProgram) {
  Camera camera;
  std::vector<std::string> env = {"REQUEST_METHOD=GET", "REQUEST_URI=/PSIA/index",
                                  "HTTP_AUTHORIZATION=" + basic_authorization("admin", "admin")};
  ProcessResult answer = camera.run_cgi(env);
  EXPECT_EQ(answer.exit_status, 0) << answer.err;
  EXPECT_EQ(answer.out, document_answer(golden("index.xml")));

  env.back() = "HTTP_AUTHORIZATION=";
  env.push_back("CONTENT_LENGTH=11");
  EXPECT_EQ(camera.run_cgi(env, "<x></x>....").out, kUnauthorized);

  ASSERT_EQ(unlink(camera.path("/usr/local/korvia/kkorvia.db").c_str()), 0);
  answer = camera.run_cgi(env);
  EXPECT_EQ(answer.exit_status, 255);
  EXPECT_EQ(answer.out, "");
  EXPECT_EQ(answer.err, "PSIA: DB Open Failed\n");
}

const int64_t kSecond = 1000000;

TEST(LoginGuard, LocksOutDoublingUpToFifteenMinutesWithoutAskingTheDatabase) {
  // Each step: failures from an address at a time (-1: a successful login), whether it is then locked, and the
  // lock-out the last failure started.
  // clang-format off
  struct Step { const char* address; int failures; int64_t at; bool locked; int64_t lockout = 0; };
  const std::vector<Step> steps = {
      {"A", 9, 0, false}, {"A", -1, 0, false},  // a success clears the count
      {"A", 9, 1, false}, {"A", 1, 2, true, 60 * kSecond},
      {"B", 0, 3, false},  // another address is not touched
      {"A", 0, 60 * kSecond + 1, true}, {"A", 0, 60 * kSecond + 2, false},
      {"A", 10, 61 * kSecond, true, 120 * kSecond}, {"A", 10, 200 * kSecond, true, 240 * kSecond},
      {"A", 10, 500 * kSecond, true, 480 * kSecond}, {"A", 10, 1000 * kSecond, true, 900 * kSecond},
      {"A", 10, 2000 * kSecond, true, 900 * kSecond},  // capped
      {"A", -1, 2001 * kSecond, false},  // cleared, the doubling too
      {"A", 10, 2002 * kSecond, true, 60 * kSecond},
  };
  // clang-format on
  psia::LoginGuard guard(10, 60);
  for (const Step& s : steps) {
    int64_t lockout = 0;
    if (s.failures < 0) guard.succeeded(s.address);
    for (int i = 0; i < s.failures; ++i) lockout = guard.failed(s.address, s.at);
    EXPECT_EQ(guard.locked(s.address, s.at + (s.failures > 0 ? 1 : 0)), s.locked) << s.address << " at " << s.at;
    EXPECT_EQ(lockout, s.lockout) << s.address << " at " << s.at;
  }
  for (const auto& [attempts, lockout] : std::vector<std::pair<int, int>>{{0, 60}, {10, 0}}) {
    psia::LoginGuard off(attempts, lockout);
    for (int i = 0; i < 50; ++i) off.failed("A", i);
    EXPECT_FALSE(off.locked("A", 51));
  }
  // A flood of addresses is forgotten, not kept.
  psia::LoginGuard flooded(2, 60);
  for (int i = 0; i < 2; ++i) flooded.failed("locked", 0);
  for (int i = 0; i < 1000; ++i) flooded.failed("10.0." + std::to_string(i), 1 + i);
  EXPECT_EQ(flooded.size(), psia::LoginGuard::kAddresses);
  EXPECT_TRUE(flooded.locked("locked", 2000));  // spared while others can go
  // A locked address is refused without the database, and the trail records it.
  Camera camera;
  for (int i = 0; i < 10; ++i) camera.request(get_as("/PSIA/index", basic_authorization("admin", "nope")));
  {
    // The right password is refused as well, with the same bytes, and the database is not asked: a lock held on it
    // costs no wait.
    DatabaseLock lock(camera, "begin exclusive");
    EXPECT_EQ(camera.get("/PSIA/index").rfind("Status: 401 Unauthorized\n", 0), 0u);
    EXPECT_EQ(camera.clock().now_us, 0);
  }
  camera.clock().now_us = 61 * kSecond;
  EXPECT_EQ(camera.get("/PSIA/index"), document_answer(golden("index.xml")));
  camera.put("/PSIA/System/time/timeZone", "JST-9");
  const std::string refused = "36 refused login from 192.0.2.10 as \"admin\": ";
  std::vector<std::string> expected(9, refused + "wrong password");
  expected.push_back("36 locked out 192.0.2.10 for 60 s after 10 failed logins");
  expected.push_back(refused + "wrong password");
  expected.push_back(refused + "locked out");
  expected.push_back("29 PUT /PSIA/System/time/timeZone from 192.0.2.10 by \"admin\": status 1");
  EXPECT_EQ(camera.syslog(), expected);
}

TEST(Audit, RequestTextsNeverSplitOrForgeALine) {
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"}, {"a\nb\rc\x01\x7f", "a\\x0ab\\x0dc\\x01\\x7f"}, {"\"quoted\" \\", "\\\"quoted\\\" \\\\"},
      {"caf\xc3\xa9", "caf\\xc3\\xa9"}, {std::string(200, 'x'), std::string(64, 'x') + "..."}};
  // clang-format on
  for (const auto& [text, shown] : cases) {
    psia::text_buffer line;
    psia::append_printable(line, text.c_str(), 64);
    EXPECT_EQ(std::string(line.data(), line.length()), shown);
  }
  Camera camera;
  camera.ctx().guard = psia::LoginGuard(0, 0);
  Req r = get_as("/PSIA/Custom/Event/notification/ftp/x\n29 forged line", basic_authorization("admin\nfake", "x"));
  r.method = "DELETE";
  camera.request(r);
  r.authorization = basic_authorization("admin", "admin");
  camera.request(r);
  const std::string forged = "DELETE /PSIA/Custom/Event/notification/ftp/x\\x0a29 forged line from 192.0.2.10";
  EXPECT_EQ(camera.syslog(),
            (std::vector<std::string>{"36 refused login from 192.0.2.10 as \"admin\\x0afake\": unknown user",
                                      "29 " + forged + " by \"admin\": status 1"}));
}

TEST(Audit, TheExecutableWritesToTheSystemLogger) {
  Camera camera;
  int logger = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", camera.path("/dev/log").c_str());
  ASSERT_EQ(bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const std::string body = "<DeviceInfo><deviceName>hall</deviceName></DeviceInfo>";
  auto run = [&](const char* password) {
    camera.run_cgi({"REQUEST_METHOD=PUT", "REQUEST_URI=/PSIA/System/deviceInfo", "REMOTE_ADDR=198.51.100.7",
                    "CONTENT_LENGTH=" + std::to_string(body.size()),
                    "HTTP_AUTHORIZATION=" + basic_authorization("admin", password)},
                   body);
  };
  for (const char* password : {"guess", "admin"}) run(password);
  unlink(camera.path("/usr/local/korvia/kkorvia.db").c_str());
  run("admin");
  std::vector<std::string> got;
  char datagram[2048];
  for (ssize_t n; (n = recv(logger, datagram, sizeof datagram, MSG_DONTWAIT)) > 0;) {
    std::string line(datagram, static_cast<size_t>(n));
    // "<PRI>Mmm dd hh:mm:ss psia-responder[pid]: text": the clock and the process id vary.
    size_t tag = line.find(" psia-responder[");
    got.push_back(line.substr(0, line.find('>') + 1) + line.substr(line.find("]: ", tag) + 3));
  }
  close(logger);
  EXPECT_EQ(got, (std::vector<std::string>{
                     "<36>refused login from 198.51.100.7 as \"admin\": wrong password",
                     "<29>PUT /PSIA/System/deviceInfo from 198.51.100.7 by \"admin\": status 1",
                     "<27>PSIA: DB Open Failed",
                 }));
}

}  // namespace
