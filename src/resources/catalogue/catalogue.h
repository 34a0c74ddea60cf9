// The resource catalogue: the fixed index, indexr and description documents
// by which every branch of the tree describes itself.
#ifndef PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
#define PSIA_RESOURCES_CATALOGUE_CATALOGUE_H

void get_psia_indexr();
void get_psia_index();
void get_psia_description();
void get_system_index();
void get_system_description();
void get_network_index();
void get_network_description();
void get_audio_index();
void get_audio_description();
void get_video_index();
void get_video_description();
void get_security_index();
void get_security_description();
void get_aaa_index();
void get_aaa_description();
void get_streaming_index();
void get_streaming_description();
void get_custom_index();
void get_custom_description();
void get_event_index();
void get_event_description();
void get_ptz_index();
void get_ptz_description();
void get_ptz_channels_description();

#endif  // PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
