// PTZ motion: the home position and continuous moves as key/value commands
// (code 50), absolute positions as frames of the camera's PTZ protocol
// passed through the control daemon (code 63).
#include "resources/ptz/ptz_motion.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "io/xml_input.h"
#include "resources/ptz/ptz.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

// "Not given" for the absolute coordinates.
const float kNotGiven = 10000.0f;

// Code 50 carries five name/value pairs of 48-byte texts after word 0.
class key_value_command {
 public:
  key_value_command() : msg_(kCommandPtzKeyValue) {}
  void pair(size_t index, const char* name, const char* value) {
    using fields = ptz_key_value_payload;
    msg_.put_text(fields::name(index), fields::kTextWidth, name);
    msg_.put_text(fields::value(index), fields::kTextWidth, value);
  }
  void pair(size_t index, const char* name, int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    pair(index, name, text);
  }
  answer send(request& req) { return answer::status(req.control().send_control_message(msg_)); }

 private:
  control_message msg_;
};

control_result send_frame(request& req, const char* frame) {
  control_message msg(kCommandPtzFrame);
  msg.put_text(ptz_frame_payload::kFrame, ptz_frame_payload::kFrameWidth, frame);
  return req.control().send_control_message(msg);
}

// Reads a PTZData body, handing each child element to `take`. The answer
// to a body that cannot be read, or nothing.
std::optional<answer> read_ptz_data(request& req, const std::function<void(xml_node)>& take) {
  xml_body body(req, "PTZData", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  for (xml_node child : body.root().children()) take(child);
  return std::nullopt;
}

const char* const kContinuousKeys[] = {"PAN", "TILT", "ZOOM"};
const char* const kAbsoluteKeys[] = {"AZIMUTH", "ELEVATION", "ABSOLUTEZOOM"};

bool in_range(float v, float low, float high) { return v == kNotGiven || (v >= low && v <= high); }

}  // namespace

void scan_ptz_query(const char* query, const char* const keys[], int key_count,
                    const std::function<void(int key, const char* value)>& set) {
  if (query == nullptr || *query == '\0') return;
  char key[128] = "", value[128] = "";
  bool in_value = false;
  size_t at = 0;
  for (const char* c = query; *c != '\0'; ++c) {
    if (*c == '&') {
      for (int k = 0; k < key_count; ++k)
        if (strcasecmp(key, keys[k]) == 0) set(k, value);
      std::memset(key, 0, sizeof key);
      std::memset(value, 0, sizeof value);
      at = 0;
      in_value = false;
      // The '&' itself then goes into the next key.
    }
    if (*c == '=') {
      in_value = true;
      value[0] = '=';
      at = 1;
    } else if (at + 1 < sizeof key) {
      (in_value ? value : key)[at++] = *c;
    }
  }
}

int ptz_move_speed(int rate) { return static_cast<int>((rate / 100.0) * 127.0); }

int ptz_zoom_speed(int rate) { return static_cast<int>((rate / 100.0) * 3.0); }

// E5 01 00 CF 7F aH aL eH eL check: 106 steps a degree, the elevation
// counted from straight down; the check byte is the low byte of the sum of
// all bytes before it.
void ptz_position_frame(float azimuth, float elevation, char* text, size_t size) {
  int a = static_cast<int>(azimuth * 106.0f);
  int e = static_cast<int>((elevation + 90.0f) * 106.0f);
  int ah = (a >> 8) & 255, al = a & 255, eh = (e >> 8) & 255, el = e & 255;
  int check = (ah + al + eh + el + 0x34) & 255;
  std::snprintf(text, size, "E50100CF%02X%02X%02X%02X%02X%02X", 0x7F, ah, al, eh, el, check);
}

// E5 01 00 CD 00 zH zL check.
void ptz_zoom_frame(int zoom_steps, char* text, size_t size) {
  int zh = (zoom_steps >> 8) & 255, zl = zoom_steps & 255;
  int check = (zh + zl - 0x4D) & 255;
  std::snprintf(text, size, "E50100CD00%02X%02X%02X", zh, zl, check);
}

answer put_ptz_home_position(request& req, const route_args&) {
  key_value_command command;
  command.pair(0, "HOME", "HOME");
  return command.send(req);
}

// Pan, tilt and zoom rates (-100..100) become a direction with speeds.
answer put_ptz_continuous(request& req, const route_args&) {
  int rate[3] = {0, 0, 0};  // pan, tilt, zoom
  scan_ptz_query(req.params.query, kContinuousKeys, 3,
                 [&](int k, const char* value) { rate[k] = parse_int(value); });
  std::optional<answer> refused = read_ptz_data(req, [&](xml_node child) {
    for (int k = 0; k < 3; ++k)
      if (child.is(kContinuousKeys[k])) rate[k] = child.int_text();
  });
  if (refused) return std::move(*refused);
  const int pan = rate[0], tilt = rate[1], zoom = rate[2];
  for (int r : rate)
    if (r < -100 || r > 100) return answer::status(kStatusDeviceError);
  key_value_command command;
  if (pan == 0 && tilt == 0 && zoom == 0) {
    command.pair(2, "STOP", "PAN");
    return command.send(req);
  }
  if (pan != 0 || tilt != 0) {
    static const char* const kDirections[3][3] = {
        // tilt < 0, tilt == 0, tilt > 0
        {"LEFTDOWN", "LEFT", "LEFTUP"},     // pan < 0
        {"DOWN", "", "UP"},                 // pan == 0
        {"RIGHTDOWN", "RIGHT", "RIGHTUP"},  // pan > 0
    };
    int p = pan < 0 ? 0 : pan == 0 ? 1 : 2;
    int t = tilt < 0 ? 0 : tilt == 0 ? 1 : 2;
    command.pair(0, "PANSPEED", ptz_move_speed(std::abs(pan)));
    command.pair(1, "TILTSPEED", ptz_move_speed(std::abs(tilt)));
    command.pair(2, "MOVE", kDirections[p][t]);
  }
  if (zoom != 0) {
    command.pair(3, "ZOOMSPEED", ptz_zoom_speed(std::abs(zoom)));
    command.pair(4, "ZOOM", zoom > 0 ? "IN" : "OUT");
  }
  return command.send(req);
}

// An absolute position (degrees, and zoom in percent) as protocol frames;
// a position equal to the last one sent is not sent again.
answer put_ptz_absolute(request& req, const route_args&) {
  float value[3] = {kNotGiven, kNotGiven, kNotGiven};  // azimuth, elevation, zoom
  scan_ptz_query(req.params.query, kAbsoluteKeys, 3, [&](int k, const char* text) {
    value[k] = static_cast<float>(std::strtod(text, nullptr));
  });
  std::optional<answer> refused = read_ptz_data(req, [&](xml_node child) {
    for (int k = 0; k < 3; ++k)
      if (child.is(kAbsoluteKeys[k])) value[k] = static_cast<float>(child.double_text());
  });
  if (refused) return std::move(*refused);
  float azimuth = value[0], elevation = value[1], zoom = value[2];
  if (!in_range(azimuth, 0.0f, 360.0f) || !in_range(elevation, -90.0f, 90.0f) ||
      !in_range(zoom, 0.0f, 100.0f))
    return answer::status(kStatusDeviceError);
  bool move = false, zoom_in = false;
  {
    // The position is taken and noted under the lock, the frames sent
    // after: the lock is never held across a wait on the daemon.
    camera_lock lock(req.ctx.camera);
    ptz_position& last = lock.camera().last_absolute;
    if (azimuth != last.azimuth || elevation != last.elevation) {
      move = true;
      if (azimuth == kNotGiven)
        azimuth = last.azimuth;
      else
        last.azimuth = azimuth;
      if (elevation == kNotGiven)
        elevation = last.elevation;
      else
        last.elevation = elevation;
    }
    if (zoom != last.zoom && zoom != kNotGiven) {
      zoom_in = true;
      last.zoom = zoom;
    }
  }
  control_result sent = control_result::ok;
  char frame[1024];
  if (move) {
    ptz_position_frame(azimuth, elevation, frame, sizeof frame);
    sent = send_frame(req, frame);
  }
  if (zoom_in) {
    // One model family has a shorter zoom lens. The comparison runs over its
    // full name against the kept three-letter family, so it never matches
    // and the common scale applies; the camera has always sent these steps.
    const char* family = req.camera().device.model_prefix;
    bool short_lens = family[0] != '\0' && strncasecmp(family, "KD7731", 6) == 0;
    int steps = static_cast<int>(zoom * (short_lens ? 21.94 : 29.66));
    ptz_zoom_frame(steps, frame, sizeof frame);
    sent = send_frame(req, frame);
  }
  return answer::status(sent);
}

answer reject_ptz_operation(request&, const route_args&) {
  return answer::status(kStatusInvalidOperation);
}

}  // namespace psia
