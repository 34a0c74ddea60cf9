#include "fuzz_driver.h"

#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "control/control_message.h"
#include "frame/request_loop.h"
#include "frame/startup.h"
#include "util/syslog.h"

namespace fs = std::filesystem;

const char kAdminAuthorization[] = "Basic YWRtaW46YWRtaW4=";

const fuzz_route kBodyRoutes[] = {
    {"PUT", "/PSIA/System/time"},
    {"PUT", "/PSIA/System/time/localTime"},
    {"PUT", "/PSIA/System/time/timeZone"},
    {"PUT", "/PSIA/System/time/ntpServers"},
    {"POST", "/PSIA/System/time/ntpServers"},
    {"PUT", "/PSIA/System/time/ntpServers/1"},
    {"PUT", "/PSIA/System/deviceInfo"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress"},
    {"PUT", "/PSIA/System/Network/interfaces/eth0/discovery"},
    {"GET", "/PSIA/System/Network/interfaces/eth0"},
    {"PUT", "/PSIA/System/Audio/channels/1"},
    {"PUT", "/PSIA/System/Video/inputs/channels/1"},
    {"PUT", "/PSIA/Security/AAA/users"},
    {"POST", "/PSIA/Security/AAA/users"},
    {"PUT", "/PSIA/Security/AAA/users/guest"},
    {"PUT", "/PSIA/Streaming/channels"},
    {"POST", "/PSIA/Streaming/channels"},
    {"PUT", "/PSIA/Streaming/channels/1"},
    {"PUT", "/PSIA/Streaming/channels/2"},
    {"PUT", "/PSIA/Custom/Event"},
    {"PUT", "/PSIA/Custom/Event/triggers"},
    {"POST", "/PSIA/Custom/Event/triggers"},
    {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0"},
    {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications"},
    {"POST", "/PSIA/Custom/Event/triggers/Sensor-0/notifications"},
    {"PUT", "/PSIA/Custom/Event/schedule"},
    {"PUT", "/PSIA/Custom/Event/notification"},
    {"PUT", "/PSIA/Custom/Event/notification/mailing"},
    {"POST", "/PSIA/Custom/Event/notification/mailing"},
    {"PUT", "/PSIA/Custom/Event/notification/mailing/mail-security"},
    {"PUT", "/PSIA/Custom/Event/notification/ftp"},
    {"POST", "/PSIA/Custom/Event/notification/ftp"},
    {"PUT", "/PSIA/Custom/Event/notification/ftp/ftp-archive"},
    {"PUT", "/PSIA/PTZ/channels"},
    {"PUT", "/PSIA/PTZ/channels/0"},
    {"PUT", "/PSIA/PTZ/channels/0/presets"},
    {"POST", "/PSIA/PTZ/channels/0/presets"},
    {"PUT", "/PSIA/PTZ/channels/0/presets/1"},
    {"PUT", "/PSIA/PTZ/channels/0/homePosition"},
    {"PUT", "/PSIA/PTZ/channels/0/continuous"},
    {"PUT", "/PSIA/PTZ/channels/0/absolute"},
    {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-archive"},
    {"PUT", "/PSIA/System/updateFirmware"},
    {"PUT", "/PSIA/System/configurationData"},
};
const size_t kBodyRouteCount = std::size(kBodyRoutes);

namespace {

// The camera's clock reads 2011-05-12T10:20:30 UTC when an input starts;
// sleeps only move it on.
class fuzz_clock final : public psia::clock_source {
 public:
  static constexpr time_t kStart = 1305195630;
  timeval wall_time() override {
    return {static_cast<time_t>(kStart + now_us / 1000000),
            static_cast<suseconds_t>(now_us % 1000000)};
  }
  int64_t monotonic_us() override { return now_us; }
  void sleep_us(int64_t us) override;
  int64_t now_us = 0;
};

// Queue keys name the process that made them, so that the queues of a
// fuzzing process that died on a finding can be recognised and removed.
constexpr long kKeyBase = 0x5c000000;
constexpr long kPidLimit = 1 << 22;  // Linux's largest pid_max
constexpr char kRootPrefix[] = "psia-fuzz-";
constexpr char kDownloadName[] = "fuzz-configuration.dat";
// No request sends more than four commands (a streaming channel list).
constexpr int64_t kLongestRequestWaitUs = 4 * 180100000LL;
// Under a lock each statement gives up after about a second; a request
// that meets one answers after a few.
constexpr int64_t kLockedDatabaseWaitUs = 10000000;

bool process_alive(long pid) { return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM; }

void remove_leftovers_of_dead_runs() {
  if (FILE* list = std::fopen("/proc/sysvipc/msg", "r")) {
    long key, id;
    if (std::fscanf(list, "%*[^\n]") < 0) key = 0;
    while (std::fscanf(list, "%ld %ld%*[^\n]", &key, &id) == 2)
      if (key >= kKeyBase && key < kKeyBase + 2 * kPidLimit && !process_alive((key - kKeyBase) / 2))
        msgctl(static_cast<int>(id), IPC_RMID, nullptr);
    std::fclose(list);
  }
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator("/tmp", ignored)) {
    std::string name = entry.path().filename();
    if (name.compare(0, sizeof kRootPrefix - 1, kRootPrefix) != 0) continue;
    std::string pid = name.substr(sizeof kRootPrefix - 1);
    if (!pid.empty() && pid.size() < 9 && std::all_of(pid.begin(), pid.end(), ::isdigit) &&
        !process_alive(std::stol(pid)))
      fs::remove_all(entry.path(), ignored);
  }
}

// A queue of this process's own, made afresh.
int make_queue(key_t key) {
  int id = msgget(key, 0666);
  if (id >= 0) msgctl(id, IPC_RMID, nullptr);
  return msgget(key, IPC_CREAT | IPC_EXCL | 0666);
}

void write_file(const std::string& path, const std::string& text) {
  std::error_code ignored;
  fs::remove(path, ignored);
  std::ofstream(path) << text;
}

std::string transfer_directory(const std::string& root) {
  return root + "/usr/local/httpd/htdocs/Web/updownload/";
}

int data_version(sqlite3_stmt* stmt) {
  int version = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int(stmt, 0) : -1;
  sqlite3_reset(stmt);
  return version;
}

// A line of the audit trail or an error: printable text, never a second
// line or a forged one.
void check_syslog_line(const char* line) {
  for (const char* c = line; *c != '\0'; ++c)
    if (*c < 0x20 || *c > 0x7e) {
      std::fprintf(stderr, "syslog line with byte 0x%02x: %s\n", static_cast<unsigned char>(*c),
                   line);
      abort();
    }
}

struct fuzz_camera {
  std::string root;
  fuzz_clock clock;
  std::unique_ptr<psia::request_context> ctx;
  std::unique_ptr<psia::syslog_socket> syslog;
  int logger = -1;  // the socket the syslog client sends to
  key_t request_key = 0, reply_key = 0;
  int request_queue = -1, reply_queue = -1;
  // The database as it was made, and the driver's own connection to the
  // camera's, through which it is put back.
  sqlite3* pristine = nullptr;
  sqlite3* db = nullptr;
  sqlite3_stmt* version = nullptr;
  int seen_version = 0;
  bool changed_here = false;
  psia::device_facts device;  // as start-up read them
  // The request in hand: what the daemon does and what it got.
  bool answering = true;
  fuzz_daemon daemon;
  std::vector<int32_t> commands;
  int64_t allowed_wait_us = 0;

  void remake_queues() {
    request_queue = make_queue(request_key);
    reply_queue = make_queue(reply_key);
    if (request_queue < 0 || reply_queue < 0) abort();
  }
  void remove_queues() {
    msgctl(request_queue, IPC_RMID, nullptr);
    msgctl(reply_queue, IPC_RMID, nullptr);
  }
  void daemon_runs();
  void answer(const psia::control_message& command);
};

fuzz_camera* the_camera = nullptr;

void fuzz_clock::sleep_us(int64_t us) {
  if (us > 0) now_us += us;
  // The daemon runs while the responder waits for it.
  if (the_camera != nullptr) the_camera->daemon_runs();
}

// Takes every command waiting in the request queue, recording it and, when
// the daemon answers, replying; a daemon restarting while the responder
// waits does so now.
void fuzz_camera::daemon_runs() {
  psia::control_message command;
  while (!daemon.hung && msgrcv(request_queue, &command, psia::kControlMessageSize, 0,
                                IPC_NOWAIT | MSG_NOERROR) >= 0) {
    commands.push_back(command.command);
    allowed_wait_us += psia::control_reply_wait_us(command.command);
    if (answering) answer(command);
  }
  if (daemon.restarted_while_waiting) {
    daemon.restarted_while_waiting = false;
    remove_queues();
    remake_queues();
  }
}

void fuzz_camera::answer(const psia::control_message& command) {
  using position_fields = psia::ptz_position_payload;
  psia::control_message reply(command.command);
  reply.mtype = command.mtype;
  reply.status = 1;
  if (command.command == psia::kCommandConfigurationFile)
    reply.put_text(psia::configuration_file_payload::kFileName, 64, kDownloadName);
  if (command.command == psia::kCommandPtzPosition) {
    const unsigned char frame[] = {
        position_fields::kPositionFrame, 0, 0x4b, 0x00, 0x27, 0x74, 0x03, 0x70};
    std::memcpy(reply.payload + position_fields::kFrameType, frame, sizeof frame);
  }
  msgsnd(reply_queue, &reply, psia::kControlMessageSize, IPC_NOWAIT);
}

void remove_camera() {
  fuzz_camera& c = *the_camera;
  c.remove_queues();
  std::error_code ignored;
  fs::remove_all(c.root, ignored);
}

// The responder started as its main() starts it, on a camera root of this
// process's own whose settings are in the environment.
fuzz_camera& camera() {
  if (the_camera != nullptr) return *the_camera;
  remove_leftovers_of_dead_runs();
  auto* c = new fuzz_camera;
  c->root = "/tmp/" + std::string(kRootPrefix) + std::to_string(getpid());
  std::error_code ignored;
  fs::remove_all(c->root, ignored);
  std::string make =
      std::string("/bin/bash " PSIA_SOURCE_DIR "/scripts/make-root.sh ") + c->root + " >/dev/null";
  if (system(make.c_str()) != 0) abort();
  // Fixed host files, so that an input answers the same on any machine.
  write_file(c->root + "/proc/uptime", "12345.67 40000.00\n");
  write_file(c->root + "/etc/resolv.conf", "search example.net\nnameserver 10.1.1.1\n");
  write_file(c->root + "/proc/net/route",
             "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
             "eth0\t0007A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
             "eth0\t00000000\t0107A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n");
  write_file(transfer_directory(c->root) + kDownloadName, "[camera]\nmodel=KTA3050\n");

  c->request_key = static_cast<key_t>(kKeyBase + 2 * static_cast<long>(getpid()));
  c->reply_key = c->request_key + 1;
  the_camera = c;
  atexit(remove_camera);
  c->remake_queues();
  setenv("PSIA_ROOT", (c->root + "/").c_str(), 1);
  setenv("PSIA_REQUEST_QUEUE_KEY", std::to_string(c->request_key).c_str(), 1);
  setenv("PSIA_REPLY_QUEUE_KEY", std::to_string(c->reply_key).c_str(), 1);
  setenv("HOSTNAME", "fuzz-camera", 1);
  setenv("TZ", "UTC0", 1);
  psia::runtime_settings settings;
  std::vector<std::string> problems;
  if (!psia::load_settings(&settings, &problems)) abort();

  std::string database = settings.host_path("/usr/local/korvia/kkorvia.db");
  if (sqlite3_open(":memory:", &c->pristine) != SQLITE_OK ||
      sqlite3_open(database.c_str(), &c->db) != SQLITE_OK)
    abort();
  sqlite3_backup* copy = sqlite3_backup_init(c->pristine, "main", c->db, "main");
  if (copy == nullptr || sqlite3_backup_step(copy, -1) != SQLITE_DONE ||
      sqlite3_backup_finish(copy) != SQLITE_OK)
    abort();
  // Putting the database back needs no durability.
  sqlite3_exec(c->db, "pragma synchronous=off; pragma journal_mode=memory", nullptr, nullptr,
               nullptr);
  if (sqlite3_prepare_v2(c->db, "pragma data_version", -1, &c->version, nullptr) != SQLITE_OK)
    abort();
  c->seen_version = data_version(c->version);

  sockaddr_un logger{};
  logger.sun_family = AF_UNIX;
  std::string logger_path = settings.host_path("/dev/log");
  if (logger_path.size() >= sizeof logger.sun_path) abort();
  std::memcpy(logger.sun_path, logger_path.c_str(), logger_path.size() + 1);
  c->logger = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (c->logger < 0 || bind(c->logger, reinterpret_cast<sockaddr*>(&logger), sizeof logger) != 0)
    abort();
  c->syslog = std::make_unique<psia::syslog_socket>(logger_path, "psia-responder");

  c->ctx = std::make_unique<psia::request_context>(settings, c->clock);
  // Complaints are formatted and dropped.
  c->ctx->log.set_stream([](const char*, size_t) {});
  c->ctx->log.set_syslog([c](int priority, const char* line) {
    check_syslog_line(line);
    c->syslog->send(priority, line);
  });
  if (!psia::start_up(*c->ctx)) abort();
  c->device = c->ctx->camera.own().device;
  return *c;
}

// The answers written, back to back: documents and ResponseStatus documents
// whose Content-Length counts exactly the bytes behind their header block,
// or the configuration download (its own header, the file's size); or the
// 401 alone.
void check_answers(const std::string& out) {
  const char kDocument[] = "Content-Length: ";
  const char kFile[] = "Content-Type: application/octet-stream\nContent-length: ";
  const char kUnauthorized[] = "Status: 401 Unauthorized\n";
  if (out.compare(0, sizeof kUnauthorized - 1, kUnauthorized) == 0 &&
      out.find("\n\n") != std::string::npos && out.find("Status:", 1) == std::string::npos)
    return;
  for (size_t at = 0; at < out.size();) {
    bool file = out.compare(at, sizeof kFile - 1, kFile) == 0;
    const char* end_of_header = file ? "\n\n" : "\r\n\r\n";
    size_t header_end = out.find(end_of_header, at);
    if ((!file && out.compare(at, sizeof kDocument - 1, kDocument) != 0) ||
        header_end == std::string::npos) {
      std::fprintf(stderr, "malformed answer at byte %zu:\n%.200s\n", at, out.c_str() + at);
      abort();
    }
    long announced =
        std::strtol(out.c_str() + at + (file ? sizeof kFile : sizeof kDocument) - 1, nullptr, 10);
    size_t body = header_end + std::strlen(end_of_header);
    if (announced < 0 || static_cast<size_t>(announced) > out.size() - body) {
      std::fprintf(stderr, "Content-Length %ld but %zu bytes sent\n", announced, out.size() - body);
      abort();
    }
    at = body + static_cast<size_t>(announced);
  }
}

// A body handed over in pieces, as the web server's stream may give it,
// counting what the responder took.
class piece_input final : public psia::input_stream {
 public:
  piece_input(const std::string& text, size_t piece) : whole_(text), piece_(piece) {}
  size_t read(void* data, size_t size) override {
    size_t n = whole_.read(data, piece_ > 0 && piece_ < size ? piece_ : size);
    taken_ += n;
    return n;
  }
  size_t taken() const { return taken_; }

 private:
  psia::string_input whole_;
  size_t piece_;
  size_t taken_ = 0;
};

void post_reply(const fuzz_camera& c, const fuzz_reply& r) {
  struct {
    long mtype;
    unsigned char text[8192];
  } raw = {};
  switch (r.to) {
    case fuzz_reply::reply_to::this_process: raw.mtype = getpid(); break;
    case fuzz_reply::reply_to::another_process: raw.mtype = getpid() + 1; break;
    case fuzz_reply::reply_to::type_one: raw.mtype = 1; break;
  }
  std::memcpy(raw.text, &r.command, 4);
  std::memcpy(raw.text + 4, &r.status, 4);
  std::memcpy(raw.text + 8, r.payload.data(), std::min(r.payload.size(), sizeof raw.text - 8));
  msgsnd(c.reply_queue, &raw, std::min(r.size, sizeof raw.text), IPC_NOWAIT);
}

// The daemon as the request finds it; undone by after_request.
void before_request(fuzz_camera& c, const fuzz_request& r) {
  c.answering = !r.scripted_daemon;
  c.daemon = r.scripted_daemon ? r.daemon : fuzz_daemon();
  c.commands.clear();
  c.allowed_wait_us = 0;
  if (c.daemon.gone || c.daemon.restarted_before) c.remove_queues();
  if (!c.daemon.gone && c.daemon.restarted_before) c.remake_queues();
  if (c.daemon.hung) {
    // A queue that holds less than one frame takes no command.
    msqid_ds state;
    if (msgctl(c.request_queue, IPC_STAT, &state) == 0) {
      state.msg_qbytes = 1;
      msgctl(c.request_queue, IPC_SET, &state);
    }
    c.allowed_wait_us = kLongestRequestWaitUs;
  }
  if (r.scripted_daemon)
    for (const fuzz_reply& reply : r.replies) post_reply(c, reply);
  if (r.database_locked) {
    if (sqlite3_exec(c.db, "begin exclusive", nullptr, nullptr, nullptr) != SQLITE_OK) abort();
    c.allowed_wait_us += kLockedDatabaseWaitUs;
  }
}

void after_request(fuzz_camera& c, const fuzz_request& r) {
  if (r.database_locked) sqlite3_exec(c.db, "rollback", nullptr, nullptr, nullptr);
  c.daemon.restarted_while_waiting = false;
  if (c.daemon.gone || c.daemon.hung) {
    // Made anew: the full queue's limit goes with it.
    c.remove_queues();
    c.remake_queues();
  } else {
    c.daemon_runs();
  }
  psia::control_channel::drain_control_queue(c.reply_queue);
  char datagram[2048];
  while (recv(c.logger, datagram, sizeof datagram, MSG_DONTWAIT) >= 0) {
  }
}

}  // namespace

void fuzz_new_input() {
  fuzz_camera& c = camera();
  if (c.changed_here || data_version(c.version) != c.seen_version) {
    sqlite3_backup* copy = sqlite3_backup_init(c.db, "main", c.pristine, "main");
    if (copy == nullptr || sqlite3_backup_step(copy, -1) != SQLITE_DONE ||
        sqlite3_backup_finish(copy) != SQLITE_OK) {
      std::fprintf(stderr, "could not put the database back: %s\n", sqlite3_errmsg(c.db));
      abort();
    }
    c.changed_here = false;
    c.seen_version = data_version(c.version);
  }
  psia::request_context& ctx = *c.ctx;
  ctx.camera.reset(psia::camera_state(ctx.settings.login_attempts, ctx.settings.login_lockout,
                                      ctx.settings.login_budget));
  ctx.camera.own().device = c.device;
  // The queues a restarted daemon made are found again.
  ctx.control.attach(c.request_key, c.reply_key);
  c.clock.now_us = 0;
  setenv("TZ", "UTC0", 1);
  tzset();
}

sqlite3* fuzz_database() {
  camera().changed_here = true;
  return camera().db;
}

void fuzz_reread_start_up() {
  fuzz_camera& c = camera();
  if (!psia::start_up(*c.ctx)) abort();
}

std::string fuzz_transfer_directory() { return transfer_directory(camera().root); }

fuzz_result fuzz_serve(const fuzz_request& r) {
  fuzz_camera& c = camera();
  // Making the device identifier closes the connection; a real responder
  // is started again, here it is reopened.
  if (!c.ctx->store.is_open())
    c.ctx->store.open(c.ctx->settings.host_path("/usr/local/korvia/kkorvia.db"), &c.clock);
  std::string content_length =
      r.content_length_text != nullptr ? r.content_length_text : std::to_string(r.body.size());
  psia::request_params params;
  params.method = r.method.c_str();
  params.uri = r.uri.c_str();
  params.query = r.query.empty() ? nullptr : r.query.c_str();
  params.authorization = r.authorization.empty() ? nullptr : r.authorization.c_str();
  params.content_length = r.content_length ? content_length.c_str() : nullptr;
  params.remote_addr = "192.0.2.10";
  piece_input in(r.body, r.read_chunk);
  psia::string_output out;

  before_request(c, r);
  int64_t started = c.clock.now_us;
  psia::serve_request(*c.ctx, params, in, out);
  int64_t waited = c.clock.now_us - started;
  after_request(c, r);
  // Whatever the daemon and the database did, the request waited no
  // longer than the commands it sent may wait.
  if (waited > c.allowed_wait_us) {
    std::fprintf(stderr, "the request waited %lld us; its %zu commands may wait %lld us\n",
                 static_cast<long long>(waited), c.commands.size(),
                 static_cast<long long>(c.allowed_wait_us));
    abort();
  }
  check_answers(out.text);
  return {std::move(out.text), in.taken(), c.commands};
}

fuzz_request fuzz_request_from_bytes(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::string fields[4];
  size_t at = 0;
  for (std::string& field : fields) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    field = text.substr(at, end - at);
    at = end < text.size() ? end + 1 : text.size();
  }
  fuzz_request r;
  r.method = fields[0];
  r.uri = fields[1];
  r.query = fields[2];
  // "-" asks for no header at all; "admin" for the administrator's.
  if (fields[3] == "admin")
    r.authorization = kAdminAuthorization;
  else if (fields[3] != "-")
    r.authorization = fields[3];
  r.body = text.substr(at);
  r.content_length = !r.body.empty() || r.method != "GET";
  return r;
}
