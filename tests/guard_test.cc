// The login guard on a clock the test sets, and the audit trail (to a test sink, and from the executable to syslog).
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "frame/audit.h"
#include "harness.h"
#include "util/login_guard.h"

using namespace psia_test;

namespace {

const int64_t kSecond = 1000000;

TEST(LoginGuard, LocksOutAfterTheThresholdAndDoublesUpToFifteenMinutes) {
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
}

TEST(LoginGuard, ALockedAddressIsRefusedWithoutTheDatabaseAndTheTrailRecordsIt) {
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
  for (const auto& [text, shown] : cases) EXPECT_EQ(psia::printable(text.c_str(), 64), shown);
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
