#include "util/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace psia {

void unique_fd::reset(int fd) {
  if (fd_ >= 0) close(fd_);
  fd_ = fd;
}

namespace {

// True when `path` resolves to a place inside the directory `within`.
bool resolves_within(const std::string& path, const char* within, std::string* resolved) {
  char* target = realpath(path.c_str(), nullptr);
  char* directory = realpath(within, nullptr);
  bool inside = false;
  if (target != nullptr && directory != nullptr) {
    size_t n = std::strlen(directory);
    // The root directory holds everything; any other holds what follows
    // its name and a slash.
    inside = std::strncmp(target, directory, n) == 0 && (n == 1 || target[n] == '/') &&
             target[n] != '\0';
    if (inside) *resolved = target;
  }
  free(target);
  free(directory);
  return inside;
}

unique_fd open_no_follow(const std::string& path) {
  return unique_fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
}

}  // namespace

unique_fd open_regular_file(const std::string& path, off_t* size, const char* links_within) {
  unique_fd fd = open_no_follow(path);
  std::string resolved;
  if (!fd.valid() && errno == ELOOP && links_within != nullptr &&
      resolves_within(path, links_within, &resolved))
    fd = open_no_follow(resolved);
  struct stat info;
  if (!fd.valid() || fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return unique_fd();
  *size = info.st_size;
  return fd;
}

bool read_regular_file(const std::string& path, size_t limit, std::string* contents,
                       const char* links_within) {
  off_t size = 0;
  unique_fd fd = open_regular_file(path, &size, links_within);
  if (!fd.valid()) return false;
  contents->clear();
  char chunk[4096];
  for (;;) {
    ssize_t n = read(fd.get(), chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    if (contents->size() + static_cast<size_t>(n) > limit) return false;
    contents->append(chunk, static_cast<size_t>(n));
  }
}

bool line_reader::next(char* line, size_t size) {
  if (at_ >= text_.size() || size < 2) return false;
  size_t n = 0;
  while (n + 1 < size && at_ < text_.size()) {
    char c = text_[at_++];
    line[n++] = c;
    if (c == '\n') break;
  }
  line[n] = '\0';
  return true;
}

}  // namespace psia
