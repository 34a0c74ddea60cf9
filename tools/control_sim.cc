#include "control_sim.h"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace psia {

namespace {

// A frame at the home position: azimuth 179, elevation 0, zoom 50 %.
const unsigned char kHomeFrame[] = {0xFF, 0x01, 0x00, 0xA1, 0x00, 0x4A,
                                    0xFF, 0x27, 0x74, 0x04, 0x4C};

// The text of a payload field, up to its zero and never past the payload.
std::string text_at(const unsigned char* payload, size_t size, size_t offset, size_t width) {
  if (offset >= size) return "";
  const char* p = reinterpret_cast<const char*>(payload + offset);
  return std::string(p, strnlen(p, std::min(width, size - offset)));
}

std::string text_at(const control_message& m, size_t offset, size_t width) {
  return text_at(m.payload, sizeof m.payload, offset, width);
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

}  // namespace

std::string control_simulator::decode_fields(const control_message& m) {
  char line[1400] = "";
  switch (m.command) {
    case kCommandVideoInput:
      std::snprintf(line, sizeof line, "channel=%d", m.get_int(video_input_payload::kChannel));
      break;
    case kCommandAudio:
      std::snprintf(line, sizeof line, "value=%d", m.get_int(kLeadingWord));
      break;
    case kCommandVideoStream:
      std::snprintf(line, sizeof line, "master=%d", m.get_int(video_stream_payload::kMaster));
      break;
    case kCommandSetTime: {
      using fields = set_time_payload;
      std::snprintf(
          line, sizeof line, "mode=%d ntp=\"%s\" interval=%d time=%04d-%02d-%02d %02d:%02d:%02d",
          m.get_int(fields::kMode), text_at(m, fields::kNtpServer, fields::kNtpServerWidth).c_str(),
          m.get_int(fields::kInterval), m.get_int(fields::kYear), m.get_int(fields::kMonth),
          m.get_int(fields::kDay), m.get_int(fields::kHour), m.get_int(fields::kMinute),
          m.get_int(fields::kSecond));
      break;
    }
    case kCommandSetTimeZone:
      std::snprintf(
          line, sizeof line, "zone=\"%s\"",
          text_at(m, set_time_zone_payload::kZone, set_time_zone_payload::kZoneWidth).c_str());
      break;
    case kCommandPtzKeyValue: {
      using fields = ptz_key_value_payload;
      // Every pair in its place; "-" for an empty one.
      std::string pairs;
      for (size_t i = 0; i < fields::kPairs; ++i) {
        std::string key = text_at(m, fields::name(i), fields::kTextWidth);
        std::string value = text_at(m, fields::value(i), fields::kTextWidth);
        if (i > 0) pairs += ' ';
        pairs += key.empty() && value.empty() ? "-" : key + "=" + value;
      }
      std::snprintf(line, sizeof line, "%s", pairs.c_str());
      break;
    }
    case kCommandPtzPresetStore:
    case kCommandPtzPresetGoto:
    case kCommandPtzPresetDelete:
      std::snprintf(line, sizeof line, "preset=%d", m.get_int(ptz_preset_payload::kPreset));
      break;
    case kCommandPtzFrame:
      std::snprintf(line, sizeof line, "frame=%s",
                    text_at(m, ptz_frame_payload::kFrame, ptz_frame_payload::kFrameWidth).c_str());
      break;
    default: break;
  }
  return line;
}

sim_options::sim_options() : position_frame(kHomeFrame, kHomeFrame + sizeof kHomeFrame) {}

int32_t sim_command::int_at(size_t offset) const {
  int32_t v = 0;
  if (offset + sizeof v <= payload.size()) std::memcpy(&v, payload.data() + offset, sizeof v);
  return v;
}

std::string sim_command::text_at(size_t offset, size_t width) const {
  return psia::text_at(payload.data(), payload.size(), offset, width);
}

control_simulator::~control_simulator() { remove_queues(); }

bool control_simulator::create_queues() {
  request_queue_ = msgget(options_.request_key, IPC_CREAT | 0666);
  reply_queue_ = msgget(options_.reply_key, IPC_CREAT | 0666);
  return request_queue_ >= 0 && reply_queue_ >= 0;
}

void control_simulator::remove_queues() {
  if (request_queue_ >= 0) msgctl(request_queue_, IPC_RMID, nullptr);
  if (reply_queue_ >= 0) msgctl(reply_queue_, IPC_RMID, nullptr);
  request_queue_ = reply_queue_ = -1;
}

bool control_simulator::recreate_queues() {
  remove_queues();
  return create_queues();
}

std::string control_simulator::describe(const control_message& m, bool answered) {
  char head[160];
  std::snprintf(head, sizeof head, "command %d (%s) from %ld%s", m.command, meaning(m.command),
                m.mtype, answered ? "" : ", not answered");
  std::string fields = decode_fields(m);
  return fields.empty() ? head : std::string(head) + ": " + fields;
}

// Command 11: a configuration file in the transfer directory, its name in
// the reply.
void control_simulator::make_configuration_file(control_message* reply) {
  const char kName[] = "psia_backup.cfg";
  std::string path = options_.transfer_dir + "/" + kName;
  FILE* f = std::fopen(path.c_str(), "w");
  if (f == nullptr) {
    std::fprintf(stderr, "psia-control-sim: cannot write %s: %s\n", path.c_str(),
                 std::strerror(errno));
    reply->status = 3;
    return;
  }
  std::fputs(
      "# camera configuration backup\n[Network]\nConnectionType=0\n"
      "IpAddress=192.168.1.100\n[Video]\nBrightness=50\n",
      f);
  std::fclose(f);
  reply->put_text(configuration_file_payload::kFileName, 128, kName);
}

control_message control_simulator::reply_to(const control_message& request) {
  control_message reply(request.command);
  reply.mtype = request.mtype;
  auto status = options_.status.find(request.command);
  reply.status = status == options_.status.end() ? 1 : status->second;
  auto texts = options_.reply_texts.equal_range(request.command);
  if (request.command == kCommandConfigurationFile && texts.first == texts.second)
    make_configuration_file(&reply);
  for (auto it = texts.first; it != texts.second; ++it)
    reply.put_text(static_cast<size_t>(it->second.first), 256, it->second.second.c_str());
  if (request.command == kCommandPtzPosition) {
    size_t n = std::min(options_.position_frame.size(), kControlPayloadSize - 4);
    std::memcpy(reply.payload + 4, options_.position_frame.data(), n);
  }
  auto ints = options_.reply_ints.equal_range(request.command);
  for (auto it = ints.first; it != ints.second; ++it)
    reply.put_int(static_cast<size_t>(it->second.first), it->second.second);
  return reply;
}

bool control_simulator::serve_one(bool wait, int64_t now_ms) {
  control_message m;
  if (options_.hung) {
    errno = EAGAIN;
    return false;
  }
  if (msgrcv(request_queue_, &m, kControlMessageSize, 0, wait ? 0 : IPC_NOWAIT) < 0) return false;
  sim_command c;
  c.code = m.command;
  c.status_sent = m.status;
  c.sender = m.mtype;
  c.payload.assign(m.payload, m.payload + kControlPayloadSize);
  commands_.push_back(std::move(c));
  if (options_.silent.count(m.command) != 0) return true;
  auto delay = options_.delay_ms.find(m.command);
  int64_t due = now_ms + (delay == options_.delay_ms.end() ? 0 : delay->second);
  delayed_.emplace_back(due, reply_to(m));
  release_due(now_ms);
  return true;
}

void control_simulator::release_due(int64_t now_ms) {
  for (auto it = delayed_.begin(); it != delayed_.end();) {
    if (it->first > now_ms) {
      ++it;
      continue;
    }
    // An oversized reply carries 64 bytes more than the frame.
    struct {
      control_message message;
      char beyond[64];
    } reply;
    std::memset(static_cast<void*>(&reply), 0x5a, sizeof reply);
    reply.message = it->second;
    size_t size = options_.oversized.count(reply.message.command) != 0 ? sizeof reply - sizeof(long)
                                                                       : kControlMessageSize;
    if (msgsnd(reply_queue_, &reply, size, 0) != 0)
      std::fprintf(stderr, "psia-control-sim: reply failed: %s\n", std::strerror(errno));
    it = delayed_.erase(it);
  }
}

int64_t control_simulator::next_due_ms() const {
  int64_t next = -1;
  for (const auto& d : delayed_)
    if (next < 0 || d.first < next) next = d.first;
  return next;
}

}  // namespace psia
