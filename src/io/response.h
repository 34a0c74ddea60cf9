// Response output: the ResponseStatus document and the document answer.
//
// Every answer is "Content-Length: N\r\n", a Content-Type line, and the body,
// written as bytes; N is always the number of body bytes sent. No answer
// carries a status line except the 401 of authentication.
#ifndef PSIA_IO_RESPONSE_H
#define PSIA_IO_RESPONSE_H

#include "util/text_buffer.h"

// Status codes of a ResponseStatus document.
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

// Writes the ResponseStatus document for `code` (1..7; anything else is
// answered as 3) with the request's REQUEST_URI as requestURL.
void write_response_status(int code);

// Writes the header block for `type` and the buffer's bytes.
void write_document(const TextBuffer& document, content_type type);

// The GET document answer in one call: a handler fills `document` and hands
// it here; a buffer that could not be created is answered with status 3.
void answer_document(const TextBuffer& document, content_type type);

#endif  // PSIA_IO_RESPONSE_H
