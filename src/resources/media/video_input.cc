// The camera's one video input channel (PSIA id 1, row VideoChannelID 0 of
// table VideoChannel): three documents that nest the same six elements at
// different depths, and the update of its picture levels.
#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/media/media.h"
#include "store/database.h"

namespace {

struct video_input_levels {
  int video_standard;  // 1: 50 Hz mains, anything else 60 Hz
  int brightness;
  int contrast;
  int hue;
};

video_input_levels read_video_input_levels() {
  QueryResult row = db_query("select * from VideoChannel where VideoChannelID=0");
  return video_input_levels{row.integer(0, 2, 1), row.integer(0, 3, 50),
                            row.integer(0, 4, 50), row.integer(0, 5, 50)};
}

// The six elements of a VideoInputChannel, `indent` spaces deep.
void append_channel_elements(TextBuffer& doc, const video_input_levels& v, int indent) {
  doc.appendf("%*s<id>1</id>", indent, "");
  doc.appendf("%*s<inputPort>1</inputPort>", indent, "");
  doc.appendf("%*s<powerLineFrequencyMode>%s</powerLineFrequencyMode>", indent, "",
              v.video_standard == 1 ? "50hz" : "60hz");
  doc.appendf("%*s<brightnessLevel>%d</brightnessLevel>", indent, "", v.brightness);
  doc.appendf("%*s<contrastLevel>%d</contrastLevel>", indent, "", v.contrast);
  doc.appendf("%*s<hueLevel>%d</hueLevel>", indent, "", v.hue);
}

// Answers the channel's elements inside `depth` wrapping elements, each
// opened on the way in and closed on the way out; the elements sit four
// spaces deeper than the innermost wrapper.
void answer_video_document(const char* const opens[], const char* const closes[], int depth) {
  video_input_levels levels = read_video_input_levels();
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  for (int i = 0; i < depth; ++i) doc.appendf("%s", opens[i]);
  append_channel_elements(doc, levels, 4 * depth);
  for (int i = depth - 1; i >= 0; --i) doc.appendf("%s", closes[i]);
  answer_document(doc, content_type::xml);
}

}  // namespace

void get_video_inputs() {
  static const char* const kOpens[] = {
      "<VideoInput version=\"1.0\" xmlns=\"urn:psialliance-org\">",
      "    <VideoInputChannelList version=\"1.0\">",
      "        <VideoInputChannel version=\"1.0\">"};
  static const char* const kCloses[] = {"</VideoInput>", "    </VideoInputChannelList>",
                                        "        </VideoInputChannel>"};
  answer_video_document(kOpens, kCloses, 3);
}

void get_video_input_channels() {
  static const char* const kOpens[] = {
      "<VideoInputChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">",
      "    <VideoInputChannel version=\"1.0\">"};
  static const char* const kCloses[] = {"</VideoInputChannelList>", "    </VideoInputChannel>"};
  answer_video_document(kOpens, kCloses, 2);
}

void get_video_input_channel() {
  static const char* const kOpens[] = {
      "<VideoInputChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">"};
  static const char* const kCloses[] = {"</VideoInputChannel>"};
  answer_video_document(kOpens, kCloses, 1);
}

// The body's id is the row key as it stands (a body without one updates
// row -1): the camera's daemon re-reads the row it is told about, and
// clients send the id of the row they mean.
void put_video_input_channel() {
  XmlDocument body;
  if (!accept_xml_request(body, "VideoInputChannel", kStatusDeviceError)) return;
  int id = -1, brightness = 0, contrast = 0, hue = 0;
  for (xmlNode* child : xml_children(body.root())) {
    if (xml_name_is(child, "id")) {
      id = xml_int_text(child);
    } else if (xml_name_is(child, "brightnessLevel")) {
      brightness = xml_int_text(child);
    } else if (xml_name_is(child, "contrastLevel")) {
      contrast = xml_int_text(child);
    } else if (xml_name_is(child, "hueLevel")) {
      hue = xml_int_text(child);
    }
  }
  body.reset(nullptr);
  if (!db_exec("update VideoChannel set Brightness=%d, Contrast=%d, Hue=%d where VideoChannelID=%d",
               brightness, contrast, hue, id)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandVideoInput;
  control_put_int(&msg, 0, id);
  send_control_message(&msg);
  write_response_status(msg.status);
}
