#include "io/response.h"

#include "io/stream.h"

namespace {

const char* const status_text_table[] = {
    "OK",
    "Device Busy",
    "Device Error",
    "Invalid Operation",
    "Invalid XML Format",
    "Invalid XML Content",
    "Reboot Required",
};

const char* content_type_line(content_type type) {
  switch (type) {
    case content_type::xml_utf8:
      return "Content-Type: application/xml; charset=\"UTF-8\"\r\n\r\n";
    case content_type::text_utf8:
      return "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n";
    case content_type::xml:
      break;
  }
  return "Content-Type: application/xml\r\n\r\n";
}

}  // namespace

void write_response_status(int code) {
  if (code < kStatusOk || code > kStatusRebootRequired) code = kStatusDeviceError;
  TextBuffer body;
  if (!body) return;
  const char* url = request_env("REQUEST_URI");
  body.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
  body.appendf("<ResponseStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
  body.appendf("<requestURL>%s</requestURL>\n", url != nullptr ? url : "");
  body.appendf("<statusCode>%d</statusCode>\n", code);
  body.appendf(
      "<!-- O=1-OK, 2-Device Busy, 3-Device Error, 4-Invalid Operation, "
      "5-Invalid XML Format, 6-Invalid XML content; 7-Reboot Required -->\n");
  body.appendf("<statusString>%s</statusString>\n", status_text_table[code - 1]);
  body.appendf("<id>1</id>\n");
  body.appendf("</ResponseStatus>\n");
  write_document(body, content_type::xml_utf8);
}

void write_document(const TextBuffer& document, content_type type) {
  stream_printf("Content-Length: %u\r\n", document.length());
  stream_write_text(content_type_line(type));
  stream_write(document.data(), document.length());
}

void answer_document(const TextBuffer& document, content_type type) {
  if (!document) {
    write_response_status(kStatusDeviceError);
    return;
  }
  write_document(document, type);
}
