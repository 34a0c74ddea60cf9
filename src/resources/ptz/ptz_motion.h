// The pieces of the PTZ motion commands with logic of their own: the
// camera's query-string scan and its protocol frames.
#ifndef PSIA_RESOURCES_PTZ_PTZ_MOTION_H
#define PSIA_RESOURCES_PTZ_PTZ_MOTION_H

#include <cstddef>
#include <functional>

namespace psia {

// Scans QUERY_STRING as the camera's web pages send it, calling `set` with
// the index of a recognised key (compared without regard to case) and its
// value text. The scan keeps the camera's long-standing form: every value
// it hands on begins with '=', every key after the first '&' begins with
// '&', and the last pair is never handed on. Keys and values are cut at
// 127 characters.
void scan_ptz_query(const char* query, const char* const keys[], int key_count,
                    const std::function<void(int key, const char* value)>& set);

// Rate (0..100) to the protocol's speed steps: pan and tilt 0..127,
// zoom 0..3.
int ptz_move_speed(int rate);
int ptz_zoom_speed(int rate);

// The pass-through frames of an absolute position, as upper-case hex text
// (room for 64 characters).
void ptz_position_frame(float azimuth, float elevation, char* text, size_t size);
void ptz_zoom_frame(int zoom_steps, char* text, size_t size);

}  // namespace psia

#endif  // PSIA_RESOURCES_PTZ_PTZ_MOTION_H
