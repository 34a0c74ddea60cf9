// The byte streams of the current request. Under FastCGI (and as a plain CGI
// program) they are libfcgi's stdio streams; tests and fuzzers swap in memory
// streams. All output leaves the process as bytes: no text of a request or
// of the database is ever handed to a printf-style formatter as its format.
#ifndef PSIA_IO_STREAM_H
#define PSIA_IO_STREAM_H

#include <cstddef>

#include "util/text_buffer.h"  // PSIA_PRINTF

struct stream_hooks {
  void (*write)(const void* data, size_t size);
  size_t (*read)(void* data, size_t size);  // bytes actually read
  void (*error)(const char* text, size_t size);
};

// Replaces the streams; null restores libfcgi's.
void set_stream_hooks(const stream_hooks* hooks);

void stream_write(const void* data, size_t size);
void stream_write_text(const char* text);
// Formats into a bounded local buffer (cut at 1 KiB) and writes the bytes.
void stream_printf(const char* format, ...) PSIA_PRINTF(1, 2);
// Reads up to `size` bytes of the request body; returns the count read.
size_t stream_read(void* data, size_t size);
// One diagnostic line on the error stream (the web server's error log).
void stream_error(const char* format, ...) PSIA_PRINTF(1, 2);

// A parameter of the current request (REQUEST_URI, CONTENT_LENGTH, ...),
// or null when the request does not carry it.
const char* request_env(const char* name);

#endif  // PSIA_IO_STREAM_H
