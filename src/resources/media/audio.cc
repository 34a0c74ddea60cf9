// The camera's one audio input channel (PSIA id 1, listen-only). The
// documents report table Audio while the update writes AudioStream, the
// row the streams use: the camera's firmware keeps the two apart.
#include "io/xml_input.h"
#include "resources/media/media.h"

namespace psia {

namespace {

answer answer_audio(request& req, bool list) {
  bool enabled = req.db().query_int(0, "select Enable from Audio where AudioID=0") != 0;
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  if (list) doc.append("<AudioChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<AudioChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<id>1</id>");
  doc.append(enabled ? "<enabled>true</enabled>" : "<enabled>false</enabled>");
  doc.append("<audioMode>listenonly</audioMode>");
  doc.append("</AudioChannel>");
  if (list) doc.append("</AudioChannelList>");
  return answer::document(std::move(doc), content_type::xml_utf8);
}

}  // namespace

answer get_audio_channel(request& req, const route_args&) { return answer_audio(req, false); }

answer get_audio_channels(request& req, const route_args&) { return answer_audio(req, true); }

answer put_audio_channel(request& req, const route_args&) {
  xml_body body(req, "AudioChannel", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  // Audio is switched on only by an explicit "true"; anything else, or no
  // enabled element at all, switches it off.
  int enable = 0;
  for (xml_node child : body.root().children())
    if (child.is("enabled")) enable = child.text_is("true") ? 1 : 0;
  body.release();
  if (!req.db().exec("update AudioStream set Enable=? where AudioStreamID=0", enable))
    return answer::status(kStatusDeviceError);
  return answer::status(req.control().send_command(kCommandAudio));
}

}  // namespace psia
