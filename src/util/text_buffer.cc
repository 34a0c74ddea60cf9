#include "util/text_buffer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

text_buffer* text_buffer_create() {
  auto* buffer = static_cast<text_buffer*>(std::malloc(sizeof(text_buffer)));
  if (buffer == nullptr) return nullptr;
  // The spare byte behind the capacity holds the NUL of a text that exactly
  // fills the room.
  buffer->data = static_cast<char*>(std::malloc(kTextBufferStep + 1));
  if (buffer->data == nullptr) {
    std::free(buffer);
    return nullptr;
  }
  buffer->data[0] = '\0';
  buffer->length = 0;
  buffer->capacity = kTextBufferStep;
  return buffer;
}

void text_buffer_free(text_buffer* buffer) {
  if (buffer == nullptr) return;
  std::free(buffer->data);
  std::free(buffer);
}

bool text_buffer_reserve(text_buffer* buffer) {
  if (buffer->capacity > UINT32_MAX - 2 * kTextBufferStep) return false;
  uint32_t grown = buffer->capacity + kTextBufferStep;
  auto* data = static_cast<char*>(std::calloc(grown + 1, 1));
  if (data == nullptr) return false;
  std::memcpy(data, buffer->data, buffer->length + 1);
  std::free(buffer->data);
  buffer->data = data;
  buffer->capacity = grown;
  return true;
}

int text_buffer_vappendf(text_buffer* buffer, const char* format,
                         va_list args) {
  va_list measure;
  va_copy(measure, args);
  int needed = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (needed <= 0) return 0;

  auto n = static_cast<uint32_t>(needed);
  while (n > buffer->capacity - buffer->length) {
    if (!text_buffer_reserve(buffer)) break;
  }
  uint32_t room = buffer->capacity - buffer->length;
  uint32_t kept = n < room ? n : room;
  // vsnprintf writes at most kept + 1 bytes: the text and its NUL, which the
  // spare byte behind the capacity always has room for.
  std::vsnprintf(buffer->data + buffer->length, kept + 1, format, args);
  buffer->length += kept;
  return static_cast<int>(kept);
}

int text_buffer_appendf(text_buffer* buffer, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int written = text_buffer_vappendf(buffer, format, args);
  va_end(args);
  return written;
}

int TextBuffer::appendf(const char* format, ...) {
  // A buffer that could not be created swallows its appends; the handler's
  // answer then reports the failure (see answer_document).
  if (buffer_ == nullptr) return 0;
  va_list args;
  va_start(args, format);
  int written = text_buffer_vappendf(buffer_, format, args);
  va_end(args);
  return written;
}
