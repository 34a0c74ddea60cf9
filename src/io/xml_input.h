// XML input: parsing request bodies and walking their elements.
//
// The common pattern of every PUT/POST handler:
//   XmlDocument doc;
//   if (!accept_xml_request(doc, "DeviceInfo", kStatusDeviceError)) return;
//   for (xmlNode* child : xml_children(doc.root())) {
//     if (xml_name_is(child, "deviceName")) xml_copy_text(child, name);
//   }
#ifndef PSIA_IO_XML_INPUT_H
#define PSIA_IO_XML_INPUT_H

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>

// Owner of one parsed document.
class XmlDocument {
 public:
  XmlDocument() = default;
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;
  ~XmlDocument() { reset(nullptr); }

  // Parses `size` bytes. Documents with a DTD are refused: no request body
  // needs one, and refusing them shuts out entity expansion attacks and
  // external fetches together. Returns false when the text is not accepted.
  bool parse(const char* text, size_t size);
  xmlDoc* get() const { return doc_; }
  xmlNode* root() const;
  void reset(xmlDoc* doc);

 private:
  xmlDoc* doc_ = nullptr;
};

// Reads the request body and parses it. Returns 0 when the document's root
// element is `root_name` (compared without regard to case), otherwise the
// status code to answer: 3 when the body cannot be read or parsed,
// `wrong_root_code` when there is no root or it has another name.
int read_xml_request(XmlDocument& doc, const char* root_name,
                     int wrong_root_code);

// read_xml_request that answers a failure itself (write_response_status
// with its code) and returns false, so a handler can simply return.
bool accept_xml_request(XmlDocument& doc, const char* root_name,
                        int wrong_root_code);

// The child nodes of an element, in document order (text nodes included).
class XmlChildren {
 public:
  class iterator {
   public:
    explicit iterator(xmlNode* node) : node_(node) {}
    xmlNode* operator*() const { return node_; }
    iterator& operator++() {
      node_ = node_->next;
      return *this;
    }
    bool operator!=(const iterator& other) const { return node_ != other.node_; }

   private:
    xmlNode* node_;
  };
  explicit XmlChildren(const xmlNode* parent)
      : first_(parent != nullptr ? parent->children : nullptr) {}
  iterator begin() const { return iterator(first_); }
  iterator end() const { return iterator(nullptr); }

 private:
  xmlNode* first_;
};

inline XmlChildren xml_children(const xmlNode* parent) {
  return XmlChildren(parent);
}

// True for an element named `name`, compared without regard to case.
bool xml_name_is(const xmlNode* node, const char* name);
// True when an element has at least one child node.
bool xml_has_children(const xmlNode* node);

// Copies the element's text (entities substituted) into a fixed field,
// keeping at most size - 1 characters.
void xml_copy_text(const xmlNode* node, char* field, size_t size);
template <size_t N>
void xml_copy_text(const xmlNode* node, char (&field)[N]) {
  xml_copy_text(node, field, N);
}
// The element's text read as a base-10 integer through a 128-byte field
// (leading digits, 0 when none).
int xml_int_text(const xmlNode* node);
// The element's text read as a double through a 128-byte field.
double xml_double_text(const xmlNode* node);
// True when the element's text equals `word` without regard to case.
bool xml_text_is(const xmlNode* node, const char* word);

// Tree lookups (case-sensitive names); their diagnostics go to the error
// stream.
xmlNode* xml_find_child(const xmlNode* element, const char* name);
xmlNode* xml_check_root(xmlDoc* doc, const char* name);
xmlNode* xml_find_path(xmlDoc* doc, const char* root, const char* name1,
                       const char* name2 = nullptr, const char* name3 = nullptr,
                       const char* name4 = nullptr, const char* name5 = nullptr);
// Parses a file; the caller owns the result (hand it to an XmlDocument).
xmlDoc* xml_parse_file(const char* path);

#endif  // PSIA_IO_XML_INPUT_H
