#include "io/answer.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "control/control_message.h"
#include "io/stream.h"

namespace psia {

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
    case content_type::xml_utf8: return "Content-Type: application/xml; charset=\"UTF-8\"\r\n\r\n";
    case content_type::text_utf8: return "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n";
    case content_type::xml: break;
  }
  return "Content-Type: application/xml\r\n\r\n";
}

void write_document(output_stream& out, const char* body, uint32_t length, content_type type) {
  char header[40];
  int n = std::snprintf(header, sizeof header, "Content-Length: %u\r\n", length);
  out.write(header, static_cast<size_t>(n));
  out.write_text(content_type_line(type));
  out.write(body, length);
}

// Reads exactly `size` bytes unless the file ends first.
size_t read_piece(int fd, char* piece, size_t size) {
  size_t got = 0;
  while (got < size) {
    ssize_t n = read(fd, piece + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  return got;
}

// The configuration download: bare line feeds and a lower-case "length",
// the header the camera's download clients read. A file that turns out
// shorter than announced ends the copy early.
void write_file(output_stream& out, int fd, uint32_t size) {
  char header[48];
  out.write_text("Content-Type: application/octet-stream\n");
  int n = std::snprintf(header, sizeof header, "Content-length: %d\n\n", static_cast<int>(size));
  out.write(header, static_cast<size_t>(n));
  char piece[1024];
  for (uint32_t remaining = size; remaining > 0;) {
    size_t want = remaining < sizeof piece ? remaining : sizeof piece;
    if (read_piece(fd, piece, want) != want) break;
    out.write(piece, want);
    remaining -= static_cast<uint32_t>(want);
  }
}

}  // namespace

answer answer::statuses(std::vector<int> codes) {
  answer a(answer_kind::statuses);
  a.codes_ = std::move(codes);
  for (int& code : a.codes_)
    if (code < kStatusOk || code > kStatusRebootRequired) code = kStatusDeviceError;
  return a;
}

answer answer::status(control_result result) {
  switch (result) {
    case control_result::ok: return status(kStatusOk);
    case control_result::busy:
    case control_result::no_reply: return status(kStatusDeviceBusy);
    case control_result::failed: break;
  }
  return status(kStatusDeviceError);
}

answer answer::document(text_buffer body, content_type type) {
  if (!body.ok()) return status(kStatusDeviceError);
  answer a(answer_kind::document);
  a.body_ = std::move(body);
  a.type_ = type;
  return a;
}

answer answer::constant_document(const std::string& body, content_type type) {
  answer a(answer_kind::document);
  a.constant_body_ = &body;
  a.type_ = type;
  return a;
}

answer answer::unauthorized(text_buffer challenges) {
  answer a(answer_kind::unauthorized);
  a.body_ = std::move(challenges);
  return a;
}

answer answer::file(unique_fd file, uint32_t size) {
  answer a(answer_kind::file);
  a.file_ = std::move(file);
  a.file_size_ = size;
  return a;
}

void write_response_status(output_stream& out, const char* request_uri, int code) {
  if (code < kStatusOk || code > kStatusRebootRequired) code = kStatusDeviceError;
  text_buffer body;
  if (!body.ok()) return;
  body.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n");
  body.append("<ResponseStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">\n");
  body.append("<requestURL>");
  body.append(request_uri != nullptr ? request_uri : "");
  body.append("</requestURL>\n");
  body.appendf("<statusCode>%d</statusCode>\n", code);
  body.append(
      "<!-- O=1-OK, 2-Device Busy, 3-Device Error, 4-Invalid Operation, "
      "5-Invalid XML Format, 6-Invalid XML content; 7-Reboot Required -->\n");
  body.append("<statusString>");
  body.append(status_text_table[code - 1]);
  body.append("</statusString>\n");
  body.append("<id>1</id>\n");
  body.append("</ResponseStatus>\n");
  write_document(out, body.data(), body.length(), content_type::xml_utf8);
}

void write_answer(output_stream& out, const answer& answer, const char* request_uri) {
  switch (answer.kind_) {
    case answer::answer_kind::nothing: return;
    case answer::answer_kind::statuses:
      for (int code : answer.codes_) write_response_status(out, request_uri, code);
      return;
    case answer::answer_kind::document:
      if (answer.constant_body_ != nullptr) {
        const std::string& body = *answer.constant_body_;
        write_document(out, body.data(), static_cast<uint32_t>(body.size()), answer.type_);
      } else {
        write_document(out, answer.body_.data(), answer.body_.length(), answer.type_);
      }
      return;
    case answer::answer_kind::file: write_file(out, answer.file_.get(), answer.file_size_); return;
    case answer::answer_kind::unauthorized:
      if (answer.body_.length() == 0) {
        out.write_text(
            "Status: 401 Unauthorized\n"
            "WWW-Authenticate: Basic realm=\"Aldex Smart IP Device Authentication\"\n"
            "Content-Type: text/plain\n\n"
            "Unauthorized\n");
        return;
      }
      out.write_text("Status: 401 Unauthorized\n");
      out.write(answer.body_.data(), answer.body_.length());
      out.write_text("Content-Type: text/plain\n\nUnauthorized\n");
      return;
  }
}

}  // namespace psia
