#include "io/xml_input.h"

#include <climits>
#include <initializer_list>
#include <cstdlib>

#include "io/request_body.h"
#include "io/response.h"
#include "io/stream.h"
#include "util/bounded_copy.h"

namespace {

// No network access, no error chatter on the error stream, and none of the
// limits of libxml2 lifted.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR |
                              XML_PARSE_NOWARNING;

const xmlChar* to_xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

}  // namespace

bool XmlDocument::parse(const char* text, size_t size) {
  reset(nullptr);
  if (size > INT_MAX) return false;
  xmlDoc* doc =
      xmlReadMemory(text, static_cast<int>(size), nullptr, nullptr, kParseOptions);
  if (doc == nullptr) return false;
  if (doc->intSubset != nullptr || doc->extSubset != nullptr) {
    xmlFreeDoc(doc);
    return false;
  }
  reset(doc);
  return true;
}

xmlNode* XmlDocument::root() const {
  return doc_ != nullptr ? xmlDocGetRootElement(doc_) : nullptr;
}

void XmlDocument::reset(xmlDoc* doc) {
  if (doc_ != nullptr) xmlFreeDoc(doc_);
  doc_ = doc;
}

int read_xml_request(XmlDocument& doc, const char* root_name,
                     int wrong_root_code) {
  if (read_request_body(nullptr) != 0) return kStatusDeviceError;
  // The parse runs over the text up to its first NUL, as a C string would.
  const char* body = request_body();
  size_t length = 0;
  while (length < request_body_length() && body[length] != '\0') ++length;
  if (!doc.parse(body, length)) return kStatusDeviceError;
  xmlNode* root = doc.root();
  if (root == nullptr || xmlStrcasecmp(root->name, to_xml(root_name)) != 0)
    return wrong_root_code;
  return 0;
}

bool xml_name_is(const xmlNode* node, const char* name) {
  return node != nullptr && node->type == XML_ELEMENT_NODE &&
         xmlStrcasecmp(node->name, to_xml(name)) == 0;
}

bool xml_has_children(const xmlNode* node) {
  return node != nullptr && node->children != nullptr;
}

void xml_copy_text(const xmlNode* node, char* field, size_t size) {
  xmlChar* text = xmlNodeListGetString(node->doc, node->children, 1);
  copy_bounded(field, size, reinterpret_cast<const char*>(text));
  if (text != nullptr) xmlFree(text);
}

int xml_int_text(const xmlNode* node) {
  char value[128];
  xml_copy_text(node, value);
  return parse_int(value);
}

double xml_double_text(const xmlNode* node) {
  char value[128];
  xml_copy_text(node, value);
  return std::strtod(value, nullptr);
}

bool xml_text_is(const xmlNode* node, const char* word) {
  char value[128];
  xml_copy_text(node, value);
  return xmlStrcasecmp(to_xml(value), to_xml(word)) == 0;
}

xmlNode* xml_find_child(const xmlNode* element, const char* name) {
  if (element == nullptr) return nullptr;
  for (xmlNode* child = element->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && xmlStrcmp(child->name, to_xml(name)) == 0)
      return child;
  }
  return nullptr;
}

xmlNode* xml_check_root(xmlDoc* doc, const char* name) {
  xmlNode* root = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;
  if (root == nullptr) {
    stream_error("empty document.\n");
    return nullptr;
  }
  if (xmlStrcmp(root->name, to_xml(name)) != 0) {
    stream_error("document of the wrong type, root node != %s\n", name);
    return nullptr;
  }
  return root;
}

xmlNode* xml_find_path(xmlDoc* doc, const char* root, const char* name1,
                       const char* name2, const char* name3, const char* name4,
                       const char* name5) {
  if (doc == nullptr || root == nullptr) return nullptr;
  xmlNode* node = xml_check_root(doc, root);
  if (node == nullptr || name1 == nullptr) return nullptr;
  for (const char* name : {name1, name2, name3, name4, name5}) {
    if (name == nullptr) continue;
    node = xml_find_child(node, name);
    if (node == nullptr) return nullptr;
  }
  return node;
}

xmlDoc* xml_parse_file(const char* path) {
  xmlDoc* doc = xmlReadFile(path, nullptr, kParseOptions);
  if (doc == nullptr) stream_error("Document not parsed successfully.\n");
  return doc;
}
