// POSIX TZ strings: reading the camera's zone from its zoneinfo file, and
// checking a zone a client sends.
#ifndef PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H
#define PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H

#include <string>

namespace psia {

class Request;

// The POSIX TZ string of the zone stored in DateTime.TimeZone: the last
// line of its zoneinfo file ("GMT" when none is stored; the camera's own
// "CST-0" has no file). False when the file cannot be read.
bool read_posix_time_zone(Request& req, std::string* zone);

// The zoneinfo file's POSIX TZ string: the text after the last line break
// before the final byte, up to that byte.
std::string last_line_of_zone_file(const std::string& contents);

// Checks a text against the POSIX TZ grammar
// (std offset [dst [offset] [,start[/time],end[/time]]]). Returns 0 when
// it is acceptable (the empty text included) or the fault found:
//   -1 / -3  a non-letter among the first three letters of the standard /
//            daylight name
//   -4       no offset after the standard name
//   -2       a wrong character in or after the standard offset
//   -5       a wrong character in or after the daylight offset
//   -6       a wrong character in a rule's date
//   -7       a wrong character in a rule's time, or after the rules
//   -10      a rule date out of range; -11 a rule time out of range
int validate_posix_time_zone(const char* text);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_POSIX_TIME_ZONE_H
