// Request-level harness: runs the built psia-responder as a CGI program
// against a fixture camera root (seeded database, transfer directory,
// factory device) and a control daemon simulator, and captures every byte
// it writes.
#ifndef PSIA_TESTS_RESPONDER_HARNESS_H
#define PSIA_TESTS_RESPONDER_HARNESS_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sim_process.h"

// What one process run produced.
struct ProcessResult {
  std::string out;
  std::string err;
  int exit_status = -1;  // -1 when it died of a signal
};

// Runs argv[0] with exactly `env`, feeding `input` on its standard input.
ProcessResult run_process(const std::vector<std::string>& argv,
                          const std::vector<std::string>& env,
                          const std::string& input);

std::string basic_authorization(const std::string& user,
                                const std::string& password);

struct Request {
  std::string method = "GET";
  std::string uri;
  std::string body;
  // The Authorization header; empty sends none.
  std::string authorization = basic_authorization("admin", "admin");
  // CONTENT_LENGTH: by default the body's size when there is a body.
  bool has_content_length = true;
  std::string content_length;  // overrides the body's size when not empty
  std::vector<std::pair<std::string, std::string>> env;  // QUERY_STRING, ...
};

// A camera for one test: its own root directory and its own simulator.
class Camera {
 public:
  // `sql` runs on the seeded database; `sim_args` are extra simulator options.
  explicit Camera(const std::string& sql = "",
                  const std::vector<std::string>& sim_args = {});
  ~Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  ProcessResult request(const Request& request);
  ProcessResult get(const std::string& uri);
  ProcessResult put(const std::string& uri, const std::string& body);
  // Any method, with an optional body and QUERY_STRING.
  ProcessResult send(const std::string& method, const std::string& uri,
                     const std::string& body = "", const std::string& query = "");

  const std::string& root() const { return root_; }
  std::string database_path() const;
  // The first cell of a query on the camera's database ("" when none).
  std::string query(const std::string& sql) const;
  void exec(const std::string& sql) const;
  SimProcess& sim() { return *sim_; }

 private:
  std::string root_;
  std::unique_ptr<SimProcess> sim_;
};

// The exact bytes of a document answer and of a ResponseStatus answer.
extern const char kXmlType[];      // "Content-Type: application/xml\r\n\r\n"
extern const char kXmlUtf8Type[];  // ... charset="UTF-8" ...
std::string document_answer(const std::string& body,
                            const char* content_type_line = kXmlType);
std::string status_answer(const std::string& uri, int code);

#endif  // PSIA_TESTS_RESPONDER_HARNESS_H
