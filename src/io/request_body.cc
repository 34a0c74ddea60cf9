#include "io/request_body.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "io/stream.h"

namespace {

std::vector<char> g_body;  // body bytes and their NUL
size_t g_body_length = 0;

// CONTENT_LENGTH as a number: -1 when absent or not a plain decimal number.
long long content_length() {
  const char* text = request_env("CONTENT_LENGTH");
  if (text == nullptr) return -1;
  errno = 0;
  char* end = nullptr;
  long long n = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text) return -1;
  return n;
}

int read_into_memory() {
  release_request_body();
  long long n = content_length();
  if (n <= 0 || n > kMaxMemoryBody) return -1;
  std::vector<char> body;
  try {
    body.assign(static_cast<size_t>(n) + 1, '\0');
  } catch (const std::bad_alloc&) {
    return -1;
  }
  size_t wanted = static_cast<size_t>(n);
  size_t got = 0;
  while (got < wanted) {
    size_t chunk = stream_read(body.data() + got, wanted - got);
    if (chunk == 0) break;
    got += chunk;
  }
  if (got != wanted) return -1;
  g_body.swap(body);
  g_body_length = wanted;
  return 0;
}

// The upload is written beside its final name and moved into place only
// when it was stored whole, so a failed upload never leaves a truncated file
// where the control daemon looks for a complete one. A body that ends
// before its announced length is such a failure: a cut firmware image must
// never be taken for a whole one.
int read_into_file(const char* path) {
  long long n = content_length();
  if (n <= 0) return -1;
  std::string partial = std::string(path) + ".part";
  FILE* file = std::fopen(partial.c_str(), "wb");
  if (file == nullptr) return -1;
  char piece[1024];
  while (n > 0) {
    size_t want = n < 1024 ? static_cast<size_t>(n) : sizeof piece;
    n -= static_cast<long long>(want);
    size_t got = 0;
    while (got < want) {
      size_t chunk = stream_read(piece + got, want - got);
      if (chunk == 0) break;
      got += chunk;
    }
    if (got < want) {
      std::fclose(file);
      std::remove(partial.c_str());
      return -1;
    }
    if (std::fwrite(piece, want, 1, file) != 1) {
      std::fclose(file);
      std::remove(partial.c_str());
      return -2;
    }
  }
  if (std::fclose(file) != 0) {
    std::remove(partial.c_str());
    return -3;
  }
  if (std::rename(partial.c_str(), path) != 0) {
    std::remove(partial.c_str());
    return -2;
  }
  return 0;
}

}  // namespace

int read_request_body(const char* path) {
  return path == nullptr ? read_into_memory() : read_into_file(path);
}

const char* request_body() { return g_body.empty() ? "" : g_body.data(); }

size_t request_body_length() { return g_body_length; }

void release_request_body() {
  std::vector<char>().swap(g_body);
  g_body_length = 0;
}

int parse_ipv4_text(const char* text, uint32_t* out, int network_order) {
  if (text == nullptr) return 0;
  // "%d.%d.%d.%d", read without the undefined overflow of scanf.
  uint32_t part[4];
  const char* p = text;
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && *p++ != '.') return 0;
    char* end = nullptr;
    long value = std::strtol(p, &end, 10);
    if (end == p) return 0;
    part[i] = static_cast<uint32_t>(value);
    p = end;
  }
  *out = network_order ? part[0] | part[1] << 8 | part[2] << 16 | part[3] << 24
                       : part[3] | part[2] << 8 | part[1] << 16 | part[0] << 24;
  return 1;
}
