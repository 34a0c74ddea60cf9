#include "responder_harness.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

void set_nonblocking(int fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK); }

std::string make_temp_dir() {
  char name[] = "/tmp/psia-camera-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
  return name;
}

}  // namespace

const char kXmlType[] = "Content-Type: application/xml\r\n\r\n";
const char kXmlUtf8Type[] = "Content-Type: application/xml; charset=\"UTF-8\"\r\n\r\n";

ProcessResult run_process(const std::vector<std::string>& argv,
                          const std::vector<std::string>& env,
                          const std::string& input) {
  int in[2], out[2], err[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0)
    throw std::runtime_error("pipe failed");
  pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    std::vector<char*> args, envp;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
    execve(args[0], args.data(), envp.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  signal(SIGPIPE, SIG_IGN);
  set_nonblocking(in[1]);
  ProcessResult result;
  size_t written = 0;
  int to_child = in[1];
  if (input.empty()) {
    close(to_child);
    to_child = -1;
  }
  int open_outputs = 2;
  while (open_outputs > 0) {
    pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {to_child, POLLOUT, 0}};
    if (poll(fds, to_child >= 0 ? 3 : 2, 300000) <= 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char chunk[4096];
      ssize_t n = read(fds[i].fd, chunk, sizeof chunk);
      if (n > 0) {
        (i == 0 ? result.out : result.err).append(chunk, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        close(fds[i].fd);
        (i == 0 ? out[0] : err[0]) = -1;
        --open_outputs;
      }
    }
    if (to_child >= 0 && fds[2].revents != 0) {
      ssize_t n = write(to_child, input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if (n < 0 || written == input.size()) {
        close(to_child);
        to_child = -1;
      }
    }
  }
  if (to_child >= 0) close(to_child);
  for (int fd : {out[0], err[0]})
    if (fd >= 0) close(fd);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string basic_authorization(const std::string& user, const std::string& password) {
  static const char alphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string in = user + ":" + password, out;
  for (size_t i = 0; i < in.size(); i += 3) {
    unsigned v = static_cast<unsigned char>(in[i]) << 16;
    if (i + 1 < in.size()) v |= static_cast<unsigned char>(in[i + 1]) << 8;
    if (i + 2 < in.size()) v |= static_cast<unsigned char>(in[i + 2]);
    out += alphabet[(v >> 18) & 63];
    out += alphabet[(v >> 12) & 63];
    out += i + 1 < in.size() ? alphabet[(v >> 6) & 63] : '=';
    out += i + 2 < in.size() ? alphabet[v & 63] : '=';
  }
  return "Basic " + out;
}

Camera::Camera(const std::string& sql, const std::vector<std::string>& sim_args)
    : root_(make_temp_dir()) {
  std::vector<std::string> argv = {"/bin/bash",
                                   std::string(PSIA_SOURCE_DIR) + "/scripts/make-root.sh",
                                   root_};
  if (!sql.empty()) {
    std::string extra = root_ + "/fixture.sql";
    FILE* f = fopen(extra.c_str(), "w");
    fwrite(sql.data(), 1, sql.size(), f);
    fclose(f);
    argv.push_back(extra);
  }
  ProcessResult made = run_process(argv, {"PATH=/usr/bin:/bin"}, "");
  if (made.exit_status != 0)
    throw std::runtime_error("make-root.sh failed: " + made.err);
  sim_ = std::make_unique<SimProcess>(
      sim_args, root_ + "/usr/local/httpd/htdocs/Web/updownload");
}

Camera::~Camera() {
  sim_.reset();
  run_process({"/bin/rm", "-rf", root_}, {}, "");
}

ProcessResult Camera::request(const Request& r) {
  std::vector<std::string> env = {
      "PSIA_ROOT=" + root_,
      "PSIA_REQUEST_QUEUE_KEY=" + std::to_string(sim_->request_key()),
      "PSIA_REPLY_QUEUE_KEY=" + std::to_string(sim_->reply_key()),
      "GATEWAY_INTERFACE=CGI/1.1",
      "REQUEST_METHOD=" + r.method,
      "REQUEST_URI=" + r.uri,
  };
  if (!r.authorization.empty()) env.push_back("HTTP_AUTHORIZATION=" + r.authorization);
  if (r.has_content_length && (!r.body.empty() || !r.content_length.empty()))
    env.push_back("CONTENT_LENGTH=" +
                  (r.content_length.empty() ? std::to_string(r.body.size()) : r.content_length));
  for (const auto& [name, value] : r.env) env.push_back(name + "=" + value);
  for (const char* pass : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (const char* v = getenv(pass)) env.push_back(std::string(pass) + "=" + v);
  }
  return run_process(target_command({PSIA_RESPONDER_PATH}), env, r.body);
}

ProcessResult Camera::get(const std::string& uri) {
  Request r;
  r.uri = uri;
  return request(r);
}

ProcessResult Camera::put(const std::string& uri, const std::string& body) {
  return send("PUT", uri, body);
}

ProcessResult Camera::send(const std::string& method, const std::string& uri,
                           const std::string& body, const std::string& query) {
  Request r;
  r.method = method;
  r.uri = uri;
  r.body = body;
  if (!query.empty()) r.env = {{"QUERY_STRING", query}};
  return request(r);
}

std::string Camera::database_path() const {
  return root_ + "/usr/local/korvia/kkorvia.db";
}

std::string Camera::query(const std::string& sql) const {
  sqlite3* db = nullptr;
  std::string value;
  if (sqlite3_open(database_path().c_str(), &db) == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_text(stmt, 0) != nullptr)
      value = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return value;
}

void Camera::exec(const std::string& sql) const {
  sqlite3* db = nullptr;
  if (sqlite3_open(database_path().c_str(), &db) == SQLITE_OK)
    sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

std::string document_answer(const std::string& body, const char* content_type_line) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n" + content_type_line + body;
}

std::string status_answer(const std::string& uri, int code) {
  static const char* const texts[] = {"OK", "Device Busy", "Device Error",
                                      "Invalid Operation", "Invalid XML Format",
                                      "Invalid XML Content", "Reboot Required"};
  std::string body =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
      "<ResponseStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">\n"
      "<requestURL>" + uri + "</requestURL>\n"
      "<statusCode>" + std::to_string(code) + "</statusCode>\n"
      "<!-- O=1-OK, 2-Device Busy, 3-Device Error, 4-Invalid Operation, "
      "5-Invalid XML Format, 6-Invalid XML content; 7-Reboot Required -->\n"
      "<statusString>" + texts[code - 1] + "</statusString>\n"
      "<id>1</id>\n"
      "</ResponseStatus>\n";
  return document_answer(body, kXmlUtf8Type);
}
