#include "util/log.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace psia {

namespace {

size_t format_line(char* line, size_t capacity, const char* format, va_list args) PSIA_PRINTF(3, 0);
size_t format_line(char* line, size_t capacity, const char* format, va_list args) {
  int n = std::vsnprintf(line, capacity, format, args);
  if (n < 0) return 0;
  return static_cast<size_t>(n) < capacity ? static_cast<size_t>(n) : capacity - 1;
}

}  // namespace

event_log::event_log()
    : stream_([](const char* text, size_t size) {
        ssize_t ignored = write(2, text, size);
        (void)ignored;
      }) {}

void event_log::diagnostic(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  size_t size = format_line(line, sizeof line, format, args);
  va_end(args);
  if (size > 0 && stream_) stream_(line, size);
}

void event_log::error(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  size_t size = format_line(line, sizeof line, format, args);
  va_end(args);
  if (size == 0) return;
  if (stream_) stream_(line, size);
  if (!syslog_) return;
  // One syslog record per line, without its line end.
  for (char* start = line; *start != '\0';) {
    char* end = start;
    while (*end != '\0' && *end != '\n') ++end;
    char kept = *end;
    *end = '\0';
    if (end > start) syslog_(LOG_DAEMON | LOG_ERR, start);
    if (kept == '\0') break;
    start = end + 1;
  }
}

void event_log::audit(int priority, const text_buffer& line) {
  if (!syslog_ || line.length() == 0) return;
  if (line.length() <= kLineLimit) {
    syslog_(priority, line.data());
    return;
  }
  char cut[kLineLimit + 1];
  std::memcpy(cut, line.data(), sizeof cut - 1);
  cut[sizeof cut - 1] = '\0';
  syslog_(priority, cut);
}

}  // namespace psia
