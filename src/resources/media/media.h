// The media branches: video input, audio channel, streaming channels and
// their status.
#ifndef PSIA_RESOURCES_MEDIA_MEDIA_H
#define PSIA_RESOURCES_MEDIA_MEDIA_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Video input channel.
answer get_video_inputs(request& req, const route_args& route);
answer get_video_input_channels(request& req, const route_args& route);
answer get_video_input_channel(request& req, const route_args& route);
answer put_video_input_channel(request& req, const route_args& route);

// Audio channel.
answer get_audio_channel(request& req, const route_args& route);
answer get_audio_channels(request& req, const route_args& route);
answer put_audio_channel(request& req, const route_args& route);

// Streaming status.
answer get_streaming_status(request& req, const route_args& route);
answer get_streaming_channel_status(request& req, const route_args& route);

// Streaming channels.
answer get_streaming_channels(request& req, const route_args& route);
answer get_streaming_channel(request& req, const route_args& route);
answer get_streaming_channel_capabilities(request& req, const route_args& route);
answer put_streaming_channel(request& req, const route_args& route);
answer put_streaming_channels(request& req, const route_args& route);
answer post_streaming_channel(request& req, const route_args& route);
answer delete_streaming_channel(request& req, const route_args& route);
answer delete_streaming_channels(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_MEDIA_MEDIA_H
