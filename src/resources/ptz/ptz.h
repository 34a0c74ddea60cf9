// The PTZ branch: the PTZ channel, presets, motion commands and status.
#ifndef PSIA_RESOURCES_PTZ_PTZ_H
#define PSIA_RESOURCES_PTZ_PTZ_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Channels (route.number is the channel number of the path).
Answer get_ptz_channel_list(Request& req, const RouteArgs& route);
Answer put_ptz_channel_list(Request& req, const RouteArgs& route);
Answer get_ptz_channel(Request& req, const RouteArgs& route);
Answer put_ptz_channel(Request& req, const RouteArgs& route);
Answer accept_ptz_noop(Request& req, const RouteArgs& route);

// Presets (route.number is the preset number of the path).
Answer get_ptz_preset_list(Request& req, const RouteArgs& route);
Answer put_ptz_preset_list(Request& req, const RouteArgs& route);
Answer post_ptz_preset(Request& req, const RouteArgs& route);
Answer delete_ptz_presets(Request& req, const RouteArgs& route);
Answer get_ptz_preset(Request& req, const RouteArgs& route);
Answer put_ptz_preset(Request& req, const RouteArgs& route);
Answer goto_ptz_preset(Request& req, const RouteArgs& route);
Answer delete_ptz_preset(Request& req, const RouteArgs& route);

// Motion and status (the channel number is not used: the camera has one
// PTZ unit).
Answer put_ptz_home_position(Request& req, const RouteArgs& route);
Answer put_ptz_continuous(Request& req, const RouteArgs& route);
Answer put_ptz_absolute(Request& req, const RouteArgs& route);
Answer reject_ptz_operation(Request& req, const RouteArgs& route);
Answer get_ptz_status(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_PTZ_PTZ_H
