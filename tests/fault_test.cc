// The environment (locks, slow or silent daemons, planted files, a full disk) and hostile texts: each costs at most
// its bounded wait and one clear answer, and the next request is served as usual.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "harness.h"
#include "util/stop.h"

using namespace psia_test;
namespace fs = std::filesystem;

namespace {

constexpr char kReboot[] = "/PSIA/System/reboot";
constexpr char kDeviceInfo[] = "/PSIA/System/deviceInfo";
constexpr char kConfiguration[] = "/PSIA/System/configurationData";
constexpr char kFirmware[] = "/PSIA/System/updateFirmware";
constexpr char kTransfer[] = "/usr/local/httpd/htdocs/Web/updownload/";
constexpr char kDatabase[] = "/usr/local/korvia/kkorvia.db";

// Restores a resource limit when the fault ends.
struct size_limit {
  size_limit(int limited, rlim_t soft) : resource(limited) {
    getrlimit(resource, &saved);
    rlimit lowered{soft, saved.rlim_max};
    setrlimit(resource, &lowered);
  }
  ~size_limit() { setrlimit(resource, &saved); }
  int resource;
  rlimit saved;
};

// A zoneinfo directory of the camera's own, holding `entry` as the zone the database names.
void plant_zone(test_camera& camera, const std::function<void(const std::string&)>& entry) {
  std::string zoneinfo = camera.path("/usr/share/zoneinfo");
  fs::remove(zoneinfo);
  fs::create_directory(zoneinfo);
  entry(zoneinfo + "/Planted");
  camera.exec("update DateTime set TimeZone='Planted'");
}

// The stop a row requested is undone with the row.
std::shared_ptr<void> stop_undone() {
  return std::shared_ptr<void>(nullptr, [](void*) { psia::cancel_stop(); });
}

// An empty file renamed over the database, the database kept aside as ".good".
std::shared_ptr<void> empty_database(test_camera& camera) {
  std::string db = camera.path(kDatabase);
  fs::copy_file(db, db + ".good");
  std::ofstream(db + ".new").close();
  fs::rename(db + ".new", db);
  return nullptr;
}

// A copy of the database, its device name changed, renamed over it.
std::shared_ptr<void> renamed_database(test_camera& camera) {
  std::string db = camera.path(kDatabase);
  fs::copy_file(db, db + ".new");
  sqlite3* copy = nullptr;
  sqlite3_open((db + ".new").c_str(), &copy);
  sqlite3_exec(copy, "update Network set DDNSHostname='replaced'", nullptr, nullptr, nullptr);
  sqlite3_close(copy);
  fs::rename(db + ".new", db);
  return nullptr;
}

// The database refused stays refused (and is reported once) until `repair` puts a good one in its place.
std::function<void(test_camera&)> refused_until(void (*repair)(const std::string& db)) {
  return [repair](test_camera& c) {
    EXPECT_EQ(c.send("GET", kDeviceInfo).rfind("Status: 401", 0), 0u);
    EXPECT_EQ(c.errors(), "PSIA: database replaced by a file without the camera's tables\n");
    repair(c.path(kDatabase));
  };
}

const std::string kDeviceBody = "<DeviceInfo><deviceName>hall</deviceName></DeviceInfo>";
const std::string kUpload(5000, 'f');

// One fault of the camera's environment, the request made under it, and what that request must cost: its answer and
// the camera time it took. After it, the next ordinary request is served as usual.
// make: what it returns lasts until the next request; answer: "1".."7", that ResponseStatus, otherwise a text the
// answer holds; leaves: what must (not) be left behind.
TEST(Fault, EachEnvironmentFaultCostsOneAnswerWithinItsBound) {
  // clang-format off
  struct environment_fault {
    const char* what; std::function<std::shared_ptr<void>(test_camera&)> make; std::string method, uri, body, answer;
    int64_t waited_us; std::function<void(test_camera&)> leaves = nullptr; test_request next = {"GET", kDeviceInfo};
    std::string next_answer = "<DeviceInfo";
  };
  const environment_fault faults[] = {
      // Database locks.
      {"a lock released while it is waited for",
       [](test_camera& c) {
         auto lock = std::make_shared<database_lock>(c, "begin exclusive");
         c.clock().on_sleep = [&c, lock] { if (c.clock().now_us >= 300000) lock->release(); };
         return lock;
       },
       "PUT", kDeviceInfo, kDeviceBody, "1", 300000},  // 50 + 100 + 150 ms
      {"a write lock on a database replaced since the last request: the new connection waits too",
       [](test_camera& c) {
         renamed_database(c);
         return std::make_shared<database_lock>(c, "begin immediate; update Audio set Enable=Enable");
       },
       "PUT", kDeviceInfo, kDeviceBody, "3", 1050000},
      {"a stop while a write lock is waited for",
       [](test_camera& c) {
         c.clock().on_sleep = psia::request_stop;
         auto lock = std::make_shared<database_lock>(c, "begin immediate; update Audio set Enable=Enable");
         return std::shared_ptr<void>(nullptr, [lock](void*) { psia::cancel_stop(); });
       },
       "PUT", kDeviceInfo, kDeviceBody, "3", 50000},
      // The control daemon.
      {"a slow daemon", [](test_camera& c) { c.daemon().delay_ms[8] = 2000; return nullptr; },
       "PUT", kReboot, "", "1", 2002350},
      {"a silent daemon, configuration file", [](test_camera& c) { c.daemon().silent.insert(11); return nullptr; },
       "GET", kConfiguration, "", "3", 180100000},
      {"a silent daemon, factory reset", [](test_camera& c) { c.daemon().silent.insert(10); return nullptr; },
       "PUT", "/PSIA/System/factoryReset?mode=basic", "", "2", 180100000},
      {"a silent daemon, a command whose status is not told", [](test_camera& c) { c.daemon().silent.insert(94); return nullptr; },
       "DELETE", "/PSIA/Security/AAA/users", "", "1", 5100000},
      {"a hung daemon whose request queue is full",
       [](test_camera& c) { c.daemon().hung = true; c.fill_request_queue(); return nullptr; },
       "PUT", kReboot, "", "2", 5100000},
      {"a reply longer than the frame", [](test_camera& c) { c.daemon().oversized.insert(8); return nullptr; },
       "PUT", kReboot, "", "1", 50, nullptr, {"PUT", kReboot}, "<statusCode>1<"},
      {"queues made again by a restarted daemon", [](test_camera& c) { c.simulator().recreate_queues(); return nullptr; },
       "PUT", kReboot, "", "1", 100, nullptr, {"PUT", kReboot}, "<statusCode>1<"},  // a pause before the new queue
      {"queues made again while a reply is awaited",
       [](test_camera& c) {
         c.clock().on_sleep = [&c, serve = c.clock().on_sleep] { c.simulator().recreate_queues(); c.clock().on_sleep = serve; };
         return nullptr;
       },
       "PUT", kReboot, "", "2", 50},
      {"no queues: the daemon is gone", [](test_camera& c) { c.simulator().remove_queues(); return nullptr; },
       "PUT", kReboot, "", "2", 0},
      {"a stop (SIGTERM) while a silent daemon is awaited",
       [](test_camera& c) { c.daemon().silent.insert(8); c.clock().on_sleep = psia::request_stop; return stop_undone(); },
       "PUT", kReboot, "", "2", 50},
      // Planted files and a full disk.
      {"a link named as the configuration file",
       [](test_camera& c) {
         fs::create_symlink("/etc/passwd", c.path(std::string(kTransfer) + "link"));
         c.daemon().reply_texts.emplace(11, std::make_pair(0, std::string("link")));  // the file the daemon wrote
         return nullptr;
       },
       "GET", kConfiguration, "", "3", 50},
      {"a FIFO as the zone file",
       [](test_camera& c) { plant_zone(c, [](const std::string& p) { mkfifo(p.c_str(), 0600); }); return nullptr; },
       "GET", "/PSIA/System/time", "", "<timeZone>GMT0</timeZone>", 0},
      {"a zone link leading out of the zoneinfo directory",
       [](test_camera& c) {
         std::ofstream(c.path("/outside")) << "TZif\nEST5\n";
         plant_zone(c, [&c](const std::string& p) { fs::create_symlink(c.path("/outside"), p); });
         return nullptr;
       },
       "GET", "/PSIA/System/time", "", "<timeZone>GMT0</timeZone>", 0},
      {"a link planted as the upload's partial file",
       [](test_camera& c) {
         std::ofstream(c.path("/victim")) << "kept";
         fs::create_symlink(c.path("/victim"), c.path(std::string(kTransfer) + "psia_firmware.dat.part"));
         return nullptr;
       },
       "PUT", kFirmware, kUpload, "1", 0,
       [](test_camera& c) {
         EXPECT_EQ(file_text(c.path("/victim")), "kept");
         EXPECT_EQ(file_text(c.path(std::string(kTransfer) + "psia_firmware.dat")), kUpload);
       }},
      {"a file-size limit (or a full disk) during an upload",
       [](test_camera&) { return std::make_shared<size_limit>(RLIMIT_FSIZE, 4096); },
       "PUT", kFirmware, kUpload, "3", 0,
       [](test_camera& c) {
         EXPECT_FALSE(fs::exists(c.path(std::string(kTransfer) + "psia_firmware.dat")));
         EXPECT_FALSE(fs::exists(c.path(std::string(kTransfer) + "psia_firmware.dat.part")));
       }},
      // A replaced database is read, or refused until repaired.
      {"the database replaced by a rename", renamed_database, "GET", kDeviceInfo, "", "<deviceName>replaced</deviceName>", 0,
       [](test_camera& c) {  // adopted once: the next request keeps its statements
         size_t kept = c.ctx().store.cached_statements(); c.get("/PSIA/index"); EXPECT_EQ(c.ctx().store.cached_statements(), kept); },
       {"PUT", kDeviceInfo, kDeviceBody}, "<statusCode>1<"},
      {"an empty file renamed over the database, then a good one", empty_database, "GET", kDeviceInfo, "", "Status: 401",
       0, refused_until([](const std::string& db) { fs::rename(db + ".good", db); })},
      {"an empty file renamed over the database, then written in place", empty_database, "GET", kDeviceInfo, "",
       "Status: 401", 0, refused_until([](const std::string& db) { std::ofstream(db) << file_text(db + ".good"); })},
  };
  // clang-format on
  for (const environment_fault& f : faults) {
    SCOPED_TRACE(f.what);
    test_camera camera;
    const std::function<void()> serve_daemon = camera.clock().on_sleep;
    std::string out = [&] {  // the fault lasts for this request only
      std::shared_ptr<void> fault = f.make(camera);
      return camera.send(f.method, f.uri, f.body);
    }();
    if (f.answer.size() == 1)
      EXPECT_EQ(out, status_answer(f.uri, f.answer[0] - '0'));
    else
      EXPECT_NE(out.find(f.answer), std::string::npos) << out;
    EXPECT_EQ(camera.clock().now_us, f.waited_us);
    if (f.leaves) f.leaves(camera);
    camera.clock().on_sleep = serve_daemon;
    out = camera.request(f.next);
    EXPECT_NE(out.find(f.next_answer), std::string::npos) << out;
  }
}

// The kernel failing a queue call of the control exchange: what the command is answered, the camera time it took
// (never more than the command's wait) and what the log holds. A call that did nothing (EINTR) or a removed queue
// (EIDRM) is tried again after a pause; any other refusal ends the exchange at once.
// always: every call, not the first only; stop: the failure comes with a stop (SIGTERM).
TEST(Fault, EachQueueCallFailureIsAnsweredWithinTheCommandsWait) {
  using psia::queue_call;
  const std::string send = "Send Message using Message Queue 1 Failed\n: ";
  const std::string receive = "Receive Message using Message Queue 2 Failed\n: ";
  // clang-format off
  struct queue_fault { queue_call call; int error; bool always; int answer; int64_t waited_us; std::string logged; bool stop = false; };
  const queue_fault faults[] = {
      {queue_call::send, EINVAL, true, 2, 0, send + "Invalid argument\n"},  // a frame above the kernel's msgmax
      {queue_call::send, EIDRM, false, 1, 100, ""},
      {queue_call::send, EIDRM, true, 2, 5100000, send + "Identifier removed\n"},
      {queue_call::send, EACCES, true, 2, 0, send + "Permission denied\n"},
      {queue_call::send, EINTR, false, 1, 100, ""},
      {queue_call::send, EINTR, true, 2, 5100000, send + "Interrupted system call\n"},
      {queue_call::send, EINTR, true, 2, 0, send + "Interrupted system call\n", true},
      {queue_call::receive, EINVAL, true, 2, 0, receive + "Invalid argument\n"},
      {queue_call::receive, EIDRM, true, 2, 0, ""},  // the reply went with the queue
      {queue_call::receive, EACCES, true, 2, 0, receive + "Permission denied\n"},
      {queue_call::receive, EINTR, false, 1, 50, ""},
      {queue_call::receive, EINTR, true, 2, 5100000, ""},
      {queue_call::receive, EINTR, true, 2, 0, "", true},
  };
  // clang-format on
  for (const queue_fault& f : faults) {
    SCOPED_TRACE((f.call == queue_call::send ? "msgsnd " : "msgrcv ") + std::string(strerror(f.error)) +
                 (f.always ? ", always" : ", once") + (f.stop ? ", with a stop" : ""));
    test_camera camera;
    bool failed = false;
    camera.ctx().control.set_fault_hook([&](queue_call call) {
      if (call != f.call || (failed && !f.always)) return 0;
      failed = true;
      if (f.stop) psia::request_stop();
      return f.error;
    });
    EXPECT_EQ(camera.put(kReboot, ""), status_answer(kReboot, f.answer));
    EXPECT_EQ(camera.clock().now_us, f.waited_us);
    EXPECT_EQ(camera.errors(), f.logged);
    psia::cancel_stop();
    camera.ctx().control.set_fault_hook(nullptr);
    EXPECT_EQ(camera.put(kReboot, ""), status_answer(kReboot, 1));
  }
}

// Replies are matched by process alone: a reply that came after its exchange gave up is dropped before the next command
// is sent, so each exchange is answered by its own reply.
TEST(Fault, ALateReplyIsDroppedBeforeTheNextExchange) {
  test_camera late;
  late.daemon().delay_ms[8] = 5600;
  late.daemon().status[8] = 7;
  late.daemon().status[41] = 2;
  EXPECT_EQ(late.put(kReboot, ""), status_answer(kReboot, 2));
  late.clock().sleep_us(600000);  // the reply comes in between requests
  const char* ip = "/PSIA/System/Network/interfaces/eth0/ipAddress";
  const char* dhcp = "<IPAddress><addressingType>dhcp</addressingType></IPAddress>";
  EXPECT_EQ(late.put(ip, dhcp), status_answer(ip, 2));  // 41's own, not command 8's status 7
  late.daemon().delay_ms[8] = 0;
  EXPECT_EQ(late.put(kReboot, ""), status_answer(kReboot, 3));  // its own status 7
  EXPECT_EQ(late.commands(), (std::vector<std::string>{"8", "41", "8"}));
}

// A transient failure to load the XML library (no descriptor left) is not remembered: the next document loads it.
TEST(Fault, TheXmlLibraryIsLoadedAgainAfterAFailure) {
  if (dlopen("libxml2.so.2", RTLD_NOW | RTLD_NOLOAD) != nullptr) GTEST_SKIP() << "already loaded in this process";
  test_camera camera;
  {
    // Only the load runs short of descriptors: the sanitizers' own checks need some.
    int lowest_free = dup(0);
    close(lowest_free);
    size_limit no_descriptor(RLIMIT_NOFILE, static_cast<rlim_t>(lowest_free));
    EXPECT_FALSE(camera.ctx().xml.load(camera.ctx().log));
  }
  EXPECT_NE(camera.errors().find("PSIA: libxml2 cannot be loaded"), std::string::npos);
  EXPECT_EQ(camera.put(kDeviceInfo, kDeviceBody), status_answer(kDeviceInfo, 1));
}

// The payloads as the camera's control daemon reads them: a request, the command it sends, and the bytes at the
// daemon's own offset of a field (from the payload's first byte; a text with its closing zero).
TEST(Control, EachFieldSitsAtTheDaemonsByteOffset) {
  auto word = [](int32_t v) { return std::string(reinterpret_cast<const char*>(&v), sizeof v); };
  auto text = [](const char* t) { return std::string(t, strlen(t) + 1); };
  const std::string ptz = "/PSIA/PTZ/channels/0/", presets = ptz + "presets", time = "/PSIA/System/time";
  // clang-format off
  const test_request manual = {"PUT", time, "<Time><timeMode>manual</timeMode><localTime>2012-11-26T17:38:49</localTime></Time>"},
                     ntp = {"PUT", time, "<Time><timeMode>NTP</timeMode></Time>"},
                     pairs = {"PUT", ptz + "continuous", "<PTZData><pan>50</pan><tilt>-10</tilt><zoom>-100</zoom></PTZData>"};
  const struct { test_request request; int code; size_t offset; std::string bytes; } fields[] = {
      {manual, 6, 4, text("pool.ntp.org")}, {manual, 6, 132, word(24)}, {manual, 6, 136, word(2012)}, {manual, 6, 140, word(11)},
      {manual, 6, 144, word(26)}, {manual, 6, 148, word(17)}, {manual, 6, 152, word(38)}, {manual, 6, 156, word(49)},
      {ntp, 6, 0, word(2)}, {{"PUT", time + "/timeZone", "est5edt"}, 7, 0, text("EST5EDT")},
      {pairs, 50, 4, text("PANSPEED")}, {pairs, 50, 52, text("63")}, {pairs, 50, 148, text("12")},
      {pairs, 50, 388, text("ZOOM")}, {pairs, 50, 436, text("OUT")},
      {{"PUT", ptz + "absolute", "<PTZData><azimuth>180</azimuth><elevation>0</elevation></PTZData>"}, 63, 4, text("E50100CF7F4A8825446F")},
      {{"POST", presets, "<PTZPreset><presetName>Any</presetName></PTZPreset>"}, 52, 4, word(-1)},
      {{"PUT", presets + "/3/goto"}, 53, 4, word(3)}, {{"DELETE", presets + "/8"}, 54, 4, word(8)},
      {{"PUT", "/PSIA/Streaming/channels/1", "<StreamingChannel><id>Master-0</id></StreamingChannel>"}, 4, 4, word(1)},
      {{"PUT", "/PSIA/System/Video/inputs/channels/1", "<VideoInputChannel/>"}, 2, 0, word(-1)},
  };
  // clang-format on
  for (const auto& f : fields) {
    test_camera camera;
    camera.request(f.request);
    const auto& sent = camera.simulator().commands();
    auto c = std::find_if(sent.begin(), sent.end(), [&](const psia::sim_command& s) { return s.code == f.code; });
    ASSERT_NE(c, sent.end()) << f.code;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&c->payload[f.offset]), f.bytes.size()), f.bytes)
        << f.code << " at " << f.offset;
  }
}

// In a fresh IPC namespace the daemon's first queue has the id 0, a queue like any other.
TEST(Control, TheQueueWithTheIdZeroIsUsed) {
  test_camera first;  // the template camera root, made (and removed) by this process
  pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWIPC) != 0) _exit(77);
    alarm(5);  // a queue never found is waited for without end
    try {
      test_camera camera;
      _exit(camera.simulator().request_queue() == 0 && camera.put(kReboot, "") == status_answer(kReboot, 1) ? 0 : 1);
    } catch (...) {
      _exit(1);  // never on into the rest of the suite
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "no IPC namespace of its own: not root";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

const std::string kHostile[] = {"' or '1'='1", "x'); drop table UserAccount; --", "%n%n%s%s%x%d",
                                "admin' --",   "\"; delete from Preset; \"",      "long-" + std::string(173, 'A')};

TEST(Injection, TextsAreStoredAsSentAndNothingHostileIsAdmitted) {
  // A request whose body holds the hostile value at %V, and where it is stored ("" when it is not).
  // clang-format off
  const struct { const char *method, *uri, *body, *query; } fields[] = {
      {"PUT", "/PSIA/Security/AAA/users/guest", "<User><password>%V</password></User>", "select Password from UserAccount where UserID='guest'"},
      {"PUT", "/PSIA/System/deviceInfo", "<DeviceInfo><deviceName>%V</deviceName></DeviceInfo>", "select DDNSHostname from Network"},
      {"POST", "/PSIA/Custom/Event/notification/ftp", "<FTPNotificationList><FTPNotification><id>%V</id></FTPNotification></FTPNotificationList>", "select ServerName from FTPServer where FTPServerID=2"},
      {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress", "<IPAddress><ipVersion>v4</ipVersion><addressingType>static</addressingType><ipAddress>%V</ipAddress></IPAddress>", "select IpAddress from Network"},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0",
       "<EventTrigger><EventTriggerNotificationList><EventTriggerNotification><id>%V</id><notificationMethod>FTP</notificationMethod></EventTriggerNotification></EventTriggerNotificationList></EventTrigger>", ""},
  };
  // clang-format on
  for (const auto& f : fields) {
    for (const std::string& hostile : kHostile) {
      SCOPED_TRACE(f.uri + (": " + hostile));
      test_camera camera;
      std::string schema = camera.rows("select sql from sqlite_master");
      std::string body = f.body;
      body.replace(body.find("%V"), 2, hostile);
      camera.send(f.method, f.uri, body);
      EXPECT_EQ(camera.rows("select sql from sqlite_master"), schema);
      EXPECT_EQ(camera.query("select count(*) from UserAccount where UserID in ('admin', 'anonymous')"), "2");
      EXPECT_EQ(camera.query("select count(*) from Preset"), "2");
      if (*f.query == '\0') continue;
      std::string stored = camera.query(f.query);
      EXPECT_FALSE(stored.empty());
      EXPECT_EQ(hostile.rfind(stored, 0), 0u) << "stored as " << stored;  // cut, never changed
    }
  }
}

TEST(Injection, HostileCredentialsPathsAndQueriesAdmitNothing) {
  test_camera camera;
  psia::camera_lock(camera.ctx().camera).shared().guard =
      psia::login_guard(0, 0);  // a dozen refused logins in a row follow
  for (const std::string& hostile : kHostile)
    for (const std::string& authorization :
         {basic_authorization(hostile, hostile), basic_authorization("admin", hostile)})
      EXPECT_EQ(camera.request(get_as("/PSIA/index", authorization)).rfind("Status: 401", 0), 0u) << hostile;
  // A path is echoed as sent, never read as a format.
  EXPECT_EQ(camera.send("GET", "/PSIA/%n%s%x%s%s%s"), status_answer("/PSIA/%n%s%x%s%s%s", 4));
  for (const char* path :
       {"/PSIA/%n%s%x%s%s%s", "/PSIA/Security/AAA/users/x' or '1'='1", "/PSIA/Custom/Event/triggers/x' or '1'='1",
        "/PSIA/Custom/Event/notification/ftp/x' or '1'='1",
        "/PSIA/Custom/Event/triggers/Sensor-0/notifications/%s%n"}) {
    for (const char* method : {"GET", "DELETE"}) {
      camera.send(method, path, "", "MODE=%n%s&PAN=%s");
      EXPECT_EQ(camera.query("select count(*) from FTPServer"), "1") << path;
      EXPECT_EQ(camera.query("select count(*) from UserAccount"), "4") << path;
    }
  }
}

}  // namespace
