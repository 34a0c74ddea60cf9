// libxml2, loaded when the first document arrives rather than at start-up:
// with its ICU dependency it is most of what loading the responder costs,
// and a camera mostly answers GETs (under CGI every request is a new
// process). A load that fails is tried again with the next document.
//
// The request context keeps the one library; documents are read through
// io/xml_input.h. Only xml_input.cc sees libxml2's headers: here its
// document type is declared, not defined.
#ifndef PSIA_IO_XML_LIBRARY_H
#define PSIA_IO_XML_LIBRARY_H

struct _xmlDoc;  // libxml2's xmlDoc

namespace psia {

class event_log;

class xml_library {
 public:
  // Loads the library if it is not loaded; false when it cannot be.
  bool load(event_log& log);
  // Only once loaded: parses a document (null when it cannot be), and
  // frees one.
  _xmlDoc* read_memory(const char* text, int size) const;
  void free_doc(_xmlDoc* doc) const;

 private:
  // The entry points as the loader finds them; xml_input.cc calls them
  // with their own types.
  using symbol_fn = void (*)();
  symbol_fn read_memory_ = nullptr;
  symbol_fn free_doc_ = nullptr;
};

}  // namespace psia

#endif  // PSIA_IO_XML_LIBRARY_H
