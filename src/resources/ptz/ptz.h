// The PTZ branch: the PTZ channel, presets, motion commands and status.
#ifndef PSIA_RESOURCES_PTZ_PTZ_H
#define PSIA_RESOURCES_PTZ_PTZ_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Channels.
Answer get_ptz_channel_list(Request& req);
Answer put_ptz_channel_list(Request& req);
Answer get_ptz_channel(Request& req, int channel);
Answer put_ptz_channel(Request& req, int channel);
Answer accept_ptz_noop(Request& req);

// Presets (n is the preset number of the path).
Answer get_ptz_preset_list(Request& req);
Answer put_ptz_preset_list(Request& req);
Answer post_ptz_preset(Request& req);
Answer delete_ptz_presets(Request& req);
Answer get_ptz_preset(Request& req, int n);
Answer put_ptz_preset(Request& req, int n);
Answer goto_ptz_preset(Request& req, int n);
Answer delete_ptz_preset(Request& req, int n);

// Motion and status (the channel number is not used: the camera has one
// PTZ unit).
Answer put_ptz_home_position(Request& req, int channel);
Answer put_ptz_continuous(Request& req, int channel);
Answer put_ptz_absolute(Request& req, int channel);
Answer reject_ptz_operation(Request& req, int channel);
Answer get_ptz_status(Request& req, int channel);

}  // namespace psia

#endif  // PSIA_RESOURCES_PTZ_PTZ_H
