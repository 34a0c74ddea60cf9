// The request body: read whole into memory for XML documents, or streamed
// into a file for uploads.
#ifndef PSIA_IO_REQUEST_BODY_H
#define PSIA_IO_REQUEST_BODY_H

#include <cstddef>
#include <cstdint>

// Largest body read into memory. Settings documents are a few kilobytes; a
// larger CONTENT_LENGTH is refused before anything is allocated.
constexpr long long kMaxMemoryBody = 1024 * 1024;

// With a null path: reads CONTENT_LENGTH bytes into the request body buffer
// (replacing the previous request's) and NUL-terminates them. With a path:
// writes the body into that file. Returns 0 on success; -1 when the body
// cannot be had (CONTENT_LENGTH absent, 0, too large, or more than arrives)
// or the file cannot be opened; -2 when writing the file fails; -3 when
// closing it fails.
int read_request_body(const char* path);

// The body read by the last successful memory-mode read ("" when none).
const char* request_body();
size_t request_body_length();
// Releases the body buffer (the loop calls it between requests).
void release_request_body();

// Reads a dotted quad. With network_order the first number is the lowest
// byte (the memory order a socket address wants on a little-endian camera),
// otherwise the highest. Returns 1 and stores the value, or 0 when the text
// does not start with four numbers. Numbers are not range-checked.
int parse_ipv4_text(const char* text, uint32_t* out, int network_order);

#endif  // PSIA_IO_REQUEST_BODY_H
