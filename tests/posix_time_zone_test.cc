// POSIX TZ checking and the zoneinfo file's last line.
#include <gtest/gtest.h>

#include <string>

#include "resources/system/posix_time_zone.h"
#include "resources/system/time_zone_table.h"

namespace {

TEST(PosixTimeZone, EveryZoneOfTheCameraTableIsAccepted) {
  TimeZonePairList* list = create_time_zone_pair_list();
  build_time_zone_table(list);
  for (uint32_t i = 0; i < list->count; ++i) {
    const char* zone = list->items[i]->posix;
    // Some rows carry a zoneinfo name where a client sends the name itself.
    if (std::string(zone).find('/') != std::string::npos) continue;
    if (std::string(zone) == "Egypt" || std::string(zone) == "Israel") continue;
    EXPECT_EQ(validate_posix_time_zone(zone), 0) << zone;
  }
  free_time_zone_pair_list(list);
}

TEST(PosixTimeZone, FaultsAreReportedByStage) {
  struct Case {
    const char* zone;
    int code;
  } cases[] = {
      {"", 0},
      {"UTC0", 0},
      {"NPT-5:45", 0},
      {"EST+5EDT+4:00:00,J60/2,300/1:30:59", 0},
      {"AMT4AMST,M11.1.0/0,M2.5.0/0", 0},
      {"1ST5", -1},
      {"ES", -1},
      {"EST", -4},
      {"EST/5", -4},
      {"EST5:", -2},
      {"EST555", -2},
      {"EST5,M3.2.0,M11.1.0", -2},
      {"EST5E1T", -3},
      {"EST5EDT!", -5},
      {"EST5EDT4x", -5},
      {"EST5EDT,X3.2.0,M11.1.0", -6},
      {"EST5EDT,M3.2,M11.1.0", -6},
      {"EST5EDT,M3.2.0", -6},
      {"EST5EDT,M3.2.0/ab,M11.1.0", -7},
      {"EST5EDT,M3.2.0,M11.1.0x", -7},
      {"EST5EDT,M13.2.0,M11.1.0", -10},
      {"EST5EDT,M3.6.0,M11.1.0", -10},
      {"EST5EDT,M3.2.7,M11.1.0", -10},
      {"EST5EDT,J0,J365", -10},
      {"EST5EDT,0,366", -10},
      {"EST5EDT,M3.2.0/24,M11.1.0", -11},
      {"EST5EDT,M3.2.0/2:60,M11.1.0", -11},
  };
  for (const Case& c : cases) EXPECT_EQ(validate_posix_time_zone(c.zone), c.code) << c.zone;
}

TEST(PosixTimeZone, LastLineOfAZoneFile) {
  struct Case {
    std::string contents;
    std::string zone;
  } cases[] = {
      {std::string("TZif2\0\0binary\nEST5EDT,M3.2.0,M11.1.0\n", 37), "EST5EDT,M3.2.0,M11.1.0"},
      {"header\nJST-9\n", "JST-9"},
      {"JST-9\n", "JST-9"},   // no earlier line break: all but the last byte
      {"data\n\n", ""},       // an empty last line
      {"x", ""},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(last_line_of_zone_file(c.contents), c.zone);
}

}  // namespace
