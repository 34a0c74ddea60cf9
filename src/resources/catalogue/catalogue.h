// The resource catalogue: the fixed index, indexr and description documents
// by which every branch of the tree describes itself.
#ifndef PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
#define PSIA_RESOURCES_CATALOGUE_CATALOGUE_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

Answer get_psia_indexr(Request& req, const RouteArgs& route);
Answer get_psia_index(Request& req, const RouteArgs& route);
Answer get_psia_description(Request& req, const RouteArgs& route);
Answer get_system_index(Request& req, const RouteArgs& route);
Answer get_system_description(Request& req, const RouteArgs& route);
Answer get_network_index(Request& req, const RouteArgs& route);
Answer get_network_description(Request& req, const RouteArgs& route);
Answer get_audio_index(Request& req, const RouteArgs& route);
Answer get_audio_description(Request& req, const RouteArgs& route);
Answer get_video_index(Request& req, const RouteArgs& route);
Answer get_video_description(Request& req, const RouteArgs& route);
Answer get_security_index(Request& req, const RouteArgs& route);
Answer get_security_description(Request& req, const RouteArgs& route);
Answer get_aaa_index(Request& req, const RouteArgs& route);
Answer get_aaa_description(Request& req, const RouteArgs& route);
Answer get_streaming_index(Request& req, const RouteArgs& route);
Answer get_streaming_description(Request& req, const RouteArgs& route);
Answer get_custom_index(Request& req, const RouteArgs& route);
Answer get_custom_description(Request& req, const RouteArgs& route);
Answer get_event_index(Request& req, const RouteArgs& route);
Answer get_event_description(Request& req, const RouteArgs& route);
Answer get_ptz_index(Request& req, const RouteArgs& route);
Answer get_ptz_description(Request& req, const RouteArgs& route);
Answer get_ptz_channels_description(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
