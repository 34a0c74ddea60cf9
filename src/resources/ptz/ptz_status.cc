// The PTZ position, asked of the control daemon (command 65) and decoded
// from the camera's position frame in its reply.
#include "control/control_message.h"
#include "io/response.h"
#include "resources/ptz/ptz.h"

namespace {

const unsigned char kPositionFrame = 0xA1;

// A raw 16-bit value of the frame: high byte, then low byte.
double raw_at(const control_message& reply, size_t offset) {
  return reply.payload[offset] * 256.0 + reply.payload[offset + 1];
}

// Scaled in double, narrowed to float, then truncated: the frame's own
// scales, which differ from those of the absolute move on purpose.
int truncated(double value) { return static_cast<int>(static_cast<float>(value)); }

}  // namespace

void get_ptz_status(int /*channel*/) {
  control_message reply;
  init_control_message(&reply);
  reply.command = kCommandPtzPosition;
  send_control_message(&reply);
  // No reply leaves the payload zero, which is no position frame either.
  if (reply.payload[7] != kPositionFrame) {
    write_response_status(kStatusDeviceError);
    return;
  }
  int azimuth = truncated(raw_at(reply, 9) * 360.0 / 38399.0);
  int elevation = truncated(raw_at(reply, 11) * 180.0 / 20200.0 - 90.0);
  int zoom = truncated(raw_at(reply, 13) * 100.0 / 2200.0);
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<PTZStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<Absolute>");
  doc.appendf("<elevation>%d</elevation>", elevation);
  doc.appendf("<azimuth>%d</azimuth>", azimuth);
  doc.appendf("<absoluteZoom>%d</absoluteZoom>", zoom);
  doc.appendf("</Absolute>");
  doc.appendf("</PTZStatus>");
  answer_document(doc, content_type::xml);
}
