// The request-level harness: a camera made fresh for each test (its own root, database and control daemon simulator)
// served in this process through the responder's own request entry, the one the fuzz targets use.
// Time is the test's: the camera's clock reads 2011-05-12T10:20:30 UTC, and every wait (the busy handler, the control
// daemon) advances a virtual clock and serves the simulator instead of sleeping.
#ifndef PSIA_TESTS_HARNESS_H
#define PSIA_TESTS_HARNESS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "control_sim.h"
#include "io/request_context.h"

struct sqlite3;

namespace psia_test {

class test_clock final : public psia::clock_source {
 public:
  timeval wall_time() override;
  int64_t monotonic_us() override { return now_us; }
  void sleep_us(int64_t us) override;

  time_t wall_start = 1305195630;  // 2011-05-12T10:20:30Z
  int64_t now_us = 0;
  std::function<void()> on_sleep;
};

std::string basic_authorization(const std::string& user, const std::string& password);

// A request; an empty path, query (QUERY_STRING) or authorization is sent as none.
struct test_request {
  std::string method = "GET", uri, body, query;
  std::string authorization = basic_authorization("admin", "admin");
  // CONTENT_LENGTH: the body's size unless given; none for a bodiless GET.
  const char* content_length = nullptr;
  bool no_content_length = false;
  std::string remote_addr = "192.0.2.10";  // REMOTE_ADDR
};
inline test_request get_as(const std::string& uri, const std::string& auth) { return {"GET", uri, "", "", auth}; }

// A file's bytes ("" when it cannot be read).
std::string file_text(const std::string& path);

struct process_result {
  std::string out, err;
  int exit_status = -1;  // -1 when it died of a signal
};
// Runs argv with exactly `env` (and the sanitizer settings of this process), feeding `input` on its standard input.
process_result run_process(const std::vector<std::string>& argv, std::vector<std::string> env,
                           const std::string& input = "");

class test_camera {
 public:
  // `sql` runs on the fresh camera's database before start-up.
  explicit test_camera(const std::string& sql = "");
  ~test_camera();

  // Serves one request; everything it wrote.
  std::string request(const test_request& r) { return request(*ctx_, r); }
  // Another responder process of this camera, in this process: a context of its own on the same region, database and
  // queues, logging with the camera. Served through request(worker, r).
  std::unique_ptr<psia::request_context> another_worker();
  std::string request(psia::request_context& worker, const test_request& r);
  std::string get(const std::string& uri) { return send("GET", uri); }
  std::string put(const std::string& uri, const std::string& body) { return send("PUT", uri, body); }
  std::string send(const std::string& method, const std::string& uri, const std::string& body = "",
                   const std::string& query = "") {
    return request({method, uri, body, query});
  }
  // Runs the executable as a CGI program on this camera, with `cgi` added to its environment.
  process_result run_cgi(const std::vector<std::string>& cgi, const std::string& input = "") const;

  // The first cell of a query on the database ("" when none), or every row joined by "|" columns and "\n" rows.
  std::string query(const std::string& sql) const;
  std::string rows(const std::string& sql) const;
  void exec(const std::string& sql) const;
  std::string path(const std::string& absolute) const { return root_ + absolute; }

  // The control daemon: what it is told to do, and the commands it got as "code fields" lines.
  psia::sim_options& daemon() { return sim_->options(); }
  std::vector<std::string> commands() const;
  psia::control_simulator& simulator() { return *sim_; }
  // Fills the daemon's request queue to the brim, as commands pile up before a daemon that stopped reading.
  void fill_request_queue();

  psia::request_context& ctx() { return *ctx_; }
  test_clock& clock() { return clock_; }
  const std::string& errors() const { return errors_; }
  const std::vector<std::string>& syslog() const { return syslog_; }

 private:
  std::string root_, errors_;
  test_clock clock_;
  std::unique_ptr<psia::control_simulator> sim_;
  std::unique_ptr<psia::request_context> ctx_;
  std::vector<std::string> syslog_;
};

// Another process's connection to the camera's database, holding the lock `begin` takes until released or destroyed.
struct database_lock {
  database_lock(const test_camera& camera, const char* begin);
  ~database_lock();
  void release();
  sqlite3* db = nullptr;
};

// One row of a request table: a request to a fresh camera, and everything it must leave behind:
//   put(uri, body).after(sql).daemon(3, 2).answers(1).sends({"94"}).leaves(query, rows)
struct request_case {
  std::string method, uri, body;
  std::string setup, query_string, answer;
  int status = 0;
  std::vector<std::string> commands, present, missing;
  std::vector<std::pair<std::string, std::string>> rows;
  std::vector<std::pair<int, int>> daemon_status;
  std::function<void(test_camera&)> prepare;

  // The camera before the request: SQL on its database, anything else done to it, the status the daemon answers.
  request_case&& after(std::string sql) && { return setup = std::move(sql), std::move(*this); }
  request_case&& with(std::function<void(test_camera&)> f) && { return prepare = std::move(f), std::move(*this); }
  request_case&& daemon(int code, int reply) && { return daemon_status.emplace_back(code, reply), std::move(*this); }
  request_case&& query(std::string text) && { return query_string = std::move(text), std::move(*this); }
  // The answer: a ResponseStatus code, the exact bytes, or none at all.
  request_case&& answers(int code) && { return status = code, std::move(*this); }
  request_case&& answers(std::string bytes) && { return answer = std::move(bytes), std::move(*this); }
  request_case&& answers_nothing() && { return status = -1, std::move(*this); }
  // Or an answer holding each of `parts`, and none of `absent`.
  request_case&& holds(std::vector<std::string> parts, std::vector<std::string> absent = {}) && {
    return present = std::move(parts), missing = std::move(absent), std::move(*this);
  }
  // The commands the daemon got, as test_camera::commands() shows them; none unless given.
  request_case&& sends(std::vector<std::string> sent) && { return commands = std::move(sent), std::move(*this); }
  // A query afterwards and the rows it must give, as test_camera::rows() shows them.
  request_case&& leaves(std::string sql, std::string want) && { return rows.emplace_back(sql, want), std::move(*this); }
};
inline request_case get(std::string uri) { return {"GET", std::move(uri)}; }
inline request_case put(std::string uri, std::string body = "") { return {"PUT", std::move(uri), std::move(body)}; }
inline request_case post(std::string uri, std::string body = "") { return {"POST", std::move(uri), std::move(body)}; }
inline request_case del(std::string uri) { return {"DELETE", std::move(uri)}; }
inline request_case request(std::string method, std::string uri, std::string body) { return {method, uri, body}; }
// Runs each case on a camera of its own.
void run_cases(const std::vector<request_case>& cases);

// The exact bytes of a document answer and of a ResponseStatus answer.
extern const char kXml[];      // "Content-Type: application/xml\r\n\r\n"
extern const char kXmlUtf8[];  // ... charset="UTF-8" ...
std::string document_answer(const std::string& body, const char* content_type = kXml);
std::string status_answer(const std::string& uri, int code);
// document_answer() of the GET documents' XML declaration and `element`.
std::string xml_answer(const std::string& element, const char* content_type = kXml);
// `<name version="1.0" xmlns="urn:psialliance-org">inner</name>`
std::string psia_element(const std::string& name, const std::string& inner);
// A golden document of tests/golden/ (without its headers).
std::string golden(const std::string& name);

}  // namespace psia_test

#endif  // PSIA_TESTS_HARNESS_H
