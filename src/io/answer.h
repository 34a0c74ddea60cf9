// The answer a handler returns. Handlers never write to the output stream:
// they say what the answer is, and the request loop writes it (see
// write_answer), so each request has exactly one writer.
//
// Every answer but the 401 and the configuration download is
// "Content-Length: N\r\n", a Content-Type line, and the body; N is always
// the number of body bytes sent.
#ifndef PSIA_IO_ANSWER_H
#define PSIA_IO_ANSWER_H

#include <cstdint>
#include <string>
#include <vector>

#include "util/file.h"
#include "util/text_buffer.h"

namespace psia {

class output_stream;
enum class control_result;  // control/control_message.h

// Status codes of a ResponseStatus document. The error convention
// (util/result.h) keeps them to the making of answers.
enum status_code : int {
  kStatusOk = 1,
  kStatusDeviceBusy = 2,
  kStatusDeviceError = 3,
  kStatusInvalidOperation = 4,
  kStatusInvalidXmlFormat = 5,
  kStatusInvalidXmlContent = 6,
  kStatusRebootRequired = 7,
};

// The Content-Type families of the resource tree; clients depend on the
// exact header text of each.
enum class content_type {
  xml,       // "application/xml": most documents, the event family too
  xml_utf8,  // "application/xml; charset=\"UTF-8\"": status, time, NTP, audio
  text_utf8  // "text/plain; charset=\"UTF-8\"": the bare time zone text
};

class answer {
 public:
  enum class answer_kind { nothing, statuses, document, file, unauthorized };

  // A ResponseStatus document for `code` (1..7; anything else is answered
  // as 3, which the document has a text for).
  static answer status(int code) { return statuses({code}); }
  // The answer to a control exchange: 1 when the daemon replied 1, 2 when
  // it replied 2 or not at all, 3 for any other reply.
  static answer status(control_result result);
  // ResponseStatus documents one after the other (none: no answer).
  static answer statuses(std::vector<int> codes);
  // A GET document; a buffer that could not be allocated is answered 3.
  static answer document(text_buffer body, content_type type);
  // A document built once and kept by the process (it must outlive the
  // answer).
  static answer constant_document(const std::string& body, content_type type);
  // A file sent as it is, `size` bytes announced.
  static answer file(unique_fd file, uint32_t size);
  // The request ends with no output at all, as the camera's clients know
  // it for some requests.
  static answer nothing() { return answer(answer_kind::nothing); }
  // The 401 of a caller without valid credentials.
  static answer unauthorized() { return answer(answer_kind::unauthorized); }
  // The same with other WWW-Authenticate lines (each ending in "\n") in
  // place of Basic's.
  static answer unauthorized(text_buffer challenges);

  answer_kind kind() const { return kind_; }
  // The status codes of a statuses answer (also the 3 of a document that
  // could not be built).
  const std::vector<int>& codes() const { return codes_; }

 private:
  friend void write_answer(output_stream& out, const answer& answer, const char* request_uri);
  explicit answer(answer_kind kind) : kind_(kind) {}

  answer_kind kind_;
  std::vector<int> codes_;
  text_buffer body_;
  const std::string* constant_body_ = nullptr;
  content_type type_ = content_type::xml;
  unique_fd file_;
  uint32_t file_size_ = 0;
};

// Writes the answer to the request's output. `request_uri` is the
// REQUEST_URI echoed in ResponseStatus documents.
void write_answer(output_stream& out, const answer& answer, const char* request_uri);

// The ResponseStatus document for `code` with its headers.
void write_response_status(output_stream& out, const char* request_uri, int code);

}  // namespace psia

#endif  // PSIA_IO_ANSWER_H
