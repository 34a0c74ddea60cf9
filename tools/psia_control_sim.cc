// psia-control-sim: a stand-in for the camera's control daemon.
//
// It creates the request and reply queues, answers every command the
// responder sends with status 1 (or what it was told per command), gives
// plausible reply payloads where a command returns data, and logs every
// command it receives, decoded, one line each. The demo and the tests run
// the responder against it.
//
//   psia-control-sim [--request-key K] [--reply-key K]
//                    [--status CODE=STATUS]... [--silent CODE]...
//                    [--delay CODE=MS]... [--reply-int CODE=OFFSET:VALUE]...
//                    [--position-frame HEX] [--transfer-dir DIR]
//                    [--log FILE] [--record FILE] [--ready-file FILE]
//
// --record writes one machine-readable line per command: the code, the
// status field as sent, then the payload in hexadecimal without its trailing zero bytes.
#include <signal.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "control/control_message.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void on_signal(int) { g_stop = 1; }

struct Options {
  int request_key = 1111;
  int reply_key = 2222;
  std::map<int, int> status;                 // reply status per command
  std::set<int> silent;                      // commands never answered
  std::map<int, int> delay_ms;               // wait before replying
  std::multimap<int, std::pair<int, int>> reply_ints;  // offset, value
  std::multimap<int, std::pair<int, std::string>> reply_texts;  // offset, text
  std::vector<unsigned char> position_frame;  // command 65, from offset 4
  std::string transfer_dir = "/usr/local/httpd/htdocs/Web/updownload";
  std::string log_path;
  std::string record_path;
  std::string ready_path;
};

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
    "  --transfer-dir DIR       where command 11 writes the configuration file\n"
    "  --log FILE               decoded command log (default: standard error)\n"
    "  --record FILE            code, status and payload hex of every command\n"
    "  --ready-file FILE        written once the queues exist\n";

[[noreturn]] void usage(const char* why) {
  std::fprintf(stderr, "psia-control-sim: %s\n%s", why, kUsage);
  std::exit(2);
}

int to_int(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(text.c_str(), &end, 0);
  if (errno != 0 || end == text.c_str() || *end != '\0') usage(("bad number: " + text).c_str());
  return static_cast<int>(v);
}

// "A=B" or "A:B" split at the first separator.
std::pair<int, std::string> split_pair(const std::string& text, char separator) {
  size_t at = text.find(separator);
  if (at == std::string::npos) usage(("expected CODE" + std::string(1, separator) + "VALUE: " + text).c_str());
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

Options parse_options(int argc, char** argv) {
  Options o;
  // A frame at the home position: azimuth 179, elevation 0, zoom 50 %.
  o.position_frame = parse_hex("FF0100A1004AFF2774044C");
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    if (name == "--help") {
      std::fputs(kUsage, stdout);
      std::exit(0);
    }
    if (i + 1 >= argc) usage(("missing value for " + name).c_str());
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
      if (colon == std::string::npos) usage(("expected CODE=OFFSET:TEXT: " + value).c_str());
      o.reply_texts.emplace(code, std::make_pair(to_int(field.substr(0, colon)),
                                                 field.substr(colon + 1)));
    } else if (name == "--position-frame") {
      o.position_frame = parse_hex(value);
    } else if (name == "--transfer-dir") {
      o.transfer_dir = value;
    } else if (name == "--log") {
      o.log_path = value;
    } else if (name == "--record") {
      o.record_path = value;
    } else if (name == "--ready-file") {
      o.ready_path = value;
    } else {
      usage(("unknown option " + name).c_str());
    }
  }
  return o;
}

// A zero-terminated text field of the payload, cut at its width.
std::string text_at(const control_message& m, size_t offset, size_t width) {
  const char* p = reinterpret_cast<const char*>(m.payload + offset);
  return std::string(p, strnlen(p, width));
}

const char* meaning(int code) {
  switch (code) {
    case kCommandVideoInput: return "video input changed";
    case kCommandAudio: return "audio changed";
    case kCommandVideoStream: return "video stream changed";
    case kCommandSetTime: return "set time";
    case kCommandSetTimeZone: return "set time zone";
    case kCommandReboot: return "reboot";
    case kCommandFactoryReset: return "factory reset";
    case kCommandConfigurationFile: return "make configuration file";
    case kCommandNetworkApply: return "apply network settings";
    case kCommandNetworkStatic: return "apply static addressing";
    case kCommandRtspPort: return "RTSP port changed";
    case kCommandPtzKeyValue: return "PTZ key/value command";
    case kCommandPtzPresetStore: return "store PTZ preset";
    case kCommandPtzPresetGoto: return "go to PTZ preset";
    case kCommandPtzPresetDelete: return "PTZ preset deleted";
    case kCommandPtzControl: return "PTZ control switched";
    case kCommandPtzFrame: return "PTZ protocol frame";
    case kCommandPtzPosition: return "read PTZ position";
    case kCommandUsers: return "user accounts changed";
    default: return "unknown command";
  }
}

// The payload fields of a command, as "name=value" words.
std::string decode_fields(const control_message& m) {
  char line[1400];
  int32_t (*get)(const control_message*, size_t) = control_get_int;
  switch (m.command) {
    case kCommandVideoInput:
      std::snprintf(line, sizeof line, "channel=%d", get(&m, 0));
      break;
    case kCommandAudio:
      std::snprintf(line, sizeof line, "value=%d", get(&m, 0));
      break;
    case kCommandVideoStream:
      std::snprintf(line, sizeof line, "master=%d", get(&m, 4));
      break;
    case kCommandSetTime:
      std::snprintf(line, sizeof line,
                    "mode=%d ntp=\"%s\" interval=%d time=%04d-%02d-%02d %02d:%02d:%02d",
                    get(&m, 0), text_at(m, 4, 128).c_str(), get(&m, 132), get(&m, 136),
                    get(&m, 140), get(&m, 144), get(&m, 148), get(&m, 152), get(&m, 156));
      break;
    case kCommandSetTimeZone:
      std::snprintf(line, sizeof line, "zone=\"%s\"", text_at(m, 0, 48).c_str());
      break;
    case kCommandPtzKeyValue: {
      std::string pairs;
      for (size_t i = 0; i < 5; ++i) {
        std::string key = text_at(m, 4 + 96 * i, 48);
        if (key.empty()) continue;
        if (!pairs.empty()) pairs += ' ';
        pairs += key + "=" + text_at(m, 4 + 96 * i + 48, 48);
      }
      std::snprintf(line, sizeof line, "%s", pairs.c_str());
      break;
    }
    case kCommandPtzPresetStore:
    case kCommandPtzPresetGoto:
    case kCommandPtzPresetDelete:
      std::snprintf(line, sizeof line, "preset=%d", get(&m, 4));
      break;
    case kCommandPtzFrame:
      std::snprintf(line, sizeof line, "frame=%s", text_at(m, 4, 1024).c_str());
      break;
    default:
      line[0] = '\0';
      break;
  }
  return line;
}

std::string payload_hex(const control_message& m) {
  size_t used = kControlPayloadSize;
  while (used > 0 && m.payload[used - 1] == 0) --used;
  std::string hex;
  char pair[3];
  for (size_t i = 0; i < used; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", m.payload[i]);
    hex += pair;
  }
  return hex;
}

void append_line(const std::string& path, const std::string& line) {
  FILE* f = path.empty() ? stderr : std::fopen(path.c_str(), "a");
  if (f == nullptr) return;
  std::fputs(line.c_str(), f);
  std::fputc('\n', f);
  if (f != stderr) std::fclose(f);
}

// Command 11: a configuration file in the transfer directory, its name in
// the reply.
void make_configuration_file(const Options& o, control_message* reply) {
  const char kName[] = "psia_backup.cfg";
  std::string path = o.transfer_dir + "/" + kName;
  FILE* f = std::fopen(path.c_str(), "w");
  if (f == nullptr) {
    std::fprintf(stderr, "psia-control-sim: cannot write %s: %s\n", path.c_str(),
                 std::strerror(errno));
    reply->status = 3;
    return;
  }
  std::fputs("# camera configuration backup\n[Network]\nConnectionType=0\n"
             "IpAddress=192.168.1.100\n[Video]\nBrightness=50\n", f);
  std::fclose(f);
  control_put_text(reply, 0, 128, kName);
}

void answer(const Options& o, int reply_queue, const control_message& request) {
  control_message reply;
  std::memset(&reply, 0, sizeof reply);
  reply.mtype = request.mtype;
  reply.command = request.command;
  auto status = o.status.find(request.command);
  reply.status = status == o.status.end() ? 1 : status->second;
  auto texts = o.reply_texts.equal_range(request.command);
  if (request.command == kCommandConfigurationFile && texts.first == texts.second)
    make_configuration_file(o, &reply);
  for (auto it = texts.first; it != texts.second; ++it)
    control_put_text(&reply, static_cast<size_t>(it->second.first), 256,
                     it->second.second.c_str());
  if (request.command == kCommandPtzPosition) {
    size_t n = std::min(o.position_frame.size(), kControlPayloadSize - 4);
    std::memcpy(reply.payload + 4, o.position_frame.data(), n);
  }
  auto range = o.reply_ints.equal_range(request.command);
  for (auto it = range.first; it != range.second; ++it)
    control_put_int(&reply, static_cast<size_t>(it->second.first), it->second.second);
  auto delay = o.delay_ms.find(request.command);
  if (delay != o.delay_ms.end()) usleep(static_cast<useconds_t>(delay->second) * 1000);
  if (msgsnd(reply_queue, &reply, kControlMessageSize, 0) != 0)
    std::fprintf(stderr, "psia-control-sim: reply failed: %s\n", std::strerror(errno));
}

}  // namespace

int main(int argc, char** argv) {
  Options o = parse_options(argc, argv);
  int request_queue = msgget(o.request_key, IPC_CREAT | 0666);
  int reply_queue = msgget(o.reply_key, IPC_CREAT | 0666);
  if (request_queue < 0 || reply_queue < 0) {
    std::fprintf(stderr, "psia-control-sim: msgget failed: %s\n", std::strerror(errno));
    return 1;
  }
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = on_signal;  // no SA_RESTART: msgrcv must return on a signal
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);

  if (!o.ready_path.empty()) append_line(o.ready_path, "ready");
  if (o.log_path.empty())
    std::fprintf(stderr, "psia-control-sim: serving queues %d and %d\n", o.request_key,
                 o.reply_key);

  while (!g_stop) {
    control_message m;
    std::memset(&m, 0, sizeof m);
    if (msgrcv(request_queue, &m, kControlMessageSize, 0, 0) < 0) {
      if (errno == EINTR) continue;
      std::fprintf(stderr, "psia-control-sim: receive failed: %s\n", std::strerror(errno));
      break;
    }
    bool silent = o.silent.count(m.command) != 0;
    char head[160];
    std::snprintf(head, sizeof head, "command %d (%s) from %ld%s", m.command, meaning(m.command),
                  m.mtype, silent ? ", not answered" : "");
    std::string fields = decode_fields(m);
    append_line(o.log_path, fields.empty() ? head : std::string(head) + ": " + fields);
    if (!o.record_path.empty())
      append_line(o.record_path, std::to_string(m.command) + " " + std::to_string(m.status) + " " +
                                     payload_hex(m));
    if (!silent) answer(o, reply_queue, m);
  }
  msgctl(request_queue, IPC_RMID, nullptr);
  msgctl(reply_queue, IPC_RMID, nullptr);
  return 0;
}
