// The time zone table: POSIX TZ strings a client may send, paired with the
// zoneinfo names the camera stores and its control daemon is told. PUT
// timeZone searches it from its first row.
#ifndef PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H
#define PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H

namespace psia {

// The zoneinfo name of the first row whose POSIX string begins with `text`
// (compared without regard to case), or null when none does or `text` is
// empty.
const char* find_time_zone(const char* text);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H
