// The camera's local time, as every System document shows it: in the zone
// last given with PUT /PSIA/System/time, else the system's.
#ifndef PSIA_RESOURCES_SYSTEM_CLOCK_H
#define PSIA_RESOURCES_SYSTEM_CLOCK_H

#include <ctime>

struct tm camera_local_time();

#endif  // PSIA_RESOURCES_SYSTEM_CLOCK_H
