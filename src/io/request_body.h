// The request body: read whole into memory for XML documents, or streamed
// into a file for uploads.
#ifndef PSIA_IO_REQUEST_BODY_H
#define PSIA_IO_REQUEST_BODY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace psia {

class input_stream;

// Largest body read into memory. Settings documents are a few kilobytes; a
// larger CONTENT_LENGTH is refused before anything is allocated.
constexpr long long kMaxMemoryBody = 1024 * 1024;

// CONTENT_LENGTH as a number (which may still be 0 or negative); nothing
// when absent or not a decimal number.
std::optional<long long> parse_content_length(const char* text);

// The body of the request in hand, kept by the request context so that its
// storage is reused from request to request.
class request_body {
 public:
  // Reads `content_length` bytes and NUL-terminates them. False (and
  // empty) when the length is absent, 0 or too large, or fewer bytes
  // arrive.
  bool read(input_stream& in, const char* content_length);
  // The text read ("" when none), up to its first NUL as a C string reads it.
  const char* text() const { return bytes_.empty() ? "" : bytes_.data(); }
  size_t size() const { return size_; }
  void clear();

 private:
  std::vector<char> bytes_;  // the body and its NUL
  size_t size_ = 0;
};

// Streams the body into the file at `path`. The upload is written beside
// its final name and moved into place only when it was stored whole: a
// failed upload never leaves a truncated file where the control daemon
// looks for a complete one. False on any failure, a body shorter than its
// CONTENT_LENGTH included.
bool store_request_body(input_stream& in, const char* content_length, const std::string& path);

// Reads a dotted quad as a number whose highest byte is the first number
// (htonl gives the network order); nothing when the text does not start
// with four numbers. Numbers are not range-checked.
std::optional<uint32_t> parse_ipv4_text(const char* text);

}  // namespace psia

#endif  // PSIA_IO_REQUEST_BODY_H
