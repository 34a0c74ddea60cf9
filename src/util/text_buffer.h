// text_buffer: the growable text into which a response body is printed before
// its length is known (the Content-Length header has to go out first).
//
// Storage grows in steps of 1024 bytes and always keeps one spare byte behind
// `capacity` for the terminating NUL. Every append stores exactly the text its
// format produced: nothing is ever interpreted a second time.
#ifndef PSIA_UTIL_TEXT_BUFFER_H
#define PSIA_UTIL_TEXT_BUFFER_H

#include <cstdarg>
#include <cstdint>
#include <memory>

#define PSIA_PRINTF(fmt_index, first_arg) \
  __attribute__((format(printf, fmt_index, first_arg)))

constexpr uint32_t kTextBufferStep = 1024;

struct text_buffer {
  char* data;         // owned storage, capacity + 1 bytes
  uint32_t length;    // bytes of text, not counting the NUL
  uint32_t capacity;  // bytes of room for text
};

// A new buffer of capacity 1024 and length 0, or null when memory is short.
text_buffer* text_buffer_create();
void text_buffer_free(text_buffer* buffer);
// Grows the capacity by one step of 1024 bytes. Returns false (and leaves the
// buffer as it was) when the memory cannot be had.
bool text_buffer_reserve(text_buffer* buffer);
// Appends formatted text and returns the number of bytes appended. When the
// buffer cannot grow far enough the text is cut to the room there is.
int text_buffer_appendf(text_buffer* buffer, const char* format, ...)
    PSIA_PRINTF(2, 3);
int text_buffer_vappendf(text_buffer* buffer, const char* format, va_list args)
    PSIA_PRINTF(2, 0);

// Owner of one text_buffer for the life of a response.
class TextBuffer {
 public:
  TextBuffer() : buffer_(text_buffer_create()) {}
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  ~TextBuffer() { text_buffer_free(buffer_); }

  // False when the buffer could not be created.
  explicit operator bool() const { return buffer_ != nullptr; }
  int appendf(const char* format, ...) PSIA_PRINTF(2, 3);

  const char* data() const { return buffer_->data; }
  uint32_t length() const { return buffer_->length; }
  text_buffer* get() { return buffer_; }

 private:
  text_buffer* buffer_;
};

#endif  // PSIA_UTIL_TEXT_BUFFER_H
