#include "sim_process.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

const size_t kPayloadSize = 1120;

std::vector<std::string> read_lines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Keys of their own for every simulator, so tests can run side by side.
int next_key_pair() {
  static int counter = 0;
  return 0x5a000000 + ((getpid() & 0xffff) << 8) + 2 * (counter++ & 0x7f);
}

}  // namespace

std::vector<std::string> target_command(std::vector<std::string> argv) {
#ifdef PSIA_TEST_EMULATOR
  std::vector<std::string> words;
  std::istringstream emulator(PSIA_TEST_EMULATOR);
  for (std::string word; emulator >> word;) words.push_back(word);
  argv.insert(argv.begin(), words.begin(), words.end());
#endif
  return argv;
}

int SimCommand::int_at(size_t offset) const {
  int32_t v = 0;
  if (offset + sizeof v <= payload.size()) std::memcpy(&v, payload.data() + offset, sizeof v);
  return v;
}

std::string SimCommand::text_at(size_t offset, size_t width) const {
  if (offset >= payload.size()) return "";
  std::string field = payload.substr(offset, width);
  return field.substr(0, field.find('\0'));
}

SimProcess::SimProcess(const std::vector<std::string>& args, const std::string& transfer_dir) {
  char name[] = "/tmp/psia-sim-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = name;
  request_key_ = next_key_pair();
  reply_key_ = request_key_ + 1;
  // Queues left behind by a crashed earlier run would hold stale messages.
  for (int key : {request_key_, reply_key_}) {
    int id = msgget(key, 0);
    if (id >= 0) msgctl(id, IPC_RMID, nullptr);
  }
  std::vector<std::string> argv = target_command(
      {PSIA_CONTROL_SIM_PATH, "--request-key", std::to_string(request_key_),
       "--reply-key", std::to_string(reply_key_), "--transfer-dir", transfer_dir,
       "--log", dir_ + "/log", "--record", dir_ + "/record",
       "--ready-file", dir_ + "/ready"});
  argv.insert(argv.end(), args.begin(), args.end());
  pid_ = fork();
  if (pid_ == 0) {
    std::vector<char*> raw;
    for (std::string& a : argv) raw.push_back(a.data());
    raw.push_back(nullptr);
    execv(raw[0], raw.data());
    _exit(127);
  }
  for (int i = 0; i < 500 && access((dir_ + "/ready").c_str(), F_OK) != 0; ++i) usleep(10000);
  if (access((dir_ + "/ready").c_str(), F_OK) != 0) throw std::runtime_error("simulator not ready");
}

SimProcess::~SimProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  // The simulator removes its queues on SIGTERM; make sure of it anyway.
  for (int key : {request_key_, reply_key_}) {
    int id = msgget(key, 0);
    if (id >= 0) msgctl(id, IPC_RMID, nullptr);
  }
  for (const char* file : {"/log", "/record", "/ready"}) unlink((dir_ + file).c_str());
  rmdir(dir_.c_str());
}

std::vector<SimCommand> SimProcess::commands() const {
  std::vector<SimCommand> commands;
  for (const std::string& line : read_lines(dir_ + "/record")) {
    SimCommand c;
    char hex_field[2 * kPayloadSize + 1] = "";
    if (std::sscanf(line.c_str(), "%d %d %2240s", &c.code, &c.status_sent, hex_field) < 2) continue;
    std::string hex = hex_field;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
      c.payload += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    c.payload.resize(kPayloadSize, '\0');
    commands.push_back(c);
  }
  return commands;
}

std::vector<std::string> SimProcess::log_lines() const { return read_lines(dir_ + "/log"); }
