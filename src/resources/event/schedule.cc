// When the camera's event trigger is armed: a set of weekdays and one
// daily time range, kept in the Event row as Week (bit 0 Sunday .. bit 6
// Saturday) and StartTime/EndTime (hours * 100 + minutes).
#include <cstring>

#include "resources/event/event.h"
#include "resources/event/event_parts.h"
#include "store/schema.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

// What a schedule body sets, day by day (index 0 is Sunday).
struct schedule_update {
  int day = -1;  // the day of the TimeBlock being read; none yet
  int week = 0;
  char bits[7][32] = {};
  int begin[7] = {-1, -1, -1, -1, -1, -1, -1};
  int end[7] = {-1, -1, -1, -1, -1, -1, -1};
};

// A TimeBlock naming a day outside 1..7 is ignored whole.
bool names_a_real_day(xml_node block) {
  for (xml_node child : block.children()) {
    if (!child.is("dayOfWeek")) continue;
    int d = child.int_text();
    if (d < 1 || d > 7) return false;
  }
  return true;
}

// The camera keeps one armed day per change: each dayOfWeek replaces the
// week. The end of a range is read from its minutes field, as the camera's
// own pages write it.
void read_time_block(xml_node block, schedule_update* u) {
  for (xml_node child : block.children()) {
    if (child.is("dayOfWeek")) {
      int d = child.int_text();
      u->day = d == 7 ? 0 : d;
      u->week = 1 << u->day;
    } else if (child.is("bitString")) {
      if (u->day > 0) child.copy_text(u->bits[u->day]);
    } else if (child.is("TimeRange") && u->day >= 0) {
      for (xml_node range : child.children()) {
        char text[128];
        if (range.is("beginTime")) {
          range.copy_text(text);
          u->begin[u->day] = parse_int(text);
        } else if (range.is("endTime")) {
          range.copy_text(text);
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

void append_schedule(request& req, text_buffer& doc) {
  query_result event = req.db().query("select * from Event where Trigger=0");
  int week = event.integer(0, event_column::kWeek, 0);
  int start = event.integer(0, event_column::kStartTime, 0);
  int end = event.integer(0, event_column::kEndTime, 0);
  doc.append("<EventSchedule version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.append("<TimeBlockList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int d = 0; d < 7; ++d) {
    if ((week & (1 << d)) == 0) continue;
    doc.append("<TimeBlock>");
    doc.appendf("<dayOfWeek>%d</dayOfWeek>", d == 0 ? 7 : d);
    doc.append("<TimeRange>");
    doc.appendf("<beginTime>%02d:%02d:%02d</beginTime>", start / 100, start % 100, 0);
    doc.appendf("<endTime>%02d:%02d:%02d</endTime>", end / 100, end % 100, 0);
    doc.append("</TimeRange>");
    doc.append("</TimeBlock>");
  }
  doc.append("</TimeBlockList>");
  doc.append("</EventSchedule>");
}

bool apply_schedule(request& req, xml_node schedule) {
  schedule_update u;
  for (xml_node list : schedule.children()) {
    if (!list.is("TimeBlockList")) continue;
    for (xml_node block : list.children())
      if (block.is("TimeBlock") && names_a_real_day(block)) read_time_block(block, &u);
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
  return req.db().exec("update Event set Week=?, StartTime=?, EndTime=? where Trigger=0", u.week,
                       hundreds(start), hundreds(end));
}

answer get_event_schedule(request& req, const route_args&) {
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_schedule(req, doc);
  return answer::document(std::move(doc), content_type::xml);
}

answer put_event_schedule(request& req, const route_args&) {
  xml_body body(req, "EventSchedule", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  return answer::status(apply_schedule(req, body.root()) ? kStatusOk : kStatusDeviceError);
}

}  // namespace psia
