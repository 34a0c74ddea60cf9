// The camera's one video input channel (PSIA id 1, row VideoChannelID 0 of
// table VideoChannel): three documents that nest the same six elements at
// different depths, and the update of its picture levels.
#include "io/xml_input.h"
#include "resources/media/media.h"
#include "store/schema.h"

namespace psia {

namespace {

struct video_input_levels {
  int video_standard;  // 1: 50 Hz mains, anything else 60 Hz
  int brightness;
  int contrast;
  int hue;
};

// Answers the channel's elements inside `depth` wrapping elements, each
// opened on the way in and closed on the way out; the elements sit four
// spaces deeper than the innermost wrapper.
answer answer_video_document(request& req, const char* const opens[], const char* const closes[],
                             int depth) {
  query_result row = req.db().query("select * from VideoChannel where VideoChannelID=0");
  namespace C = video_channel_column;
  video_input_levels v{row.integer(0, C::kVideoStandard, 1), row.integer(0, C::kBrightness, 50),
                       row.integer(0, C::kContrast, 50), row.integer(0, C::kHue, 50)};
  const int indent = 4 * depth;
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  for (int i = 0; i < depth; ++i) doc.append(opens[i]);
  doc.appendf("%*s<id>1</id>", indent, "");
  doc.appendf("%*s<inputPort>1</inputPort>", indent, "");
  doc.appendf("%*s<powerLineFrequencyMode>%s</powerLineFrequencyMode>", indent, "",
              v.video_standard == 1 ? "50hz" : "60hz");
  doc.appendf("%*s<brightnessLevel>%d</brightnessLevel>", indent, "", v.brightness);
  doc.appendf("%*s<contrastLevel>%d</contrastLevel>", indent, "", v.contrast);
  doc.appendf("%*s<hueLevel>%d</hueLevel>", indent, "", v.hue);
  for (int i = depth - 1; i >= 0; --i) doc.append(closes[i]);
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace

answer get_video_inputs(request& req, const route_args&) {
  static const char* const kOpens[] = {"<VideoInput version=\"1.0\" xmlns=\"urn:psialliance-org\">",
                                       "    <VideoInputChannelList version=\"1.0\">",
                                       "        <VideoInputChannel version=\"1.0\">"};
  static const char* const kCloses[] = {"</VideoInput>", "    </VideoInputChannelList>",
                                        "        </VideoInputChannel>"};
  return answer_video_document(req, kOpens, kCloses, 3);
}

answer get_video_input_channels(request& req, const route_args&) {
  static const char* const kOpens[] = {
      "<VideoInputChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">",
      "    <VideoInputChannel version=\"1.0\">"};
  static const char* const kCloses[] = {"</VideoInputChannelList>", "    </VideoInputChannel>"};
  return answer_video_document(req, kOpens, kCloses, 2);
}

answer get_video_input_channel(request& req, const route_args&) {
  static const char* const kOpens[] = {
      "<VideoInputChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">"};
  static const char* const kCloses[] = {"</VideoInputChannel>"};
  return answer_video_document(req, kOpens, kCloses, 1);
}

// The body's id is the row key as it stands (a body without one updates
// row -1): the camera's daemon re-reads the row it is told about, and
// clients send the id of the row they mean.
answer put_video_input_channel(request& req, const route_args&) {
  xml_body body(req, "VideoInputChannel", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  int id = -1, brightness = 0, contrast = 0, hue = 0;
  for (xml_node child : body.root().children()) {
    if (child.is("id")) {
      id = child.int_text();
    } else if (child.is("brightnessLevel")) {
      brightness = child.int_text();
    } else if (child.is("contrastLevel")) {
      contrast = child.int_text();
    } else if (child.is("hueLevel")) {
      hue = child.int_text();
    }
  }
  body.release();
  if (!req.db().exec(
          "update VideoChannel set Brightness=?, Contrast=?, Hue=? where VideoChannelID=?",
          brightness, contrast, hue, id))
    return answer::status(kStatusDeviceError);
  control_message msg(kCommandVideoInput);
  msg.put_int(video_input_payload::kChannel, id);
  return answer::status(req.control().send_control_message(msg));
}

}  // namespace psia
