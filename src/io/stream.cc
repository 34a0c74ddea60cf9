// The only translation unit (with the accept loop) that sees libfcgi's stdio
// layer: its printf is libfcgi's own formatter, so nothing here formats
// through it; everything is formatted locally and written as bytes.
#include "io/stream.h"

#include <fcgi_stdio.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

namespace {

void fcgi_write(const void* data, size_t size) {
  // FCGI_fwrite takes a non-const pointer but does not write through it.
  FCGI_fwrite(const_cast<void*>(data), 1, size, FCGI_stdout);
}

size_t fcgi_read(void* data, size_t size) {
  return FCGI_fread(data, 1, size, FCGI_stdin);
}

void fcgi_error(const char* text, size_t size) {
  // Before the first accept libfcgi has not bound its error stream to
  // anything and would drop the text: start-up failures go straight to
  // descriptor 2, which the web server (or the shell) logs.
  if (FCGI_stderr->stdio_stream == nullptr && FCGI_stderr->fcgx_stream == nullptr) {
    ssize_t ignored = write(2, text, size);
    (void)ignored;
    return;
  }
  FCGI_fwrite(const_cast<char*>(text), 1, size, FCGI_stderr);
}

// Formats into `line`, cut to its size; returns the bytes it holds. (The
// attribute is spelled __printf__: fcgi_stdio.h redefines printf here.)
size_t format_line(char* line, size_t capacity, const char* format, va_list args)
    __attribute__((format(__printf__, 3, 0)));
size_t format_line(char* line, size_t capacity, const char* format, va_list args) {
  int n = vsnprintf(line, capacity, format, args);
  if (n < 0) return 0;
  return static_cast<size_t>(n) < capacity ? static_cast<size_t>(n) : capacity - 1;
}

const stream_hooks kFcgiStreams = {fcgi_write, fcgi_read, fcgi_error};
const stream_hooks* g_streams = &kFcgiStreams;

}  // namespace

void set_stream_hooks(const stream_hooks* hooks) {
  g_streams = hooks != nullptr ? hooks : &kFcgiStreams;
}

void stream_write(const void* data, size_t size) {
  if (size > 0) g_streams->write(data, size);
}

void stream_write_text(const char* text) {
  size_t size = 0;
  while (text[size] != '\0') ++size;
  stream_write(text, size);
}

void stream_printf(const char* format, ...) {
  char line[1024];
  va_list args;
  va_start(args, format);
  size_t size = format_line(line, sizeof line, format, args);
  va_end(args);
  stream_write(line, size);
}

size_t stream_read(void* data, size_t size) {
  if (size == 0) return 0;
  return g_streams->read(data, size);
}

void stream_error(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  size_t size = format_line(line, sizeof line, format, args);
  va_end(args);
  if (size > 0) g_streams->error(line, size);
}

const char* request_env(const char* name) { return getenv(name); }
