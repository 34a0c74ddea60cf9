// The media branches: video input, audio channel, streaming channels and
// their status.
#ifndef PSIA_RESOURCES_MEDIA_MEDIA_H
#define PSIA_RESOURCES_MEDIA_MEDIA_H

// Video input channel.
void get_video_inputs();
void get_video_input_channels();
void get_video_input_channel();
void put_video_input_channel();

// Audio channel.
void get_audio_channel();
void get_audio_channels();
void put_audio_channel();

// Streaming status.
void get_streaming_status();
void get_streaming_channel_status(const char* path);

// Streaming channels.
void get_streaming_channels();
void get_streaming_channel(const char* path);
void get_streaming_channel_capabilities(const char* path);
void put_streaming_channel(const char* path);
void put_streaming_channels();
void post_streaming_channel();
void delete_streaming_channel(const char* path);
void delete_streaming_channels();

#endif  // PSIA_RESOURCES_MEDIA_MEDIA_H
