// The time zone table: its growth, its size and order, that every zone it
// names exists on the camera, and the prefix lookup of PUT timeZone.
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "resources/system/time_zone_table.h"

namespace {

class TimeZoneTable : public ::testing::Test {
 protected:
  void SetUp() override {
    list_ = create_time_zone_pair_list();
    ASSERT_NE(list_, nullptr);
    build_time_zone_table(list_);
  }
  void TearDown() override { free_time_zone_pair_list(list_); }
  TimeZonePairList* list_ = nullptr;
};

TEST_F(TimeZoneTable, EveryZoneinfoNameIsAZoneFile) {
  if (access("/usr/share/zoneinfo/GMT", R_OK) != 0) GTEST_SKIP() << "no tzdata here";
  for (uint32_t i = 0; i < list_->count; ++i) {
    // "CST-0" is the camera's own zone, handled without a file.
    if (std::string(list_->items[i]->zoneinfo) == "CST-0") continue;
    std::string file = std::string("/usr/share/zoneinfo/") + list_->items[i]->zoneinfo;
    EXPECT_EQ(access(file.c_str(), R_OK), 0) << "row " << i + 1 << ": " << file;
  }
}

TEST_F(TimeZoneTable, FindsTheFirstRowBeginningWithTheText) {
  struct Case {
    const char* text;
    const char* zoneinfo;  // null: no row
  } cases[] = {
      {"JST-9", "Japan"},
      {"EST5", "EST"},  // the first of the rows beginning with it
      {"est5edt", "EST5EDT"},
      {"Africa/Cairo", "Africa/Cairo"},
      {"YEKT-5YEKST,M3.5.0,M10.5.0/3", "Asia/Yekaterinburg"},
      {"ACT5", "Brazil/Acre"},
      {"", nullptr},
      {"XYZ7", nullptr},
      {"ACT5 and more", nullptr},
  };
  for (const Case& c : cases) {
    const char* found = find_time_zone(list_, c.text);
    if (c.zoneinfo == nullptr) {
      EXPECT_EQ(found, nullptr) << c.text;
    } else {
      ASSERT_NE(found, nullptr) << c.text;
      EXPECT_STREQ(found, c.zoneinfo) << c.text;
    }
  }
}

TEST(TimeZonePairList, GrowsByFourSlots) {
  TimeZonePairList* list = create_time_zone_pair_list();
  ASSERT_NE(list, nullptr);
  const uint32_t expected_capacity[] = {4, 4, 4, 4, 8, 8, 8, 8, 12};
  for (uint32_t i = 0; i < 9; ++i) {
    ASSERT_EQ(append_time_zone_pair(list, "UTC0", "UTC"), 0);
    EXPECT_EQ(list->count, i + 1);
    EXPECT_EQ(list->capacity, expected_capacity[i]);
  }
  // Slots beyond the count hold empty pairs, never garbage.
  EXPECT_EQ(list->items[10]->posix, nullptr);
  free_time_zone_pair_list(list);
}

}  // namespace
