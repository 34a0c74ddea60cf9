// In-process driver shared by the fuzz targets: a camera root made once per
// fuzzing process, the responder started on it with a control channel that
// fails at once (no daemon: every exchange answers 2 without waiting), and
// one request served from fuzzer bytes with its output checked.
#ifndef PSIA_FUZZ_FUZZ_DRIVER_H
#define PSIA_FUZZ_FUZZ_DRIVER_H

#include <cstddef>
#include <cstdint>
#include <string>

struct FuzzRequest {
  std::string method;
  std::string uri;
  std::string query;          // QUERY_STRING, absent when empty
  std::string authorization;  // HTTP_AUTHORIZATION, absent when empty
  std::string body;
  bool content_length = true;
};

// Makes the camera root and starts the responder on it (once).
void fuzz_start_up();

// Serves one request and aborts on a malformed answer: a Content-Length
// that differs from the bytes after the header block.
void fuzz_serve(const FuzzRequest& request);

// Splits fuzzer bytes into the fields of a request at newlines:
// method, uri, query, authorization, then the rest as the body.
FuzzRequest fuzz_request_from_bytes(const uint8_t* data, size_t size);

#endif  // PSIA_FUZZ_FUZZ_DRIVER_H
