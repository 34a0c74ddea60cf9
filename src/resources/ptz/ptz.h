// The PTZ branch: the PTZ channel, presets, motion commands and status.
#ifndef PSIA_RESOURCES_PTZ_PTZ_H
#define PSIA_RESOURCES_PTZ_PTZ_H

// Channels.
void get_ptz_channel_list();
void put_ptz_channel_list();
void get_ptz_channel(int channel);
void put_ptz_channel(int channel);
void accept_ptz_noop();

// Presets (n is the preset number of the path).
void get_ptz_preset_list();
void put_ptz_preset_list();
void post_ptz_preset();
void delete_ptz_presets();
void get_ptz_preset(int n);
void put_ptz_preset(int n);
void goto_ptz_preset(int n);
void delete_ptz_preset(int n);

// Motion and status (the channel number is not used: the camera has one
// PTZ unit).
void put_ptz_home_position(int channel);
void put_ptz_continuous(int channel);
void put_ptz_absolute(int channel);
void reject_ptz_operation(int channel);
void get_ptz_status(int channel);

#endif  // PSIA_RESOURCES_PTZ_PTZ_H
