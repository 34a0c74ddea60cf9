// Files and descriptors owned by small RAII types, and the one way the
// responder reads a file: without blocking (a FIFO or a device planted where
// a file is expected cannot stall the service), and only when it is a
// regular file of a bounded size.
#ifndef PSIA_UTIL_FILE_H
#define PSIA_UTIL_FILE_H

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace psia {

class unique_fd {
 public:
  unique_fd() = default;
  explicit unique_fd(int fd) : fd_(fd) {}
  ~unique_fd() { reset(); }
  unique_fd(unique_fd&& other) noexcept : fd_(other.release()) {}
  unique_fd& operator=(unique_fd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  unique_fd(const unique_fd&) = delete;
  unique_fd& operator=(const unique_fd&) = delete;

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  void reset(int fd = -1);

 private:
  int fd_ = -1;
};

// Opens a regular file for reading: without blocking, and without
// following a final symbolic link unless `links_within` names a directory,
// in which case a link is followed when it resolves inside that directory
// (many zoneinfo names are links to others). An invalid descriptor when the
// file cannot be opened or is not a regular file; `size` gets its size.
unique_fd open_regular_file(const std::string& path, off_t* size,
                            const char* links_within = nullptr);

// For the system's own files (/proc/uptime, /etc/resolv.conf), whose names
// no data chooses: their links are followed wherever they lead (Buildroot's
// /etc/resolv.conf is a link into /tmp).
constexpr const char* kFollowSystemLinks = "/";

// Reads a whole regular file of at most `limit` bytes into `contents`,
// opened as open_regular_file() opens it. False when it cannot be opened,
// is not a regular file, is larger, or a read fails.
bool read_regular_file(const std::string& path, size_t limit, std::string* contents,
                       const char* links_within = nullptr);

// The lines of a text as fgets(line, size, file) hands them out: at most
// size - 1 characters each, the line end included when it fits.
class line_reader {
 public:
  explicit line_reader(const std::string& text) : text_(text) {}
  // False at the end of the text.
  bool next(char* line, size_t size);

 private:
  const std::string& text_;
  size_t at_ = 0;
};

}  // namespace psia

#endif  // PSIA_UTIL_FILE_H
