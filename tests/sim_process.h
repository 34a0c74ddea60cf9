// Runs psia-control-sim for one test on queue keys of its own, and reads
// back the commands it received.
#ifndef PSIA_TESTS_SIM_PROCESS_H
#define PSIA_TESTS_SIM_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

// The command line that runs `argv`, a program built for the target. A
// cross build passes PSIA_TEST_EMULATOR (e.g. "/usr/bin/qemu-arm -L
// /usr/arm-linux-gnueabihf", words split at spaces) and the tests run the
// responder and the simulator through it, since the build host may not be
// able to exec target programs itself; elsewhere `argv` is returned as is.
std::vector<std::string> target_command(std::vector<std::string> argv);

// One command as the simulator received it.
struct SimCommand {
  int code = 0;
  int status_sent = 0;  // the responder always sends 0
  std::string payload;  // all 1120 payload bytes
  int int_at(size_t offset) const;           // a 32-bit field
  std::string text_at(size_t offset, size_t width) const;  // up to its zero
};

class SimProcess {
 public:
  // `args` are extra simulator options (--status 8=3, --silent 41, ...);
  // `transfer_dir` is where command 11 writes its configuration file.
  explicit SimProcess(const std::vector<std::string>& args = {},
                      const std::string& transfer_dir = "/tmp");
  ~SimProcess();
  SimProcess(const SimProcess&) = delete;
  SimProcess& operator=(const SimProcess&) = delete;

  int request_key() const { return request_key_; }
  int reply_key() const { return reply_key_; }

  // Every command received so far, in order.
  std::vector<SimCommand> commands() const;
  // The simulator's decoded log, one line per command.
  std::vector<std::string> log_lines() const;

 private:
  std::string dir_;
  int request_key_;
  int reply_key_;
  pid_t pid_ = -1;
};

#endif  // PSIA_TESTS_SIM_PROCESS_H
