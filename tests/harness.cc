#include "harness.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "frame/request_loop.h"
#include "frame/startup.h"
#include "io/host_probes.h"

namespace fs = std::filesystem;

namespace psia_test {

namespace {

// One camera root per test binary, made by the project's own script, with the host files it links replaced by fixed
// ones; removed at exit.
struct template_root_dir {
  template_root_dir() {
    char name[] = "/tmp/psia-template-XXXXXX";
    path = mkdtemp(name) != nullptr ? name : throw std::runtime_error("mkdtemp failed");
    if (run_process({"/bin/bash", PSIA_SOURCE_DIR "/scripts/make-root.sh", path}, {"PATH=/usr/bin:/bin"}).exit_status)
      throw std::runtime_error("make-root.sh failed");
    const std::pair<const char*, const char*> files[] =
        {{"/proc/uptime", "12345.67 40000.00\n"},
         {"/etc/resolv.conf", "search example.net\nnameserver 10.1.1.1\nnameserver 10.1.1.2\n"},
         {"/proc/net/route",
          "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
          "eth0\t0007A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
          "eth0\t00000000\t0107A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"}};
    for (const auto& [file, text] : files) {
      fs::remove(path + file);
      std::ofstream(path + file) << text;
    }
  }
  ~template_root_dir() { fs::remove_all(path); }
  std::string path;
};

const std::string& template_root() {
  static const template_root_dir root;
  return root.path;
}

// Queue keys of this process's own, a fresh pair for every camera.
int next_key_pair() {
  static int counter = 0;
  return 0x5a000000 + ((getpid() & 0xffff) << 8) + 2 * (counter++ & 0x7f);
}

}  // namespace

const char kXml[] = "Content-Type: application/xml\r\n\r\n";
const char kXmlUtf8[] = "Content-Type: application/xml; charset=\"UTF-8\"\r\n\r\n";

timeval test_clock::wall_time() {
  return {static_cast<time_t>(wall_start + now_us / 1000000), static_cast<suseconds_t>(now_us % 1000000)};
}

void test_clock::sleep_us(int64_t us) {
  now_us += us;
  if (on_sleep) on_sleep();
}

std::string basic_authorization(const std::string& user, const std::string& password) {
  static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  unsigned bits = 0, count = 0;  // bits not yet written, and how many
  for (unsigned char c : user + ":" + password)
    for (bits = bits << 8 | c, count += 8; count >= 6;) out += alphabet[(bits >> (count -= 6)) & 63];
  if (count > 0) out += alphabet[(bits << (6 - count)) & 63];
  while (out.size() % 4 != 0) out += '=';
  return "Basic " + out;
}

test_camera::test_camera(const std::string& sql) {
  // In memory where the machine has it: every change to a camera's database
  // is synced to its file, which on a disk costs the suite most of its time.
  std::string name = (access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + std::string("/psia-camera-XXXXXX");
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  root_ = name;
  fs::copy(template_root(), root_,
           fs::copy_options::recursive | fs::copy_options::copy_symlinks | fs::copy_options::overwrite_existing);
  if (!sql.empty()) exec(sql);
  // Local time is UTC unless a test's PUT time says otherwise.
  setenv("TZ", "UTC0", 1);

  psia::sim_options options;
  options.request_key = next_key_pair();
  options.reply_key = options.request_key + 1;
  options.transfer_dir = path("/usr/local/httpd/htdocs/Web/updownload");
  sim_ = std::make_unique<psia::control_simulator>(options);
  if (!sim_->create_queues()) throw std::runtime_error("cannot create the daemon's queues");
  clock_.on_sleep = [this] {
    int64_t now_ms = clock_.now_us / 1000;
    while (sim_->serve_one(false, now_ms)) {
    }
    sim_->release_due(now_ms);
  };

  psia::runtime_settings settings;
  settings.root = root_;
  settings.request_queue_key = options.request_key;
  settings.reply_queue_key = options.reply_key;
  settings.host_name = "camera-host";
  ctx_ = std::make_unique<psia::request_context>(settings, clock_);
  ctx_->log.set_stream([this](const char* text, size_t size) { errors_.append(text, size); });
  ctx_->log.set_syslog(
      [this](int priority, const char* line) { syslog_.push_back(std::to_string(priority) + " " + line); });
  if (!psia::start_up(*ctx_)) throw std::runtime_error("the camera did not start: " + errors_);
}

test_camera::~test_camera() {
  ctx_.reset();
  sim_.reset();
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::unique_ptr<psia::request_context> test_camera::another_worker() {
  auto worker = std::make_unique<psia::request_context>(ctx_->settings, clock_);
  worker->log.set_stream([this](const char* text, size_t size) { errors_.append(text, size); });
  if (!psia::start_up(*worker)) throw std::runtime_error("the worker did not start: " + errors_);
  return worker;
}

std::string test_camera::request(psia::request_context& worker, const test_request& r) {
  std::string length = r.content_length != nullptr ? r.content_length : std::to_string(r.body.size());
  psia::request_params params;
  params.method = r.method.c_str();
  params.uri = r.uri.empty() ? nullptr : r.uri.c_str();
  params.query = r.query.empty() ? nullptr : r.query.c_str();
  params.authorization = r.authorization.empty() ? nullptr : r.authorization.c_str();
  bool has_length = !r.no_content_length && (r.content_length != nullptr || !r.body.empty() || r.method != "GET");
  params.content_length = has_length ? length.c_str() : nullptr;
  params.remote_addr = r.remote_addr.c_str();
  psia::string_input in(r.body);
  psia::string_output out;
  psia::serve_request(worker, params, in, out);
  return out.text;
}

process_result test_camera::run_cgi(const std::vector<std::string>& cgi, const std::string& input) const {
  std::vector<std::string> env = {"PSIA_ROOT=" + root_,
                                  "PSIA_REQUEST_QUEUE_KEY=" + std::to_string(sim_->options().request_key),
                                  "PSIA_REPLY_QUEUE_KEY=" + std::to_string(sim_->options().reply_key),
                                  "GATEWAY_INTERFACE=CGI/1.1"};
  env.insert(env.end(), cgi.begin(), cgi.end());
  return run_process({PSIA_RESPONDER_PATH}, env, input);
}

std::string test_camera::rows(const std::string& sql) const {
  sqlite3* db = nullptr;
  std::string out;
  if (sqlite3_open_v2(path("/usr/local/korvia/kkorvia.db").c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK) {
      while (sqlite3_step(stmt) == SQLITE_ROW) {
        if (!out.empty()) out += "\n";
        for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
          const unsigned char* cell = sqlite3_column_text(stmt, c);
          out += (c > 0 ? "|" : "") + std::string(cell != nullptr ? reinterpret_cast<const char*>(cell) : "");
        }
      }
    }
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return out;
}

std::string test_camera::query(const std::string& sql) const {
  std::string all = rows(sql);
  return all.substr(0, all.find_first_of("|\n"));
}

void test_camera::exec(const std::string& sql) const {
  sqlite3* db = nullptr;
  if (sqlite3_open(path("/usr/local/korvia/kkorvia.db").c_str(), &db) != SQLITE_OK ||
      sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    std::string error = sqlite3_errmsg(db);
    sqlite3_close(db);
    throw std::runtime_error("fixture SQL failed: " + error);
  }
  sqlite3_close(db);
}

database_lock::database_lock(const test_camera& camera, const char* begin) {
  sqlite3_open(camera.path("/usr/local/korvia/kkorvia.db").c_str(), &db);
  EXPECT_EQ(sqlite3_exec(db, begin, nullptr, nullptr, nullptr), SQLITE_OK);
}
database_lock::~database_lock() { sqlite3_close(db); }
void database_lock::release() { sqlite3_exec(db, "commit", nullptr, nullptr, nullptr); }

std::vector<std::string> test_camera::commands() const {
  std::vector<std::string> out;
  for (const psia::sim_command& c : sim_->commands()) {
    psia::control_message m(c.code);
    std::copy(c.payload.begin(), c.payload.end(), m.payload);
    std::string fields = psia::control_simulator::decode_fields(m);
    out.push_back(std::to_string(c.code) + (fields.empty() ? "" : " " + fields));
  }
  return out;
}

void test_camera::fill_request_queue() {
  psia::control_message m(0);
  while (msgsnd(sim_->request_queue(), &m, psia::kControlMessageSize, IPC_NOWAIT) == 0) {
  }
}

void run_cases(const std::vector<request_case>& cases) {
  for (const request_case& c : cases) {
    SCOPED_TRACE(c.method + " " + c.uri + " " + c.query_string + " " + c.body.substr(0, 160) + " after " + c.setup);
    test_camera camera(c.setup);
    for (const auto& [command, status] : c.daemon_status) camera.daemon().status[command] = status;
    if (c.prepare) c.prepare(camera);
    std::string out = camera.send(c.method, c.uri, c.body, c.query_string);
    if (!c.answer.empty())
      EXPECT_EQ(out, c.answer);
    else if (c.status != 0)
      EXPECT_EQ(out, c.status < 0 ? "" : status_answer(c.uri, c.status));
    else if (c.present.empty())
      ADD_FAILURE() << "a case without an expected answer";
    for (const std::string& part : c.present) EXPECT_NE(out.find(part), std::string::npos) << part;
    for (const std::string& part : c.missing) EXPECT_EQ(out.find(part), std::string::npos) << part;
    EXPECT_EQ(camera.commands(), c.commands);
    for (const auto& [sql, expected] : c.rows) EXPECT_EQ(camera.rows(sql), expected) << sql;
  }
}

std::string document_answer(const std::string& body, const char* content_type) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n" + content_type + body;
}

std::string xml_answer(const std::string& element, const char* type) {
  return document_answer("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n" + element, type);
}

std::string status_answer(const std::string& uri, int code) {
  // clang-format off
  static const char* const texts[] = {"OK", "Device Busy", "Device Error", "Invalid Operation", "Invalid XML Format",
                                      "Invalid XML Content", "Reboot Required"};
  // clang-format on
  const std::string comment =
      "<!-- O=1-OK, 2-Device Busy, 3-Device Error, 4-Invalid Operation, 5-Invalid XML Format, 6-Invalid XML "
      "content; 7-Reboot Required -->\n";
  return document_answer(
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<ResponseStatus version=\"1.0\" "
      "xmlns=\"urn:psialliance-org\">\n<requestURL>" +
          uri + "</requestURL>\n<statusCode>" + std::to_string(code) + "</statusCode>\n" + comment + "<statusString>" +
          texts[code - 1] + "</statusString>\n<id>1</id>\n</ResponseStatus>\n",
      kXmlUtf8);
}

std::string psia_element(const std::string& name, const std::string& inner) {
  return "<" + name + " version=\"1.0\" xmlns=\"urn:psialliance-org\">" + inner + "</" + name + ">";
}

std::string golden(const std::string& name) {
  std::ifstream in(std::string(PSIA_SOURCE_DIR) + "/tests/golden/" + name, std::ios::binary);
  if (!in) throw std::runtime_error("no golden document " + name);
  std::string text(std::istreambuf_iterator<char>(in), {});
  // Host-specific values stand as ${NAME} in the documents: eth0 of the machine the tests run on, as the responder
  // reads it.
  psia::event_log log;
  log.set_stream(nullptr);
  char ip[psia::kIpv4TextSize], mask[psia::kIpv4TextSize], mac[18];
  unsigned char m[6] = {0, 0, 0, 0, 0, 0};
  psia::format_ipv4(psia::read_ip_address(log, "eth0").value_or(0xFFFFFFFFu), ip);
  psia::format_ipv4(psia::read_subnet_mask(log, "eth0").value_or(0xFFFFFFFFu), mask);
  psia::read_mac_address(log, "eth0", m);
  std::snprintf(mac, sizeof mac, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4], m[5]);
  for (const auto& [token, value] :
       {std::pair<std::string, const char*>{"${MAC}", mac}, {"${IP}", ip}, {"${MASK}", mask}})
    for (size_t at = text.find(token); at != std::string::npos; at = text.find(token))
      text.replace(at, token.size(), value);
  return text;
}

std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

process_result run_process(const std::vector<std::string>& argv, std::vector<std::string> env,
                           const std::string& input) {
  for (const char* pass : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"})
    if (const char* v = getenv(pass)) env.push_back(std::string(pass) + "=" + v);
  std::vector<std::string> command = argv;
#ifdef PSIA_TEST_EMULATOR
  // The responder is built for the target; the host's shell is not.
  if (argv[0] == PSIA_RESPONDER_PATH) {
    std::istringstream emulator(PSIA_TEST_EMULATOR);
    command.insert(command.begin(), std::istream_iterator<std::string>(emulator), {});
  }
#endif
  // The streams go through files: the child may write all it likes.
  char dir[] = "/tmp/psia-run-XXXXXX";
  if (mkdtemp(dir) == nullptr) throw std::runtime_error("mkdtemp failed");
  const std::string files[] = {std::string(dir) + "/in", std::string(dir) + "/out", std::string(dir) + "/err"};
  std::ofstream(files[0], std::ios::binary) << input;
  pid_t pid = fork();
  if (pid == 0) {
    for (int fd = 0; fd < 3; ++fd) dup2(open(files[fd].c_str(), fd == 0 ? O_RDONLY : O_WRONLY | O_CREAT, 0600), fd);
    std::vector<char*> args, envp;
    for (const std::string& a : command) args.push_back(const_cast<char*>(a.c_str()));
    for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
    args.push_back(nullptr);
    envp.push_back(nullptr);
    execve(args[0], args.data(), envp.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  process_result result{file_text(files[1]), file_text(files[2]), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
  fs::remove_all(dir);
  return result;
}

}  // namespace psia_test
