// The camera's local time, as every System document shows it: in the zone
// last given with PUT /PSIA/System/time, else the system's.
#ifndef PSIA_RESOURCES_SYSTEM_CLOCK_H
#define PSIA_RESOURCES_SYSTEM_CLOCK_H

#include <ctime>

#include "io/request_context.h"

namespace psia {

// Makes this process's local-time conversions follow the context's current
// zone. Under FastCGI every accepted request replaces the environment, so
// TZ is put back before each conversion rather than once.
void apply_current_zone(const request_context& ctx);

struct tm camera_local_time(request_context& ctx);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_CLOCK_H
