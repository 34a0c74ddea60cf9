#include "util/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace psia {

void UniqueFd::reset(int fd) {
  if (fd_ >= 0) close(fd_);
  fd_ = fd;
}

bool read_regular_file(const std::string& path, size_t limit, std::string* contents) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat info;
  if (!fd.valid() || fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
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

bool LineReader::next(char* line, size_t size) {
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
