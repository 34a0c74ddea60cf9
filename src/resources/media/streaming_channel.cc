// The streaming channel documents: the master stream (VideoStream row 0,
// channel id 1) and the slave stream (row 1, channel id 2), each with the
// shared audio stream and RTSP port.
//
// The channel document, each entry of the list and the capabilities
// document carry the same elements, each with its own indentation and
// attributes; the three layouts below hold them as data, so one builder
// writes all three.
#include <strings.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "resources/media/media.h"
#include "store/schema.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

// The text before and after an element's value.
struct element {
  const char* open;
  const char* close;
};

// The bit rate or quality elements, the same in the channel document and
// the list, with attributes in the capabilities.
struct quality_layout {
  const char* cbr;
  element bit_rate;
  const char* vbr;
  element fixed_quality;
  const char* vbr_caps;
};

// The Audio element's children, likewise.
struct audio_layout {
  element enabled;
  const char* input;
  element compression;
  element bit_rate;
  const char* sampling;
  const char* resolution;
};

struct channel_layout {
  element id;
  element name;
  element enabled;
  const char* transport_open;
  element rtsp_port;
  const char* max_packet_size;  // null: not in this document
  const char* protocol_list_open;
  const char* protocol_open;
  const char* streaming_transport;
  const char* protocol_close;
  const char* protocol_list_close;
  const char* transport_close;
  const char* video_open;
  element video_enabled;
  const char* video_input;
  element codec;
  const char* scan_type;  // null: not in this document
  const char* width_open;
  const char* width_open_160;  // for the 160-pixel models
  element height;
  const quality_layout* quality;
  element frame_rate;
  element key_frame_interval;
  const char* video_close;
  const audio_layout* audio;
  const char* channel_close;
};

const char kWidthClose[] = "</videoResolutionWidth>";
const char kVbrCaps[] =
    "            <vbrUpperCap>10240</vbrUpperCap>            <vbrLowerCap>1024</vbrLowerCap>";

const quality_layout kPlainQuality = {
    "            <videoQualityControlType>CBR</videoQualityControlType>",
    {"            <constantBitRate>", "</constantBitRate>"},
    "            <videoQualityControlType>VBR</videoQualityControlType>",
    {"            <fixedQuality>", "</fixedQuality>"},
    kVbrCaps,
};
const quality_layout kCapabilitiesQuality = {
    "            <videoQualityControlType opt=\"CBR,VBR\">CBR</videoQualityControlType>",
    {"            <constantBitRate min=\"64\" max=\"10240\" dynamic=\"true\">",
     "</constantBitRate>"},
    "            <videoQualityControlType opt=\"CBR,VBR\">VBR</videoQualityControlType>",
    {"            <fixedQuality min=\"0\" max=\"100\" default=\"50\">", "</fixedQuality>"},
    kVbrCaps,
};
const audio_layout kPlainAudio = {
    {"            <enabled>", "</enabled>"},
    "            <audioInputChannelID>1</audioInputChannelID>",
    {"            <audioCompressionType>", "</audioCompressionType>"},
    {"            <audioBitRate>", "</audioBitRate>"},
    "            <audioSamplingRate>8</audioSamplingRate>",
    "            <audioResolution>8</audioResolution>",
};
const audio_layout kCapabilitiesAudio = {
    {"            <enabled opt=\"true,false\">", "</enabled>"},
    "            <audioInputChannelID min=\"1\" max=\"1\">1</audioInputChannelID>",
    {"            <audioCompressionType opt=\"G.711ulaw,G.711alaw,G.726\" default=\"G.711ulaw\">",
     "</audioCompressionType>"},
    {"            <audioBitRate opt=\"24,32,64\">", "</audioBitRate>"},
    "            <audioSamplingRate opt=\"8\">8</audioSamplingRate>",
    "            <audioResolution opt=\"8\">8</audioResolution>",
};

const channel_layout kChannelLayout = {
    {"    <id>", "</id>"},
    {"    <channelName>", " stream</channelName>"},
    {"    <enabled>", "</enabled>"},
    "    <Transport>",
    {"        <rtspPortNo>", "</rtspPortNo>"},
    nullptr,
    "        <ControlProtocolList>",
    "            <ControlProtocol>",
    "                <streamingTransport>RTSP</streamingTransport>",
    "            </ControlProtocol>",
    "        </ControlProtocolList>",
    "    </Transport>",
    "    <Video>",
    {"    <enabled>", "</enabled>"},
    "        <videoInputChannelID>1</videoInputChannelID>",
    {"        <videoCodecType>", "</videoCodecType>"},
    "            <videoScanType>progressive</videoScanType>",
    "        <videoResolutionWidth>",
    "            <videoResolutionWidth>",
    {"        <videoResolutionHeight>", "</videoResolutionHeight>"},
    &kPlainQuality,
    {"        <maxFrameRate>", "</maxFrameRate>"},
    {"            <keyFrameInterval>", "</keyFrameInterval>"},
    "    </Video>",
    &kPlainAudio,
    "</StreamingChannel>",
};

const channel_layout kListEntryLayout = {
    {"        <id>", "</id>"},
    {"        <channelName>", " Stream</channelName>"},
    {"        <enabled>", "</enabled>"},
    "        <Transport>",
    {"            <rtspPortNo>", "</rtspPortNo>"},
    "            <maxPacketSize>1448</maxPacketSize>",
    "            <ControlProtocolList>",
    "                <ControlProtocol>",
    "                    <streamingTransport>RTSP</streamingTransport>",
    "                </ControlProtocol>",
    "            </ControlProtocolList>",
    "        </Transport>",
    "        <Video>",
    {"            <enabled>", "</enabled>"},
    "            <videoInputChannelID>1</videoInputChannelID>",
    {"            <videoCodecType>", "</videoCodecType>"},
    "            <videoScanType>progressive</videoScanType>",
    "            <videoResolutionWidth>",
    "            <videoResolutionWidth>",
    {"            <videoResolutionHeight>", "</videoResolutionHeight>"},
    &kPlainQuality,
    {"            <maxFrameRate>", "</maxFrameRate>"},
    {"            <keyFrameInterval>", "</keyFrameInterval>"},
    "        </Video>",
    &kPlainAudio,
    "    </StreamingChannel>",
};

const channel_layout kCapabilitiesLayout = {
    {"    <id opt=\"1,2\">", "</id>"},
    {"    <channelName min=\"1\" max=\"128\">", " stream</channelName>"},
    {"    <enabled opt=\"true,false\">", "</enabled>"},
    "    <Transport>",
    {"        <rtspPortNo min=\"0\" max=\"65535\" def=\"554\">", "</rtspPortNo>"},
    nullptr,
    "        <ControlProtocolList>",
    "            <ControlProtocol>",
    "                <streamingTransport opt=\"RTSP/RTP,HTTP\">RTSP</streamingTransport>",
    "            </ControlProtocol>",
    "        </ControlProtocolList>",
    "    </Transport>",
    "    <Video>",
    {"    <enabled opt=\"true,false\">", "</enabled>"},
    "        <videoInputChannelID opt=\"1\">1</videoInputChannelID>",
    {"        <videoCodecType opt=\"MJPEG,H.264\">", "</videoCodecType>"},
    nullptr,
    "        <videoResolutionWidth min=\"176\" max=\"704\">",
    "        <videoResolutionWidth min=\"160\" max=\"704\">",
    {"        <videoResolutionHeight min=\"144\" max=\"576\">", "</videoResolutionHeight>"},
    &kCapabilitiesQuality,
    {"        <maxFrameRate min=\"100\" max=\"3000\" default=\"1500\">", "</maxFrameRate>"},
    {"<keyFrameInterval min=\"0\" max=\"10000\">", "</keyFrameInterval>"},
    "    </Video>",
    &kCapabilitiesAudio,
    "</StreamingChannel>",
};

// One video stream's row, with the values the camera assumes without one.
struct video_stream {
  int enable = 1;        // 1 on; -1 marks a stream the camera cannot serve
  int codec = 1;         // 0 MJPEG, else H.264
  int resolution = 0;    // size index
  int quality_type = 1;  // 0 constant bit rate, else variable
  int bit_rate = 2048;   // kbit/s
  int quality = 2;       // quality step index
  int frame_rate = 15;
  int gop_size = 15;
};

// What both streams share.
struct shared_settings {
  int video_standard;  // 1: 50 Hz mains, 2: 60 Hz
  bool audio_enabled;
  int audio_codec;
  int rtsp_port;
};

// Reads a stream's row; false when the row marks the stream unusable.
bool read_video_stream(request& req, int index, video_stream* out) {
  query_result row = req.db().query(
      "select Enable, Codec, Resolution, QualityType, Bitrate, Quality, Framerate, GOPSize "
      "from VideoStream where VideoStreamID=?",
      index);
  *out = video_stream();
  if (row.has_rows()) {
    out->enable = row.integer(0, 0, 0);
    out->codec = row.integer(0, 1, 0);
    out->resolution = row.integer(0, 2, 0);
    out->quality_type = row.integer(0, 3, 0);
    out->bit_rate = row.integer(0, 4, 0);
    out->quality = row.integer(0, 5, 0);
    out->frame_rate = row.integer(0, 6, 0);
    out->gop_size = row.integer(0, 7, 0);
  }
  return out->enable != -1;
}

int read_video_standard(request& req, int fallback) {
  return req.db().query_int(fallback,
                            "select VideoStandard from VideoChannel where VideoChannelID=0");
}

shared_settings read_shared_settings(request& req, int video_standard) {
  shared_settings s;
  s.video_standard = video_standard;
  query_result audio = req.db().query("select * from AudioStream where AudioStreamID=0");
  s.audio_enabled = audio.has_rows() && audio.integer(0, audio_stream_column::kEnable, 0) == 1;
  s.audio_codec = audio.has_rows() ? audio.integer(0, audio_stream_column::kCodec, 0) : 0;
  s.rtsp_port = req.db().query_int(554, "select RTSPPort from Services");
  return s;
}

// The 160-pixel variants belong to three model families. The comparisons
// run over the full model names against the kept three-letter family, so
// they never match and the 176-pixel variants are the ones sent; clients
// rely on those.
bool model_has_160_pixel_variant(const device_facts& device) {
  const char* family = device.model_prefix;
  if (family[0] == '\0') return false;
  return strncasecmp(family, "KTA3050", 7) == 0 || strncasecmp(family, "KTB3050", 7) == 0 ||
         strncasecmp(family, "KTC305", 6) == 0;
}

int resolution_width(int resolution, bool model_match) {
  switch (resolution) {
    case 2: return 352;
    case 3: return model_match ? 160 : 176;
    default: return 704;
  }
}

int resolution_height(int resolution, bool fifty_hz) {
  switch (resolution) {
    case 1:
    case 2: return fifty_hz ? 288 : 240;
    case 3: return fifty_hz ? 144 : 112;
    default: return fifty_hz ? 576 : 480;
  }
}

int fixed_quality(int quality) {
  switch (quality) {
    case 0: return 100;
    case 1: return 75;
    case 3: return 25;
    case 4: return 0;
    default: return 50;
  }
}

const char* audio_compression(int codec) {
  switch (codec) {
    case 0: return "G.711ulaw";
    case 1: return "G.711alaw";
    case 2:
    case 3: return "G.726";
    default: return "G.711";
  }
}

int audio_bit_rate(int codec) { return codec == 2 ? 24 : codec == 3 ? 32 : 64; }

// Milliseconds between key frames, computed in single precision as the
// encoder does (7 frames at 10 per second give 699); a zero frame rate
// saturates instead of failing.
int key_frame_interval(int gop_size, int frame_rate) {
  float seconds = static_cast<float>(gop_size) / static_cast<float>(frame_rate);
  double ms = static_cast<double>(seconds) * 1000.0;
  if (std::isnan(ms)) return 0;
  if (ms >= 2147483647.0) return INT32_MAX;
  if (ms <= -2147483648.0) return INT32_MIN;
  return static_cast<int>(ms);
}

void append_text(text_buffer& doc, const element& e, const char* value) {
  doc.append(e.open);
  doc.append(value);
  doc.append(e.close);
}

void append_number(text_buffer& doc, const element& e, int value) {
  doc.append(e.open);
  doc.appendf("%d", value);
  doc.append(e.close);
}

void append_line(text_buffer& doc, const char* line) {
  if (line != nullptr) doc.append(line);
}

// How a document shows one channel.
struct channel_view {
  const channel_layout* layout;
  int id;            // channel id printed
  const char* name;  // "Master" or "Slave"
  bool fifty_hz;     // which height column
  bool show_size;    // false: no width or height element
};

void append_channel(text_buffer& doc, const channel_view& view, const video_stream& v,
                    const shared_settings& s, bool match) {
  const channel_layout& l = *view.layout;
  const char* enabled = v.enable == 1 ? "true" : "false";

  append_number(doc, l.id, view.id);
  if (view.layout == &kCapabilitiesLayout)
    append_number(doc, l.name, view.id);
  else
    append_text(doc, l.name, view.name);
  append_text(doc, l.enabled, enabled);
  append_line(doc, l.transport_open);
  append_number(doc, l.rtsp_port, s.rtsp_port);
  append_line(doc, l.max_packet_size);
  append_line(doc, l.protocol_list_open);
  append_line(doc, l.protocol_open);
  append_line(doc, l.streaming_transport);
  append_line(doc, l.protocol_close);
  append_line(doc, l.protocol_list_close);
  append_line(doc, "            <Unicast>");
  append_line(doc, "              <enabled>true</enabled>");
  append_line(doc, "              <rtpTransportType>RTP/TCP</rtpTransportType>");
  append_line(doc, "            </Unicast>");
  append_line(doc, l.transport_close);
  append_line(doc, l.video_open);
  append_text(doc, l.video_enabled, enabled);
  append_line(doc, l.video_input);
  append_text(doc, l.codec, v.codec == 0 ? "MJPEG" : "H.264");
  append_line(doc, l.scan_type);
  if (view.show_size) {
    int width = resolution_width(v.resolution, match);
    bool capabilities = view.layout == &kCapabilitiesLayout;
    const char* open = (capabilities ? match : width == 160) ? l.width_open_160 : l.width_open;
    doc.appendf("%s%d%s", open, width, kWidthClose);
    append_number(doc, l.height, resolution_height(v.resolution, view.fifty_hz));
  }
  const quality_layout& q = *l.quality;
  if (v.quality_type == 0) {
    append_line(doc, q.cbr);
    append_number(doc, q.bit_rate, v.bit_rate);
  } else {
    append_line(doc, q.vbr);
    append_number(doc, q.fixed_quality, fixed_quality(v.quality));
    append_line(doc, q.vbr_caps);
  }
  append_number(doc, l.frame_rate, times_wrapped(v.frame_rate, 100));
  append_number(doc, l.key_frame_interval, key_frame_interval(v.gop_size, v.frame_rate));
  append_line(doc, l.video_close);
  append_line(doc, "        <Audio>");
  const audio_layout& a = *l.audio;
  append_text(doc, a.enabled, s.audio_enabled ? "true" : "false");
  append_line(doc, a.input);
  append_text(doc, a.compression, audio_compression(s.audio_codec));
  append_number(doc, a.bit_rate, audio_bit_rate(s.audio_codec));
  append_line(doc, a.sampling);
  append_line(doc, a.resolution);
  append_line(doc, "        </Audio>");
  append_line(doc, l.channel_close);
}

// The stream a channel id names: the master for an id beginning with
// "Master-0" or "1", the slave for any other.
int stream_index_of(const char* id) {
  return strncasecmp(id, "Master-0", 8) == 0 || id[0] == '1' ? 0 : 1;
}

const char* stream_name(int index) { return index == 0 ? "Master" : "Slave"; }

// The single-channel documents: `values_index` is the row whose values are
// shown, `id_index` the stream whose id is printed.
answer answer_single_channel(request& req, const channel_layout& layout, int id_index,
                             int values_index, int standard_fallback) {
  int standard = read_video_standard(req, standard_fallback);
  video_stream v;
  if (!read_video_stream(req, values_index, &v)) return answer::status(kStatusDeviceError);
  shared_settings s = read_shared_settings(req, standard);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<StreamingChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  append_channel(doc, {&layout, id_index + 1, stream_name(id_index), standard == 1, true}, v, s,
                 model_has_160_pixel_variant(req.camera().device));
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace

answer get_streaming_channels(request& req, const route_args&) {
  int standard = read_video_standard(req, 1);
  video_stream master, slave;
  if (!read_video_stream(req, 0, &master) || !read_video_stream(req, 1, &slave))
    return answer::status(kStatusDeviceError);
  shared_settings s = read_shared_settings(req, standard);
  bool fifty_hz = standard != 2;
  bool match = model_has_160_pixel_variant(req.camera().device);
  // The slave's list entry leaves out the size it cannot name.
  bool slave_size_known = slave.resolution >= 0 && slave.resolution <= 3;
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<StreamingChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("    <StreamingChannel version=\"1.0\">");
  append_channel(doc, {&kListEntryLayout, 1, "Master", fifty_hz, true}, master, s, match);
  doc.append("    <StreamingChannel version=\"1.0\">");
  append_channel(doc, {&kListEntryLayout, 2, "Slave", fifty_hz, slave_size_known}, slave, s, match);
  doc.append("</StreamingChannelList>");
  return answer::document(std::move(doc), content_type::xml);
}

answer get_streaming_channel(request& req, const route_args& route) {
  int index = stream_index_of(route.rest);
  return answer_single_channel(req, kChannelLayout, index, index, 2);
}

// The capabilities are those of the master stream, whichever channel the
// path names.
answer get_streaming_channel_capabilities(request& req, const route_args& route) {
  return answer_single_channel(req, kCapabilitiesLayout, stream_index_of(route.rest), 0, 1);
}

}  // namespace psia
