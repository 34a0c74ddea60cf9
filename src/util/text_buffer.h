// text_buffer: the growable text into which a document is printed before
// its length is known (the Content-Length header goes out first).
//
// Every append stores exactly the text its format produced: nothing is ever
// interpreted a second time. Storage grows in steps of 1024 bytes and keeps
// one spare byte behind the capacity for the terminating NUL. A buffer whose
// storage could not be had at all is not ok(); its appends are dropped and
// the handler's answer becomes status 3.
#ifndef PSIA_UTIL_TEXT_BUFFER_H
#define PSIA_UTIL_TEXT_BUFFER_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#define PSIA_PRINTF(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))

namespace psia {

class text_buffer {
 public:
  static constexpr uint32_t kStep = 1024;

  text_buffer();
  ~text_buffer();
  text_buffer(text_buffer&& other) noexcept;
  text_buffer& operator=(text_buffer&& other) noexcept;
  text_buffer(const text_buffer&) = delete;
  text_buffer& operator=(const text_buffer&) = delete;

  // False when the storage could not be allocated.
  bool ok() const { return data_ != nullptr; }

  // Appends formatted text in one pass where it fits the free room. A text
  // the buffer cannot grow far enough for is cut to the room there is.
  void appendf(const char* format, ...) PSIA_PRINTF(2, 3);
  void vappendf(const char* format, va_list args) PSIA_PRINTF(2, 0);
  // Appends a fragment as it stands, without a format.
  void append(const char* text);
  void append(const char* text, size_t size);

  const char* data() const { return data_ != nullptr ? data_ : ""; }
  uint32_t length() const { return length_; }

 private:
  // Makes room for `needed` more bytes; false when it cannot.
  bool reserve(size_t needed);

  char* data_;         // capacity_ + 1 bytes
  uint32_t length_;    // bytes of text, not counting the NUL
  uint32_t capacity_;  // bytes of room for text
};

}  // namespace psia

#endif  // PSIA_UTIL_TEXT_BUFFER_H
