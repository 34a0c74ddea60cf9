// The camera's one audio input channel (PSIA id 1, listen-only). The
// documents report table Audio while the update writes AudioStream, the
// row the streams use: the camera's firmware keeps the two apart.
#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/media/media.h"
#include "store/database.h"

namespace {

void append_audio_channel(TextBuffer& doc) {
  bool enabled = db_query_int(0, "select Enable from Audio where AudioID=0") != 0;
  doc.appendf("<AudioChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>1</id>");
  doc.appendf("<enabled>%s</enabled>", enabled ? "true" : "false");
  doc.appendf("<audioMode>listenonly</audioMode>");
  doc.appendf("</AudioChannel>");
}

}  // namespace

void get_audio_channel() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_audio_channel(doc);
  answer_document(doc, content_type::xml_utf8);
}

void get_audio_channels() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<AudioChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_audio_channel(doc);
  doc.appendf("</AudioChannelList>");
  answer_document(doc, content_type::xml_utf8);
}

void put_audio_channel() {
  XmlDocument body;
  if (!accept_xml_request(body, "AudioChannel", kStatusDeviceError)) return;
  // Audio is switched on only by an explicit "true"; anything else, or no
  // enabled element at all, switches it off.
  int enable = 0;
  for (xmlNode* child : xml_children(body.root())) {
    if (xml_name_is(child, "enabled")) enable = xml_text_is(child, "true") ? 1 : 0;
  }
  body.reset(nullptr);
  if (!db_exec("update AudioStream set Enable=%d where AudioStreamID=0", enable)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  write_response_status(send_control_command(kCommandAudio));
}
