// The byte streams of the request in hand. Under FastCGI (and as a plain
// CGI program) they are libfcgi's; tests and fuzzers use strings. All
// output leaves the process as bytes: no text of a request or of the
// database is ever handed to a printf-style formatter as its format.
#ifndef PSIA_IO_STREAM_H
#define PSIA_IO_STREAM_H

#include <cstddef>
#include <string>

namespace psia {

class output_stream {
 public:
  virtual ~output_stream() = default;
  virtual void write(const void* data, size_t size) = 0;
  void write_text(const char* text);
};

class input_stream {
 public:
  virtual ~input_stream() = default;
  // Reads up to `size` bytes; 0 at the end of the body.
  virtual size_t read(void* data, size_t size) = 0;
};

// Streams over strings, for the tests and the fuzz targets.
class string_output final : public output_stream {
 public:
  void write(const void* data, size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

class string_input final : public input_stream {
 public:
  explicit string_input(const std::string& text) : text_(text) {}
  size_t read(void* data, size_t size) override;

 private:
  const std::string& text_;
  size_t at_ = 0;
};

}  // namespace psia

#endif  // PSIA_IO_STREAM_H
