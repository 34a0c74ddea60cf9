// psia-control-sim: a stand-in for the camera's control daemon, for the
// demo and the benchmarks.
//
// It creates the request and reply queues, answers every command the
// responder sends with status 1 (or what it was told per command), gives
// plausible reply payloads where a command returns data, and logs every
// command it receives, decoded, one line each. Faults for trying the
// responder against a failing daemon: replies too large for the frame, a
// daemon that stops reading (--hung), and queues made again (SIGHUP), as a
// restarted daemon makes them.
//
//   psia-control-sim [--request-key K] [--reply-key K]
//                    [--status CODE=STATUS]... [--silent CODE]...
//                    [--delay CODE=MS]... [--reply-int CODE=OFFSET:VALUE]...
//                    [--reply-text CODE=OFFSET:TEXT]... [--position-frame HEX]
//                    [--oversized CODE]... [--hung]
//                    [--transfer-dir DIR] [--log FILE] [--ready-file FILE]
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "control_sim.h"

namespace {

volatile sig_atomic_t g_stop = 0;
volatile sig_atomic_t g_recreate = 0;

void on_signal(int signal_number) {
  if (signal_number == SIGHUP)
    g_recreate = 1;
  else
    g_stop = 1;
}

const char kUsage[] =
    "usage: psia-control-sim [options]\n"
    "  --request-key K          request queue key (default 1111)\n"
    "  --reply-key K            reply queue key (default 2222)\n"
    "  --status CODE=STATUS     reply status for a command (default 1)\n"
    "  --silent CODE            never answer a command\n"
    "  --delay CODE=MS          wait before answering a command\n"
    "  --reply-int CODE=OFF:V   put a 32-bit value into a reply's payload\n"
    "  --reply-text CODE=OFF:T  put a text into a reply's payload (for 11: the\n"
    "                           file to name instead of writing one)\n"
    "  --position-frame HEX     command 65's position frame (payload byte 4 on)\n"
    "  --oversized CODE         answer a command with a reply longer than the frame\n"
    "  --hung                   read no command at all (the request queue fills)\n"
    "  --transfer-dir DIR       where command 11 writes the configuration file\n"
    "  --log FILE               decoded command log (default: standard error)\n"
    "  --ready-file FILE        written once the queues exist\n";

[[noreturn]] void usage(const std::string& why) {
  std::fprintf(stderr, "psia-control-sim: %s\n%s", why.c_str(), kUsage);
  std::exit(2);
}

int to_int(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(text.c_str(), &end, 0);
  if (errno != 0 || end == text.c_str() || *end != '\0') usage("bad number: " + text);
  return static_cast<int>(v);
}

// "A=B" or "A:B" split at the first separator.
std::pair<int, std::string> split_pair(const std::string& text, char separator) {
  size_t at = text.find(separator);
  if (at == std::string::npos)
    usage("expected CODE" + std::string(1, separator) + "VALUE: " + text);
  return {to_int(text.substr(0, at)), text.substr(at + 1)};
}

std::vector<unsigned char> parse_hex(const std::string& hex) {
  std::vector<unsigned char> bytes;
  std::string digits;
  for (char c : hex)
    if (c != ' ' && c != ':') digits += c;
  if (digits.size() % 2 != 0) usage("odd number of hex digits");
  for (size_t i = 0; i < digits.size(); i += 2)
    bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return bytes;
}

struct sim_files {
  std::string log;
  std::string ready;
};

psia::sim_options parse_options(int argc, char** argv, sim_files* files) {
  psia::sim_options o;
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    if (name == "--help") {
      std::fputs(kUsage, stdout);
      std::exit(0);
    }
    if (name == "--hung") {
      o.hung = true;
      continue;
    }
    if (i + 1 >= argc) usage("missing value for " + name);
    std::string value = argv[++i];
    if (name == "--request-key") {
      o.request_key = to_int(value);
    } else if (name == "--reply-key") {
      o.reply_key = to_int(value);
    } else if (name == "--status") {
      auto [code, status] = split_pair(value, '=');
      o.status[code] = to_int(status);
    } else if (name == "--silent") {
      o.silent.insert(to_int(value));
    } else if (name == "--delay") {
      auto [code, ms] = split_pair(value, '=');
      o.delay_ms[code] = to_int(ms);
    } else if (name == "--reply-int") {
      auto [code, field] = split_pair(value, '=');
      auto [offset, number] = split_pair(field, ':');
      o.reply_ints.emplace(code, std::make_pair(offset, to_int(number)));
    } else if (name == "--reply-text") {
      auto [code, field] = split_pair(value, '=');
      size_t colon = field.find(':');
      if (colon == std::string::npos) usage("expected CODE=OFFSET:TEXT: " + value);
      o.reply_texts.emplace(
          code, std::make_pair(to_int(field.substr(0, colon)), field.substr(colon + 1)));
    } else if (name == "--oversized") {
      o.oversized.insert(to_int(value));
    } else if (name == "--position-frame") {
      o.position_frame = parse_hex(value);
    } else if (name == "--transfer-dir") {
      o.transfer_dir = value;
    } else if (name == "--log") {
      files->log = value;
    } else if (name == "--ready-file") {
      files->ready = value;
    } else {
      usage("unknown option " + name);
    }
  }
  return o;
}

void append_line(const std::string& path, const std::string& line) {
  FILE* f = path.empty() ? stderr : std::fopen(path.c_str(), "a");
  if (f == nullptr) return;
  std::fprintf(f, "%s\n", line.c_str());
  if (f != stderr) std::fclose(f);
}

int64_t now_ms() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

}  // namespace

int main(int argc, char** argv) {
  sim_files files;
  psia::control_simulator sim(parse_options(argc, argv, &files));
  if (!sim.create_queues()) {
    std::fprintf(stderr, "psia-control-sim: msgget failed: %s\n", std::strerror(errno));
    return 1;
  }
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = on_signal;  // no SA_RESTART: msgrcv must return on a signal
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGHUP, &sa, nullptr);

  if (!files.ready.empty()) append_line(files.ready, "ready");
  if (files.log.empty())
    std::fprintf(stderr, "psia-control-sim: serving queues %d and %d\n", sim.options().request_key,
                 sim.options().reply_key);

  while (!g_stop) {
    if (g_recreate) {
      g_recreate = 0;
      if (!sim.recreate_queues()) {
        std::fprintf(stderr, "psia-control-sim: msgget failed: %s\n", std::strerror(errno));
        return 1;
      }
      append_line(files.log, "queues made again");
    }
    if (sim.options().hung) {
      pause();
      continue;
    }
    // A delayed reply holds the daemon up, as a busy daemon would.
    for (int64_t due = sim.next_due_ms(); due >= 0 && !g_stop; due = sim.next_due_ms()) {
      int64_t wait = due - now_ms();
      if (wait > 0) usleep(static_cast<useconds_t>(wait) * 1000);
      sim.release_due(now_ms());
    }
    if (!sim.serve_one(true, now_ms())) {
      if (errno == EINTR) continue;
      std::fprintf(stderr, "psia-control-sim: receive failed: %s\n", std::strerror(errno));
      break;
    }
    const psia::sim_command& c = sim.commands().back();
    psia::control_message m(c.code);
    m.mtype = c.sender;
    std::memcpy(m.payload, c.payload.data(), psia::kControlPayloadSize);
    append_line(files.log,
                psia::control_simulator::describe(m, sim.options().silent.count(c.code) == 0));
    sim.clear_commands();
  }
  return 0;
}
