// The control daemon simulator: a stand-in for the camera's control daemon,
// used by psia-control-sim (the demo, the benchmarks) and, driven step by
// step, by the tests.
//
// It answers every command with status 1 (or what it was told per
// command), gives plausible reply payloads where a command returns data,
// and keeps every command it receives.
#ifndef PSIA_TOOLS_CONTROL_SIM_H
#define PSIA_TOOLS_CONTROL_SIM_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "control/control_message.h"

namespace psia {

struct sim_options {
  int request_key = 1111;
  int reply_key = 2222;
  std::map<int, int> status;                                    // reply status per command
  std::set<int> silent;                                         // commands never answered
  std::map<int, int> delay_ms;                                  // wait before replying
  std::multimap<int, std::pair<int, int>> reply_ints;           // offset, value
  std::multimap<int, std::pair<int, std::string>> reply_texts;  // offset, text
  std::vector<unsigned char> position_frame;                    // command 65, from payload byte 4
  std::set<int> oversized;  // commands answered with a reply longer than the frame
  bool hung = false;        // alive but reading nothing: its request queue fills up
  std::string transfer_dir = "/usr/local/httpd/htdocs/Web/updownload";

  sim_options();
};

// One command as the simulator received it.
struct sim_command {
  int32_t code = 0;
  int32_t status_sent = 0;             // the responder always sends 0
  long sender = 0;                     // mtype: the responder's process id
  std::vector<unsigned char> payload;  // all 1120 bytes
  int32_t int_at(size_t offset) const;
  std::string text_at(size_t offset, size_t width) const;  // up to its zero
};

class control_simulator {
 public:
  explicit control_simulator(sim_options options) : options_(std::move(options)) {}
  ~control_simulator();
  control_simulator(const control_simulator&) = delete;
  control_simulator& operator=(const control_simulator&) = delete;

  // Creates both queues (the daemon owns them). False when it cannot.
  bool create_queues();
  // Removes both queues.
  void remove_queues();
  // Removes both queues and makes them again, as a restarted daemon does.
  bool recreate_queues();

  // Receives one command (waiting for it when `wait`), records it and
  // answers it now, later (its delay, measured on `now_ms`) or never.
  // False when nothing was received.
  bool serve_one(bool wait, int64_t now_ms);
  // Sends the delayed replies whose time has come by `now_ms`.
  void release_due(int64_t now_ms);
  // When the next delayed reply is due; -1 when none waits.
  int64_t next_due_ms() const;

  sim_options& options() { return options_; }
  const std::vector<sim_command>& commands() const { return commands_; }
  void clear_commands() { commands_.clear(); }
  int request_queue() const { return request_queue_; }
  int reply_queue() const { return reply_queue_; }

  // The command decoded, one line ("command 7 (set time zone) from 1234:
  // zone=\"Japan\"").
  static std::string describe(const control_message& m, bool answered);
  // Its payload fields alone, as "name=value" words ("zone=\"Japan\"").
  static std::string decode_fields(const control_message& m);

 private:
  control_message reply_to(const control_message& request);
  void make_configuration_file(control_message* reply);

  sim_options options_;
  int request_queue_ = -1;
  int reply_queue_ = -1;
  std::vector<sim_command> commands_;
  std::vector<std::pair<int64_t, control_message>> delayed_;
};

}  // namespace psia

#endif  // PSIA_TOOLS_CONTROL_SIM_H
