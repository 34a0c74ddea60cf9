// The streaming clients that the camera's streaming server records in
// table ClientList.
#include <cstring>

#include "resources/media/media.h"
#include "store/schema.h"

namespace psia {

namespace {

// The length of "Slave-0/status", the channel path's rest: clients of the
// second stream ask with exactly this path; every other one means the
// master stream.
const size_t kSlaveStatusRestLength = 14;

// One StreamingSessionStatus element per client, `indent` spaces deep.
void append_sessions(text_buffer& doc, const query_result& clients, const char* element,
                     int indent) {
  for (int r = 0; r < clients.rows(); ++r) {
    const char* address = clients.text(r, client_list_column::kClientAddress);
    doc.appendf("%*s<%s>", indent, "", element);
    doc.appendf("%*s<clientAddress>", indent + 4, "");
    doc.appendf("%*s<ipAddress>%s</ipAddress>", indent + 8, "", address != nullptr ? address : "");
    doc.appendf("%*s</clientAddress>", indent + 4, "");
    doc.appendf("%*s</StreamingSessionStatus>", indent, "");
  }
}

}  // namespace

answer get_streaming_status(request& req, const route_args&) {
  query_result clients = req.db().query("select * from ClientList");
  if (!clients.ok()) return answer::status(kStatusDeviceError);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<StreamingStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("    <totalStreamingSessions>%d</totalStreamingSessions>", clients.rows());
  doc.append("    <StreamingSessionStatusList version=\"1.0\">");
  append_sessions(doc, clients, "StreamingSessionStatus version=\"1.0\"", 8);
  doc.append("    </StreamingSessionStatusList>");
  doc.append("</StreamingStatus>");
  return answer::document(std::move(doc), content_type::xml);
}

answer get_streaming_channel_status(request& req, const route_args& route) {
  query_result clients =
      std::strlen(route.rest) == kSlaveStatusRestLength
          ? req.db().query("select * from ClientList where StreamName='Slave-0'")
          : req.db().query("select * from ClientList where StreamName='Master-0'");
  if (!clients.has_rows()) return answer::status(kStatusDeviceError);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<StreamingSessionStatusList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_sessions(doc, clients, "StreamingSessionStatus", 4);
  doc.append("</StreamingSessionStatusList>");
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace psia
