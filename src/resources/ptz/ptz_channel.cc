// The camera's one PTZ channel (number 0, on video input 0) and its one
// setting: whether PTZ control is enabled (PTZControl.Enable). A change is
// announced to the control daemon with command 61.
#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/ptz/ptz.h"
#include "store/database.h"
#include "util/bounded_copy.h"

namespace {

bool ptz_control_enabled() {
  QueryResult row = db_query("select * from PTZControl where VideoChannelID=0");
  return row.integer(0, 2, 0) == 1;
}

void append_channel(TextBuffer& doc, int id) {
  doc.appendf("<PTZChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%d</id>", id);
  doc.appendf("<enabled>%s</enabled>", ptz_control_enabled() ? "true" : "false");
  doc.appendf("<videoInputID>0</videoInputID>");
  doc.appendf("<controlProtocol>Aldex Pellix</controlProtocol>");
  doc.appendf("</PTZChannel>");
}

// What a PTZChannel element sets. "enabled" can only switch control on:
// once any channel said "true", a later "false" does not undo it.
struct channel_update {
  int enable = 0;
  char id[32] = "";
  char video_input[32] = "";
};

void read_channel(const xmlNode* channel, channel_update* u) {
  for (xmlNode* child : xml_children(channel)) {
    if (xml_name_is(child, "id")) {
      xml_copy_text(child, u->id);
    } else if (xml_name_is(child, "enabled")) {
      if (xml_text_is(child, "true")) u->enable = 1;
    } else if (xml_name_is(child, "videoInputID")) {
      xml_copy_text(child, u->video_input);
    }
  }
}

// Stores the setting and tells the daemon; answers its status.
void apply(bool all_rows, int enable) {
  bool stored = all_rows ? db_exec("update PTZControl set Enable=%d", enable)
                         : db_exec("update PTZControl set Enable=%d where VideoChannelID=0", enable);
  if (!stored) {
    write_response_status(kStatusDeviceError);
    return;
  }
  write_response_status(send_control_command(kCommandPtzControl));
}

}  // namespace

void get_ptz_channel_list() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<PTZChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_channel(doc, 0);
  doc.appendf("</PTZChannelList>");
  answer_document(doc, content_type::xml);
}

// Any channel number shows channel 0's setting under the number asked for.
void get_ptz_channel(int channel) {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_channel(doc, channel);
  answer_document(doc, content_type::xml);
}

void put_ptz_channel(int /*channel*/) {
  XmlDocument body;
  if (!accept_xml_request(body, "PTZChannel", kStatusInvalidXmlFormat)) return;
  channel_update u;
  read_channel(body.root(), &u);
  apply(false, u.enable);
}

// The list may only name channel 0 on video input 0.
void put_ptz_channel_list() {
  XmlDocument body;
  if (!accept_xml_request(body, "PTZChannelList", kStatusInvalidXmlFormat)) return;
  channel_update u;
  for (xmlNode* channel : xml_children(body.root()))
    if (xml_name_is(channel, "PTZChannel")) read_channel(channel, &u);
  if (parse_int(u.id) != 0 || parse_int(u.video_input) != 0) {
    write_response_status(kStatusDeviceError);
    return;
  }
  apply(true, u.enable);
}

// The one channel can be neither added nor removed: accepted, unchanged.
void accept_ptz_noop() { write_response_status(kStatusOk); }
