// Streaming channel updates: StreamingChannel bodies turned into the
// numeric codes of tables VideoStream, AudioStream and Services (the codes
// the channel documents read back), each change announced to the control
// daemon. The daemon's replies are not waited on for an answer: the
// settings are stored either way.
#include <strings.h>

#include "io/xml_input.h"
#include "resources/media/media.h"

namespace psia {

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

int stream_index_of_id(xml_node node) {
  char id[128];
  node.copy_text(id);
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

void read_video(xml_node video, stream_update* s) {
  for (xml_node child : video.children()) {
    if (child.is("videoCodecType")) {
      s->codec = child.text_is("MJPEG") ? 0 : 1;
    } else if (child.is("videoResolutionWidth")) {
      s->resolution = resolution_of_width(child.int_text());
    } else if (child.is("videoResolutionHeight")) {
      s->resolution = resolution_of_height(child.int_text(), s->resolution);
    } else if (child.is("videoQualityControlType")) {
      s->quality_type = child.text_is("CBR") ? 0 : 1;
    } else if (child.is("fixedQuality")) {
      s->quality = quality_step(child.int_text());
    } else if (child.is("constantBitRate")) {
      s->bit_rate = child.int_text();
    } else if (child.is("maxFrameRate")) {
      s->frame_rate = child.int_text() / 100;  // hundredths of a frame per second
    }
  }
}

void read_audio(xml_node audio, channel_update* u) {
  for (xml_node child : audio.children()) {
    if (child.is("enabled")) {
      // A number here, unlike the "true"/"false" of the documents.
      u->audio_enabled = child.int_text();
    } else if (child.is("audioCompressionType")) {
      u->audio_codec = child.text_is("G.711alaw") ? 1 : child.text_is("G.726") ? 2 : 0;
    } else if (child.is("audioBitRate")) {
      if (child.int_text() == 32 && u->audio_codec == 2) u->audio_codec = 3;
    }
  }
}

void read_channel(xml_node channel, channel_update* u) {
  for (xml_node child : channel.children()) {
    stream_update* s = &u->streams[u->one_stream ? 0 : u->stream];
    if (child.is("id")) {
      u->stream = stream_index_of_id(child);
    } else if (child.is("enabled")) {
      s->enabled = child.text_is("TRUE") ? 1 : 0;
    } else if (child.is("Transport")) {
      for (xml_node transport : child.children())
        if (transport.is("rtspPortNo")) u->rtsp_port = transport.int_text();
    } else if (child.is("Video")) {
      read_video(child, s);
    } else if (child.is("Audio")) {
      read_audio(child, u);
    }
  }
}

// Reads the body; with `list` the channel is the list's first child node.
// False when it cannot be read or holds no channel.
bool read_channel_update(request& req, bool list, channel_update* u) {
  xml_body body(req, list ? "StreamingChannelList" : "StreamingChannel", kStatusDeviceError);
  if (!body.ok()) return false;
  xml_node channel = body.root();
  if (list) {
    channel = channel.first_child();
    if (!channel.is("StreamingChannel")) return false;
  }
  read_channel(channel, u);
  return true;
}

bool store_stream(request& req, const stream_update& s, int index) {
  return req.db().exec(
      "update VideoStream set Enable=?, Codec=?, Resolution=?, QualityType=?, Bitrate=?, "
      "Quality=?, Framerate=? where VideoStreamID=?",
      s.enabled, s.codec, s.resolution, s.quality_type, s.bit_rate, s.quality, s.frame_rate, index);
}

void announce_video_stream(request& req, bool master) {
  control_message msg(kCommandVideoStream);
  msg.put_int(video_stream_payload::kMaster, master ? 1 : 0);
  req.control().send_control_message(msg);
}

// The audio and RTSP steps every writer ends with; returns the answer.
answer store_shared_settings(request& req, const channel_update& u) {
  if (!req.db().exec("update AudioStream set Enable=?, Codec=? where AudioStreamID=0",
                     u.audio_enabled, u.audio_codec))
    return answer::status(kStatusDeviceError);
  req.control().send_command(kCommandAudio);
  if (!req.db().exec("update Services set RTSPPort=?", u.rtsp_port))
    return answer::status(kStatusDeviceError);
  req.control().send_command(kCommandRtspPort);
  return answer::status(kStatusOk);
}

// Both streams from one body: each element went to the stream in force.
answer write_both_streams(request& req, bool list) {
  channel_update u;
  if (!read_channel_update(req, list, &u)) return answer::status(kStatusDeviceError);
  for (int index = 0; index < 2; ++index) {
    if (!store_stream(req, u.streams[index], index)) return answer::status(kStatusDeviceError);
    announce_video_stream(req, u.stream == 0);
  }
  return store_shared_settings(req, u);
}

}  // namespace

// The body's id names the stream; the path's id is not consulted.
answer put_streaming_channel(request& req, const route_args&) {
  channel_update u;
  u.one_stream = true;
  if (!read_channel_update(req, false, &u)) return answer::status(kStatusDeviceError);
  if (!store_stream(req, u.streams[0], u.stream)) return answer::status(kStatusDeviceError);
  announce_video_stream(req, u.stream == 0);
  return store_shared_settings(req, u);
}

answer put_streaming_channels(request& req, const route_args&) {
  return write_both_streams(req, true);
}

answer post_streaming_channel(request& req, const route_args&) {
  return write_both_streams(req, false);
}

// Channels are fixed by the encoder: deleting one changes nothing.
answer delete_streaming_channel(request&, const route_args&) { return answer::status(kStatusOk); }

answer delete_streaming_channels(request&, const route_args&) { return answer::status(kStatusOk); }

}  // namespace psia
