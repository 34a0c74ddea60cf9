// XML input: parsing request bodies and walking their elements.
//
// The common pattern of every PUT and POST handler:
//   xml_body body(req, "DeviceInfo", kStatusDeviceError);
//   if (!body.ok()) return body.failure();
//   for (xml_node child : body.root().children())
//     if (child.is("deviceName")) child.copy_text(name);
//
// Only handlers that parse bodies include this header. libxml2's node and
// document types are declared here, not defined: only xml_input.cc sees
// libxml2's headers.
#ifndef PSIA_IO_XML_INPUT_H
#define PSIA_IO_XML_INPUT_H

#include <cstddef>
#include <optional>

#include "io/answer.h"

struct _xmlDoc;   // libxml2's xmlDoc
struct _xmlNode;  // libxml2's xmlNode

namespace psia {

class request;
class xml_library;

// One element or other node of a parsed document (null: none).
class xml_node {
 public:
  class Children;
  explicit xml_node(const _xmlNode* node = nullptr) : node_(node) {}
  explicit operator bool() const { return node_ != nullptr; }

  // True for an element named `name`, compared without regard to case.
  bool is(const char* name) const;
  // The child nodes in document order, text nodes included.
  Children children() const;
  xml_node first_child() const;
  bool has_children() const { return static_cast<bool>(first_child()); }

  // Copies the element's text into a fixed field, keeping at most size - 1
  // characters.
  void copy_text(char* field, size_t size) const;
  template <size_t N>
  void copy_text(char (&field)[N]) const {
    copy_text(field, N);
  }
  // The text read through a 128-byte field: as a base-10 integer (leading
  // digits, 0 when none), as a double, or compared with `word` without
  // regard to case.
  int int_text() const;
  double double_text() const;
  bool text_is(const char* word) const;

 private:
  const _xmlNode* node_;
};

class xml_node::Children {
 public:
  class iterator {
   public:
    explicit iterator(const _xmlNode* node) : node_(node) {}
    xml_node operator*() const { return xml_node(node_); }
    iterator& operator++();
    bool operator!=(const iterator& other) const { return node_ != other.node_; }

   private:
    const _xmlNode* node_;
  };
  explicit Children(const _xmlNode* first) : first_(first) {}
  iterator begin() const { return iterator(first_); }
  iterator end() const { return iterator(nullptr); }

 private:
  const _xmlNode* first_;
};

// The request body of a PUT or POST, read, parsed and its root checked.
class xml_body {
 public:
  // The root must be `root_name` (compared without regard to case). A body
  // that cannot be read or parsed fails with 3, a missing or other root
  // with `wrong_root_code`. Documents with a DTD are refused: no request
  // body needs one, and refusing them shuts out entity expansion and
  // external fetches together.
  xml_body(request& req, const char* root_name, int wrong_root_code);
  ~xml_body() { release(); }
  xml_body(const xml_body&) = delete;
  xml_body& operator=(const xml_body&) = delete;

  bool ok() const { return !failure_; }
  // The answer to a body that failed.
  answer failure() const { return answer::status(failure_.value_or(kStatusDeviceError)); }
  xml_node root() const;
  // Frees the document (before the database work of a handler).
  void release();

 private:
  const xml_library& library_;
  _xmlDoc* doc_ = nullptr;
  std::optional<int> failure_;  // the code to answer; none when the body is good
};

}  // namespace psia

#endif  // PSIA_IO_XML_INPUT_H
