// The media branches: video input, audio channel, streaming channels and
// their status.
#ifndef PSIA_RESOURCES_MEDIA_MEDIA_H
#define PSIA_RESOURCES_MEDIA_MEDIA_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Video input channel.
Answer get_video_inputs(Request& req, const RouteArgs& route);
Answer get_video_input_channels(Request& req, const RouteArgs& route);
Answer get_video_input_channel(Request& req, const RouteArgs& route);
Answer put_video_input_channel(Request& req, const RouteArgs& route);

// Audio channel.
Answer get_audio_channel(Request& req, const RouteArgs& route);
Answer get_audio_channels(Request& req, const RouteArgs& route);
Answer put_audio_channel(Request& req, const RouteArgs& route);

// Streaming status.
Answer get_streaming_status(Request& req, const RouteArgs& route);
Answer get_streaming_channel_status(Request& req, const RouteArgs& route);

// Streaming channels.
Answer get_streaming_channels(Request& req, const RouteArgs& route);
Answer get_streaming_channel(Request& req, const RouteArgs& route);
Answer get_streaming_channel_capabilities(Request& req, const RouteArgs& route);
Answer put_streaming_channel(Request& req, const RouteArgs& route);
Answer put_streaming_channels(Request& req, const RouteArgs& route);
Answer post_streaming_channel(Request& req, const RouteArgs& route);
Answer delete_streaming_channel(Request& req, const RouteArgs& route);
Answer delete_streaming_channels(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_MEDIA_MEDIA_H
