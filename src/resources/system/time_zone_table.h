// The time zone table: POSIX TZ strings a client may send, paired with the
// zoneinfo names the camera stores and its control daemon is told. Built
// once at start-up; searched by PUT timeZone.
#ifndef PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H
#define PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H

#include <cstdint>

struct TimeZonePair {
  char* posix;     // owned, NUL-terminated
  char* zoneinfo;  // owned, NUL-terminated
};

struct TimeZonePairList {
  TimeZonePair** items;  // slots; those beyond count hold empty pairs
  uint32_t count;
  uint32_t capacity;  // grows by 4 slots at a time
};

TimeZonePairList* create_time_zone_pair_list();
void free_time_zone_pair_list(TimeZonePairList* list);
// Copies both texts into the next row. Returns 0, or -1 when memory is
// short (the table is then left as it was).
int append_time_zone_pair(TimeZonePairList* list, const char* posix,
                          const char* zoneinfo);
// Appends the camera's 180 rows in their fixed order.
void build_time_zone_table(TimeZonePairList* list);
// The zoneinfo name of the first row whose POSIX string begins with `text`
// (compared without regard to case), or null when none does or `text` is
// empty.
const char* find_time_zone(const TimeZonePairList* list, const char* text);

#endif  // PSIA_RESOURCES_SYSTEM_TIME_ZONE_TABLE_H
