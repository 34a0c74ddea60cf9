// POSIX TZ strings: reading the camera's zone from its zoneinfo file, and
// checking a zone a client sends.
#ifndef PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H
#define PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H

#include <string>

namespace psia {

class request;

// The POSIX TZ string of the zone stored in DateTime.TimeZone: the last
// line of its zoneinfo file ("GMT" when none is stored; the camera's own
// "CST-0" has no file). False when the file cannot be read.
bool read_posix_time_zone(request& req, std::string* zone);

// The zoneinfo file's POSIX TZ string: the text after the last line break
// before the final byte, up to that byte.
std::string last_line_of_zone_file(const std::string& contents);

// Checks a text against the POSIX TZ grammar
// (std offset [dst [offset] [,start[/time],end[/time]]]): names of three
// letters or more, offsets [+|-]hh[:mm[:ss]], rule dates Jn, n or Mm.w.d
// in range, rule times in range. The empty text is acceptable.
bool is_posix_time_zone(const char* text);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H
