#include "io/stream.h"

#include <cstring>

namespace psia {

void output_stream::write_text(const char* text) { write(text, std::strlen(text)); }

size_t string_input::read(void* data, size_t size) {
  size_t n = text_.size() - at_ < size ? text_.size() - at_ : size;
  std::memcpy(data, text_.data() + at_, n);
  at_ += n;
  return n;
}

}  // namespace psia
