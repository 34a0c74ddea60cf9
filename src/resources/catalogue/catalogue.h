// The resource catalogue: the fixed index, indexr and description documents
// by which every branch of the tree describes itself.
#ifndef PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
#define PSIA_RESOURCES_CATALOGUE_CATALOGUE_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

answer get_psia_indexr(request& req, const route_args& route);
answer get_psia_index(request& req, const route_args& route);
answer get_psia_description(request& req, const route_args& route);
answer get_system_index(request& req, const route_args& route);
answer get_system_description(request& req, const route_args& route);
answer get_network_index(request& req, const route_args& route);
answer get_network_description(request& req, const route_args& route);
answer get_audio_index(request& req, const route_args& route);
answer get_audio_description(request& req, const route_args& route);
answer get_video_index(request& req, const route_args& route);
answer get_video_description(request& req, const route_args& route);
answer get_security_index(request& req, const route_args& route);
answer get_security_description(request& req, const route_args& route);
answer get_aaa_index(request& req, const route_args& route);
answer get_aaa_description(request& req, const route_args& route);
answer get_streaming_index(request& req, const route_args& route);
answer get_streaming_description(request& req, const route_args& route);
answer get_custom_index(request& req, const route_args& route);
answer get_custom_description(request& req, const route_args& route);
answer get_event_index(request& req, const route_args& route);
answer get_event_description(request& req, const route_args& route);
answer get_ptz_index(request& req, const route_args& route);
answer get_ptz_description(request& req, const route_args& route);
answer get_ptz_channels_description(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_CATALOGUE_CATALOGUE_H
