// Faults the camera meets: the database locked by its other processes, a
// slow or silent daemon, a full disk under an upload.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "responder_harness.h"

namespace {

// Holds a lock on the camera's database from another connection, as the
// camera's other processes do, for `hold_ms`.
std::thread hold_lock(const std::string& database, const char* begin, int hold_ms) {
  sqlite3* db = nullptr;
  sqlite3_open(database.c_str(), &db);
  EXPECT_EQ(sqlite3_exec(db, begin, nullptr, nullptr, nullptr), SQLITE_OK);
  return std::thread([db, hold_ms] {
    std::this_thread::sleep_for(std::chrono::milliseconds(hold_ms));
    sqlite3_exec(db, "commit", nullptr, nullptr, nullptr);
    sqlite3_close(db);
  });
}

TEST(Fault, ABriefLockIsWaitedOut) {
  Camera camera;
  std::thread holder = hold_lock(camera.database_path(), "begin exclusive", 400);
  ProcessResult answer = camera.get("/PSIA/Security/AAA/users/guest");
  holder.join();
  EXPECT_NE(answer.out.find("<userName>guest</userName>"), std::string::npos) << answer.out;
}

TEST(Fault, ALongLockFailsTheChangeAndTheNextRequestIsServed) {
  Camera camera;
  const char uri[] = "/PSIA/System/deviceInfo";
  const char body[] = "<DeviceInfo><deviceName>hall</deviceName></DeviceInfo>";
  std::thread holder = hold_lock(camera.database_path(),
                                 "begin immediate; update Audio set Enable=Enable", 3000);
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(camera.put(uri, body).out, status_answer(uri, 3));
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2900));
  holder.join();
  EXPECT_EQ(camera.put(uri, body).out, status_answer(uri, 1));
  EXPECT_EQ(camera.query("select DDNSHostname from Network"), "hall");
}

TEST(Fault, SlowAndSilentDaemons) {
  const char uri[] = "/PSIA/System/reboot";
  Camera slow("", {"--delay", "8=2000"});
  EXPECT_EQ(slow.put(uri, "").out, status_answer(uri, 1));
  Camera silent("", {"--silent", "8"});
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(silent.put(uri, "").out, status_answer(uri, 2));
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST(Fault, AFullDiskLeavesNoUpload) {
  Camera camera;
  std::string target = camera.root() + "/usr/local/httpd/htdocs/Web/updownload/psia_firmware.dat";
  ASSERT_EQ(symlink("/dev/full", (target + ".part").c_str()), 0);
  const char uri[] = "/PSIA/System/updateFirmware";
  EXPECT_EQ(camera.put(uri, std::string(5000, 'f')).out, status_answer(uri, 3));
  EXPECT_NE(access(target.c_str(), F_OK), 0);
}

}  // namespace
