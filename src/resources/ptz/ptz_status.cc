// The PTZ position, asked of the control daemon (command 65) and decoded
// from the camera's position frame in its reply.
#include "resources/ptz/ptz.h"

namespace psia {

namespace {

// A raw 16-bit value of the frame: high byte, then low byte.
double raw_at(const control_message& reply, size_t offset) {
  return reply.payload[offset] * 256.0 + reply.payload[offset + 1];
}

// Scaled in double, narrowed to float, then truncated: the frame's own
// scales, which differ from those of the absolute move on purpose.
int truncated(double value) { return static_cast<int>(static_cast<float>(value)); }

}  // namespace

answer get_ptz_status(request& req, const route_args&) {
  using fields = ptz_position_payload;
  control_message reply(kCommandPtzPosition);
  req.control().send_control_message(reply);
  // No reply leaves the payload zero, which is no position frame either.
  if (reply.payload[fields::kFrameType] != fields::kPositionFrame)
    return answer::status(kStatusDeviceError);
  int azimuth = truncated(raw_at(reply, fields::kAzimuth) * 360.0 / 38399.0);
  int elevation = truncated(raw_at(reply, fields::kElevation) * 180.0 / 20200.0 - 90.0);
  int zoom = truncated(raw_at(reply, fields::kZoom) * 100.0 / 2200.0);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<PTZStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<Absolute>");
  doc.appendf("<elevation>%d</elevation>", elevation);
  doc.appendf("<azimuth>%d</azimuth>", azimuth);
  doc.appendf("<absoluteZoom>%d</absoluteZoom>", zoom);
  doc.append("</Absolute>");
  doc.append("</PTZStatus>");
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace psia
