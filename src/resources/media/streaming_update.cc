// Streaming channel updates: StreamingChannel bodies turned into the
// numeric codes of tables VideoStream, AudioStream and Services (the codes
// the channel documents read back), each change announced to the control
// daemon. The daemon's replies are not waited on for an answer: the
// settings are stored either way.
#include <strings.h>

#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/media/media.h"
#include "store/database.h"

namespace {

// What a body sets for one video stream; the defaults are written for
// every element the body leaves out.
struct stream_update {
  int enabled = 1;
  int codec = 1;         // H.264
  int resolution = 0;    // full size
  int quality_type = 1;  // variable bit rate
  int bit_rate = 2048;
  int quality = 2;
  int frame_rate = 15;
};

struct channel_update {
  stream_update streams[2];  // master, slave
  int stream = 0;            // the stream in force: the last id met
  bool one_stream = false;   // every element goes to streams[0]
  int rtsp_port = 554;
  int audio_enabled = 0;
  int audio_codec = 2;  // G.726
};

int stream_index_of_id(const xmlNode* node) {
  char id[128];
  xml_copy_text(node, id);
  if (strncasecmp(id, "Master-0", 8) == 0 || id[0] == '1') return 0;
  if (strncasecmp(id, "Slave-0", 7) == 0 || id[0] == '2') return 1;
  return 0;
}

// Width and height are applied in document order: each names a size index.
int resolution_of_width(int width) {
  if (width == 176 || width == 160) return 3;
  return width == 352 ? 2 : 0;
}

int resolution_of_height(int height, int resolution_so_far) {
  if (height == 144 || height == 112) return 3;
  if (height == 240 || height == 288) return resolution_so_far != 0 ? 2 : 1;
  return 0;
}

// The quality step of a PSIA fixed quality (0..100).
int quality_step(int fixed_quality) {
  if (fixed_quality == 0) return 4;
  if (fixed_quality <= 25) return 3;
  if (fixed_quality <= 50) return 2;
  if (fixed_quality <= 75) return 1;
  return fixed_quality == 100 ? 0 : 2;
}

void read_video(const xmlNode* video, stream_update* s) {
  for (xmlNode* child : xml_children(video)) {
    if (xml_name_is(child, "videoCodecType")) {
      s->codec = xml_text_is(child, "MJPEG") ? 0 : 1;
    } else if (xml_name_is(child, "videoResolutionWidth")) {
      s->resolution = resolution_of_width(xml_int_text(child));
    } else if (xml_name_is(child, "videoResolutionHeight")) {
      s->resolution = resolution_of_height(xml_int_text(child), s->resolution);
    } else if (xml_name_is(child, "videoQualityControlType")) {
      s->quality_type = xml_text_is(child, "CBR") ? 0 : 1;
    } else if (xml_name_is(child, "fixedQuality")) {
      s->quality = quality_step(xml_int_text(child));
    } else if (xml_name_is(child, "constantBitRate")) {
      s->bit_rate = xml_int_text(child);
    } else if (xml_name_is(child, "maxFrameRate")) {
      s->frame_rate = xml_int_text(child) / 100;  // hundredths of a frame per second
    }
  }
}

void read_audio(const xmlNode* audio, channel_update* u) {
  for (xmlNode* child : xml_children(audio)) {
    if (xml_name_is(child, "enabled")) {
      // A number here, unlike the "true"/"false" of the documents.
      u->audio_enabled = xml_int_text(child);
    } else if (xml_name_is(child, "audioCompressionType")) {
      u->audio_codec = xml_text_is(child, "G.711alaw") ? 1 : xml_text_is(child, "G.726") ? 2 : 0;
    } else if (xml_name_is(child, "audioBitRate")) {
      if (xml_int_text(child) == 32 && u->audio_codec == 2) u->audio_codec = 3;
    }
  }
}

void read_channel(const xmlNode* channel, channel_update* u) {
  for (xmlNode* child : xml_children(channel)) {
    stream_update* s = &u->streams[u->one_stream ? 0 : u->stream];
    if (xml_name_is(child, "id")) {
      u->stream = stream_index_of_id(child);
    } else if (xml_name_is(child, "enabled")) {
      s->enabled = xml_text_is(child, "TRUE") ? 1 : 0;
    } else if (xml_name_is(child, "Transport")) {
      for (xmlNode* transport : xml_children(child))
        if (xml_name_is(transport, "rtspPortNo")) u->rtsp_port = xml_int_text(transport);
    } else if (xml_name_is(child, "Video")) {
      read_video(child, s);
    } else if (xml_name_is(child, "Audio")) {
      read_audio(child, u);
    }
  }
}

// Reads the body; with `list` the channel is the list's first child node.
// Returns 0 or the status code to answer.
int read_channel_update(bool list, channel_update* u) {
  XmlDocument body;
  int failure = read_xml_request(body, list ? "StreamingChannelList" : "StreamingChannel",
                                 kStatusDeviceError);
  if (failure != 0) return failure;
  const xmlNode* channel = body.root();
  if (list) {
    channel = channel->children;
    if (channel == nullptr || !xml_name_is(channel, "StreamingChannel")) return kStatusDeviceError;
  }
  read_channel(channel, u);
  return 0;
}

bool store_stream(const stream_update& s, int index) {
  return db_exec(
      "update VideoStream set Enable=%d, Codec=%d, Resolution=%d, QualityType=%d, Bitrate=%d, "
      "Quality=%d, Framerate=%d where VideoStreamID=%d",
      s.enabled, s.codec, s.resolution, s.quality_type, s.bit_rate, s.quality, s.frame_rate,
      index);
}

void announce_video_stream(bool master) {
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandVideoStream;
  control_put_int(&msg, 0, 0);
  control_put_int(&msg, 4, master ? 1 : 0);
  send_control_message(&msg);
}

// The audio and RTSP steps every writer ends with; returns the answer.
int store_shared_settings(const channel_update& u) {
  if (!db_exec("update AudioStream set Enable=%d, Codec=%d where AudioStreamID=0",
               u.audio_enabled, u.audio_codec))
    return kStatusDeviceError;
  send_control_command(kCommandAudio);
  if (!db_exec("update Services set RTSPPort=%d", u.rtsp_port)) return kStatusDeviceError;
  send_control_command(kCommandRtspPort);
  return kStatusOk;
}

// Both streams from one body: each element went to the stream in force.
void write_both_streams(bool list) {
  channel_update u;
  int failure = read_channel_update(list, &u);
  if (failure != 0) {
    write_response_status(failure);
    return;
  }
  for (int index = 0; index < 2; ++index) {
    if (!store_stream(u.streams[index], index)) {
      write_response_status(kStatusDeviceError);
      return;
    }
    announce_video_stream(u.stream == 0);
  }
  write_response_status(store_shared_settings(u));
}

}  // namespace

// The body's id names the stream; the path's id is not consulted.
void put_streaming_channel(const char* /*path*/) {
  channel_update u;
  u.one_stream = true;
  int failure = read_channel_update(false, &u);
  if (failure != 0) {
    write_response_status(failure);
    return;
  }
  if (!store_stream(u.streams[0], u.stream)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  announce_video_stream(u.stream == 0);
  write_response_status(store_shared_settings(u));
}

void put_streaming_channels() { write_both_streams(true); }

void post_streaming_channel() { write_both_streams(false); }

// Channels are fixed by the encoder: deleting one changes nothing.
void delete_streaming_channel(const char* /*path*/) { write_response_status(kStatusOk); }

void delete_streaming_channels() { write_response_status(kStatusOk); }
