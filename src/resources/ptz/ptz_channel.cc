// The camera's one PTZ channel (number 0, on video input 0) and its one
// setting: whether PTZ control is enabled (PTZControl.Enable). A change is
// announced to the control daemon with command 61.
#include "io/xml_input.h"
#include "resources/ptz/ptz.h"
#include "store/schema.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

answer answer_channel(request& req, bool list, int id) {
  query_result row = req.db().query("select * from PTZControl where VideoChannelID=0");
  bool enabled = row.integer(0, ptz_control_column::kEnable, 0) == 1;
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  if (list) doc.append("<PTZChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<PTZChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%d</id>", id);
  doc.append(enabled ? "<enabled>true</enabled>" : "<enabled>false</enabled>");
  doc.append("<videoInputID>0</videoInputID>");
  doc.append("<controlProtocol>Aldex Pellix</controlProtocol>");
  doc.append("</PTZChannel>");
  if (list) doc.append("</PTZChannelList>");
  return answer::document(std::move(doc), content_type::xml);
}

// What a PTZChannel element sets. "enabled" can only switch control on:
// once any channel said "true", a later "false" does not undo it.
struct channel_update {
  int enable = 0;
  char id[32] = "";
  char video_input[32] = "";
};

void read_channel(xml_node channel, channel_update* u) {
  for (xml_node child : channel.children()) {
    if (child.is("id")) {
      child.copy_text(u->id);
    } else if (child.is("enabled")) {
      if (child.text_is("true")) u->enable = 1;
    } else if (child.is("videoInputID")) {
      child.copy_text(u->video_input);
    }
  }
}

// Stores the setting and tells the daemon; answers its status.
answer apply(request& req, bool all_rows, int enable) {
  bool stored =
      all_rows ? req.db().exec("update PTZControl set Enable=?", enable)
               : req.db().exec("update PTZControl set Enable=? where VideoChannelID=0", enable);
  if (!stored) return answer::status(kStatusDeviceError);
  return answer::status(req.control().send_command(kCommandPtzControl));
}

}  // namespace

answer get_ptz_channel_list(request& req, const route_args&) {
  return answer_channel(req, true, 0);
}

// Any channel number shows channel 0's setting under the number asked for.
answer get_ptz_channel(request& req, const route_args& route) {
  return answer_channel(req, false, route.number);
}

answer put_ptz_channel(request& req, const route_args&) {
  xml_body body(req, "PTZChannel", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  channel_update u;
  read_channel(body.root(), &u);
  return apply(req, false, u.enable);
}

// The list may only name channel 0 on video input 0.
answer put_ptz_channel_list(request& req, const route_args&) {
  xml_body body(req, "PTZChannelList", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  channel_update u;
  for (xml_node channel : body.root().children())
    if (channel.is("PTZChannel")) read_channel(channel, &u);
  if (parse_int(u.id) != 0 || parse_int(u.video_input) != 0)
    return answer::status(kStatusDeviceError);
  return apply(req, true, u.enable);
}

// The one channel can be neither added nor removed: accepted, unchanged.
answer accept_ptz_noop(request&, const route_args&) { return answer::status(kStatusOk); }

}  // namespace psia
