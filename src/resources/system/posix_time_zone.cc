#include "resources/system/posix_time_zone.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "io/request.h"
#include "util/file.h"

namespace psia {

namespace {

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// A left-to-right reader of one TZ string. Each stage says whether its part
// was well formed; ranges are checked once the whole text has been read.
class tz_reader {
 public:
  explicit tz_reader(const char* text) : p_(text) {}

  bool read() {
    if (!name() || !starts_offset() || !offset()) return false;
    if (*p_ == '\0') return true;
    if (!name()) return false;
    if (starts_offset() && !offset()) return false;
    if (*p_ == '\0') return true;
    if (*p_++ != ',' || !rule() || *p_++ != ',' || !rule()) return false;
    return *p_ == '\0' && ranges();
  }

 private:
  struct rule_date {
    char kind;  // 'J', 'M' or 'D' (a plain day number)
    long day = 0, month = 0, week = 0, weekday = 0;
  };
  struct clock_time {
    long hours = 0, minutes = 0, seconds = 0;
  };

  // A zone name: at least three letters.
  bool name() {
    for (int i = 0; i < 3; ++i, ++p_)
      if (!is_letter(*p_)) return false;
    while (is_letter(*p_)) ++p_;
    return true;
  }

  bool starts_offset() const { return *p_ == '+' || *p_ == '-' || is_digit(*p_); }

  // One to two digits.
  bool number(long* out) {
    if (!is_digit(*p_)) return false;
    long v = 0;
    for (int i = 0; i < 2 && is_digit(*p_); ++i, ++p_) v = v * 10 + (*p_ - '0');
    *out = v;
    return true;
  }

  // [+|-]hh[:mm[:ss]]
  bool clock(clock_time* t) {
    if (*p_ == '+' || *p_ == '-') ++p_;
    if (!number(&t->hours)) return false;
    if (*p_ == ':') {
      ++p_;
      if (!number(&t->minutes)) return false;
      if (*p_ == ':') {
        ++p_;
        if (!number(&t->seconds)) return false;
      }
    }
    return !is_digit(*p_);
  }

  bool offset() {
    clock_time ignored;
    return clock(&ignored);
  }

  // A run of digits (up to three for day numbers).
  bool day_number(long* out) {
    if (!is_digit(*p_)) return false;
    long v = 0;
    for (int i = 0; i < 3 && is_digit(*p_); ++i, ++p_) v = v * 10 + (*p_ - '0');
    *out = v;
    return !is_digit(*p_);
  }

  // Jn | n | Mm.w.d, then an optional /time.
  bool rule() {
    rule_date d;
    if (*p_ == 'J') {
      ++p_;
      d.kind = 'J';
      if (!day_number(&d.day)) return false;
    } else if (*p_ == 'M') {
      ++p_;
      d.kind = 'M';
      if (!day_number(&d.month) || *p_++ != '.' || !day_number(&d.week) || *p_++ != '.' ||
          !day_number(&d.weekday))
        return false;
    } else {
      d.kind = 'D';
      if (!day_number(&d.day)) return false;
    }
    dates_.push_back(d);
    if (*p_ == '/') {
      ++p_;
      clock_time t;
      if (*p_ == '+' || *p_ == '-' || !clock(&t)) return false;
      times_.push_back(t);
    }
    return true;
  }

  bool ranges() const {
    for (const rule_date& d : dates_) {
      bool bad = (d.kind == 'J' && (d.day < 1 || d.day > 365)) || (d.kind == 'D' && d.day > 365) ||
                 (d.kind == 'M' &&
                  (d.month < 1 || d.month > 12 || d.week < 1 || d.week > 5 || d.weekday > 6));
      if (bad) return false;
    }
    for (const clock_time& t : times_)
      if (t.hours > 23 || t.minutes > 59 || t.seconds > 59) return false;
    return true;
  }

  const char* p_;
  std::vector<rule_date> dates_;
  std::vector<clock_time> times_;
};

}  // namespace

bool is_posix_time_zone(const char* text) {
  if (text == nullptr || *text == '\0') return true;
  return tz_reader(text).read();
}

std::string last_line_of_zone_file(const std::string& contents) {
  size_t size = contents.size();
  if (size < 2 || contents[size - 2] == '\n') return "";
  size_t line_break = contents.rfind('\n', size - 2);
  size_t start = line_break == std::string::npos ? 0 : line_break + 1;
  return contents.substr(start, size - 1 - start);
}

bool read_posix_time_zone(request& req, std::string* zone) {
  char name[128];
  char path[128];
  int length = req.db().query_text(name, sizeof name, "select TimeZone from DateTime")
                   ? std::snprintf(path, sizeof path, "/usr/share/zoneinfo/%s", name)
                   : std::snprintf(path, sizeof path, "/usr/share/zoneinfo/GMT");
  // A name too long for the path names no zone file.
  if (length < 0 || static_cast<size_t>(length) >= sizeof path) return false;
  // The camera's own zone, which no zoneinfo package ships.
  if (std::strcmp(path, "/usr/share/zoneinfo/CST-0") == 0) {
    *zone = "CST-0";
    return true;
  }
  // The name comes from the database: it may not climb out of the zoneinfo
  // directory, not even through a link (many zone names are links to
  // others), and only a regular file of zone-file size is read.
  std::string contents;
  if (std::strstr(path, "..") != nullptr ||
      !read_regular_file(req.host_path(path), 1 << 20, &contents,
                         req.host_path("/usr/share/zoneinfo").c_str()))
    return false;
  *zone = last_line_of_zone_file(contents);
  return true;
}

}  // namespace psia
