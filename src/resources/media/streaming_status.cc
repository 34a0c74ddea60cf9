// The streaming clients that the camera's streaming server records in
// table ClientList (the client's address is the row's third cell).
#include <cstring>

#include "io/response.h"
#include "resources/media/media.h"
#include "store/database.h"

namespace {

const int kClientAddressColumn = 2;
// The length of "/PSIA/Streaming/channels/Slave-0/status": clients of the
// second stream ask with exactly this path; every other one means the
// master stream.
const size_t kSlaveStatusPathLength = 39;

// One StreamingSessionStatus element per client, `indent` spaces deep.
void append_sessions(TextBuffer& doc, const QueryResult& clients, const char* element,
                     int indent) {
  for (int r = 0; r < clients.rows(); ++r) {
    const char* address = clients.text(r, kClientAddressColumn);
    doc.appendf("%*s<%s>", indent, "", element);
    doc.appendf("%*s<clientAddress>", indent + 4, "");
    doc.appendf("%*s<ipAddress>%s</ipAddress>", indent + 8, "", address != nullptr ? address : "");
    doc.appendf("%*s</clientAddress>", indent + 4, "");
    doc.appendf("%*s</StreamingSessionStatus>", indent, "");
  }
}

}  // namespace

void get_streaming_status() {
  QueryResult clients = db_query("select * from ClientList");
  if (!clients.ok()) {
    write_response_status(kStatusDeviceError);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<StreamingStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("    <totalStreamingSessions>%d</totalStreamingSessions>", clients.rows());
  doc.appendf("    <StreamingSessionStatusList version=\"1.0\">");
  append_sessions(doc, clients, "StreamingSessionStatus version=\"1.0\"", 8);
  doc.appendf("    </StreamingSessionStatusList>");
  doc.appendf("</StreamingStatus>");
  answer_document(doc, content_type::xml);
}

void get_streaming_channel_status(const char* path) {
  QueryResult clients =
      std::strlen(path) == kSlaveStatusPathLength
          ? db_query("select * from ClientList where StreamName='Slave-0'")
          : db_query("select * from ClientList where StreamName='Master-0'");
  if (!clients.has_rows()) {
    write_response_status(kStatusDeviceError);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<StreamingSessionStatusList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_sessions(doc, clients, "StreamingSessionStatus", 4);
  doc.appendf("</StreamingSessionStatusList>");
  answer_document(doc, content_type::xml);
}
