#include "util/text_buffer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace psia {

text_buffer::text_buffer()
    : data_(static_cast<char*>(std::malloc(kStep + 1))), length_(0), capacity_(0) {
  if (data_ == nullptr) return;
  data_[0] = '\0';
  capacity_ = kStep;
}

text_buffer::~text_buffer() { std::free(data_); }

text_buffer::text_buffer(text_buffer&& other) noexcept
    : data_(other.data_), length_(other.length_), capacity_(other.capacity_) {
  other.data_ = nullptr;
  other.length_ = other.capacity_ = 0;
}

text_buffer& text_buffer::operator=(text_buffer&& other) noexcept {
  if (this != &other) {
    std::free(data_);
    data_ = other.data_;
    length_ = other.length_;
    capacity_ = other.capacity_;
    other.data_ = nullptr;
    other.length_ = other.capacity_ = 0;
  }
  return *this;
}

bool text_buffer::reserve(size_t needed) {
  if (data_ == nullptr) return false;
  if (needed <= capacity_ - length_) return true;
  size_t wanted = length_ + needed;
  if (wanted > UINT32_MAX - 2 * kStep) return false;
  auto grown = static_cast<uint32_t>((wanted + kStep - 1) / kStep * kStep);
  auto* data = static_cast<char*>(std::realloc(data_, grown + 1));
  if (data == nullptr) return false;
  data_ = data;
  capacity_ = grown;
  return true;
}

void text_buffer::vappendf(const char* format, va_list args) {
  if (data_ == nullptr) return;
  va_list retry;
  va_copy(retry, args);
  size_t room = capacity_ - length_;
  int needed = std::vsnprintf(data_ + length_, room + 1, format, args);
  if (needed > 0 && static_cast<size_t>(needed) > room) {
    // Did not fit: grow and format again (the first pass left a cut copy
    // with its NUL inside the room).
    if (reserve(static_cast<size_t>(needed))) {
      room = capacity_ - length_;
      std::vsnprintf(data_ + length_, room + 1, format, retry);
    }
  }
  va_end(retry);
  if (needed <= 0) {
    data_[length_] = '\0';
    return;
  }
  length_ += static_cast<uint32_t>(static_cast<size_t>(needed) < room ? needed : room);
}

void text_buffer::appendf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vappendf(format, args);
  va_end(args);
}

void text_buffer::append(const char* text, size_t size) {
  if (data_ == nullptr) return;
  if (!reserve(size)) size = capacity_ - length_;
  std::memcpy(data_ + length_, text, size);
  length_ += static_cast<uint32_t>(size);
  data_[length_] = '\0';
}

void text_buffer::append(const char* text) { append(text, std::strlen(text)); }

}  // namespace psia
