// The PTZ branch: the PTZ channel, presets, motion commands and status.
#ifndef PSIA_RESOURCES_PTZ_PTZ_H
#define PSIA_RESOURCES_PTZ_PTZ_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Channels (route.number is the channel number of the path).
answer get_ptz_channel_list(request& req, const route_args& route);
answer put_ptz_channel_list(request& req, const route_args& route);
answer get_ptz_channel(request& req, const route_args& route);
answer put_ptz_channel(request& req, const route_args& route);
answer accept_ptz_noop(request& req, const route_args& route);

// Presets (route.number is the preset number of the path).
answer get_ptz_preset_list(request& req, const route_args& route);
answer put_ptz_preset_list(request& req, const route_args& route);
answer post_ptz_preset(request& req, const route_args& route);
answer delete_ptz_presets(request& req, const route_args& route);
answer get_ptz_preset(request& req, const route_args& route);
answer put_ptz_preset(request& req, const route_args& route);
answer goto_ptz_preset(request& req, const route_args& route);
answer delete_ptz_preset(request& req, const route_args& route);

// Motion and status (the channel number is not used: the camera has one
// PTZ unit).
answer put_ptz_home_position(request& req, const route_args& route);
answer put_ptz_continuous(request& req, const route_args& route);
answer put_ptz_absolute(request& req, const route_args& route);
answer reject_ptz_operation(request& req, const route_args& route);
answer get_ptz_status(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_PTZ_PTZ_H
