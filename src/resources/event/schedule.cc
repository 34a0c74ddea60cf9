// When the camera's event trigger is armed: a set of weekdays and one
// daily time range, kept in the Event row as Week (bit 0 Sunday .. bit 6
// Saturday) and StartTime/EndTime (hours * 100 + minutes).
#include <cstring>

#include "io/response.h"
#include "io/xml_input.h"
#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/database.h"
#include "util/bounded_copy.h"

namespace {

const int kWeekColumn = 2;
const int kStartColumn = 3;
const int kEndColumn = 4;

// What a schedule body sets, day by day (index 0 is Sunday).
struct schedule_update {
  int day = -1;  // the day of the TimeBlock being read; none yet
  int week = 0;
  char bits[7][32] = {};
  int begin[7] = {-1, -1, -1, -1, -1, -1, -1};
  int end[7] = {-1, -1, -1, -1, -1, -1, -1};
};

// A TimeBlock naming a day outside 1..7 is ignored whole.
bool names_a_real_day(const xmlNode* block) {
  for (xmlNode* child : xml_children(block)) {
    if (!xml_name_is(child, "dayOfWeek")) continue;
    int d = xml_int_text(child);
    if (d < 1 || d > 7) return false;
  }
  return true;
}

// The camera keeps one armed day per change: each dayOfWeek replaces the
// week. The end of a range is read from its minutes field, as the camera's
// own pages write it.
void read_time_block(const xmlNode* block, schedule_update* u) {
  for (xmlNode* child : xml_children(block)) {
    if (xml_name_is(child, "dayOfWeek")) {
      int d = xml_int_text(child);
      u->day = d == 7 ? 0 : d;
      u->week = 1 << u->day;
    } else if (xml_name_is(child, "bitString")) {
      if (u->day > 0) xml_copy_text(child, u->bits[u->day]);
    } else if (xml_name_is(child, "TimeRange") && u->day >= 0) {
      for (xmlNode* range : xml_children(child)) {
        char text[128];
        if (xml_name_is(range, "beginTime")) {
          xml_copy_text(range, text);
          u->begin[u->day] = parse_int(text);
        } else if (xml_name_is(range, "endTime")) {
          xml_copy_text(range, text);
          u->end[u->day] = std::strlen(text) > 3 ? parse_int(text + 3) : 0;
        }
      }
    }
  }
}

// A day's hour mask (one character an hour, '0' off) gives the last
// on-hour as its begin and the first on-hour + 1 as its end.
void apply_hour_masks(schedule_update* u) {
  for (int d = 0; d < 7; ++d) {
    const char* bits = u->bits[d];
    if (bits[0] == '\0') continue;
    for (int i = 0; i < 24; ++i)
      if (bits[i] != '0') u->begin[d] = i;
    for (int i = 24; i > 0; --i)
      if (bits[i - 1] != '0') u->end[d] = i;
  }
}

}  // namespace

void append_schedule(TextBuffer& doc) {
  QueryResult event = db_query("select * from Event where Trigger=0");
  int week = event.integer(0, kWeekColumn, 0);
  int start = event.integer(0, kStartColumn, 0);
  int end = event.integer(0, kEndColumn, 0);
  doc.appendf("<EventSchedule version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<TimeBlockList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int d = 0; d < 7; ++d) {
    if ((week & (1 << d)) == 0) continue;
    doc.appendf("<TimeBlock>");
    doc.appendf("<dayOfWeek>%d</dayOfWeek>", d == 0 ? 7 : d);
    doc.appendf("<TimeRange>");
    doc.appendf("<beginTime>%02d:%02d:%02d</beginTime>", start / 100, start % 100, 0);
    doc.appendf("<endTime>%02d:%02d:%02d</endTime>", end / 100, end % 100, 0);
    doc.appendf("</TimeRange>");
    doc.appendf("</TimeBlock>");
  }
  doc.appendf("</TimeBlockList>");
  doc.appendf("</EventSchedule>");
}

bool apply_schedule(const xmlNode* schedule) {
  schedule_update u;
  for (xmlNode* list : xml_children(schedule)) {
    if (!xml_name_is(list, "TimeBlockList")) continue;
    for (xmlNode* block : xml_children(list))
      if (xml_name_is(block, "TimeBlock") && names_a_real_day(block)) read_time_block(block, &u);
  }
  apply_hour_masks(&u);
  int start = 24, end = 0;
  for (int d = 0; d < 7; ++d) {
    if (u.begin[d] != -1 && u.begin[d] <= 24 && u.begin[d] < start) start = u.begin[d];
    if (u.end[d] != -1 && u.end[d] > end) end = u.end[d];
  }
  // Hours beyond any clock still must not overflow the stored times.
  auto hundreds = [](int hours) {
    const int kLimit = 2147483647 / 100;
    return (hours > kLimit ? kLimit : hours < -kLimit ? -kLimit : hours) * 100;
  };
  return db_exec("update Event set Week=%d, StartTime=%d, EndTime=%d where Trigger=0", u.week,
                 hundreds(start), hundreds(end));
}

void get_event_schedule() {
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_schedule(doc);
  answer_document(doc, content_type::xml);
}

void put_event_schedule() {
  XmlDocument body;
  if (!accept_xml_request(body, "EventSchedule", kStatusDeviceError)) return;
  write_response_status(apply_schedule(body.root()) ? kStatusOk : kStatusDeviceError);
}
