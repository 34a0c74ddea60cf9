#include "io/request_body.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "io/stream.h"
#include "util/file.h"

namespace psia {

namespace {

// Reads until `size` bytes are in or the body ends; returns the count.
size_t read_fully(input_stream& in, char* data, size_t size) {
  size_t got = 0;
  while (got < size) {
    size_t chunk = in.read(data + got, size - got);
    if (chunk == 0) break;
    got += chunk;
  }
  return got;
}

bool write_fully(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

std::optional<long long> parse_content_length(const char* text) {
  if (text == nullptr) return std::nullopt;
  errno = 0;
  char* end = nullptr;
  long long n = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text) return std::nullopt;
  return n;
}

bool request_body::read(input_stream& in, const char* content_length) {
  clear();
  long long n = parse_content_length(content_length).value_or(0);
  if (n <= 0 || n > kMaxMemoryBody) return false;
  auto wanted = static_cast<size_t>(n);
  try {
    bytes_.assign(wanted + 1, '\0');
  } catch (const std::bad_alloc&) {
    clear();
    return false;
  }
  if (read_fully(in, bytes_.data(), wanted) != wanted) {
    clear();
    return false;
  }
  size_ = wanted;
  return true;
}

void request_body::clear() {
  // A settings document's storage is kept for the next one; a large body's
  // is given back.
  if (bytes_.capacity() > 16 * 1024) std::vector<char>().swap(bytes_);
  bytes_.clear();
  size_ = 0;
}

bool store_request_body(input_stream& in, const char* content_length, const std::string& path) {
  long long n = parse_content_length(content_length).value_or(0);
  if (n <= 0) return false;
  // The body is written beside its final name and renamed over it once
  // whole, so the daemon never finds half a file. The partial file is made
  // anew: a stale one, or a link planted in its place, is removed (never
  // followed) first.
  std::string partial = path + ".part";
  unlink(partial.c_str());
  unique_fd file(open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!file.valid()) return false;
  bool stored = true;
  char piece[1024];
  while (stored && n > 0) {
    size_t want = n < 1024 ? static_cast<size_t>(n) : sizeof piece;
    n -= static_cast<long long>(want);
    stored = read_fully(in, piece, want) == want && write_fully(file.get(), piece, want);
  }
  // A full disk or a file-size limit shows in a write (SIGXFSZ is ignored)
  // or in the close; either way nothing is left behind.
  stored = close(file.release()) == 0 && stored && std::rename(partial.c_str(), path.c_str()) == 0;
  if (!stored) unlink(partial.c_str());
  return stored;
}

std::optional<uint32_t> parse_ipv4_text(const char* text) {
  if (text == nullptr) return std::nullopt;
  // "%d.%d.%d.%d", read without the undefined overflow of scanf.
  uint32_t part[4];
  const char* p = text;
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && *p++ != '.') return std::nullopt;
    char* end = nullptr;
    long value = std::strtol(p, &end, 10);
    if (end == p) return std::nullopt;
    part[i] = static_cast<uint32_t>(value);
    p = end;
  }
  return part[3] | part[2] << 8 | part[1] << 16 | part[0] << 24;
}

}  // namespace psia
