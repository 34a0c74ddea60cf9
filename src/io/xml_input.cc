#include "io/xml_input.h"

#include <dlfcn.h>
#include <strings.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "io/request_body.h"
#include "io/response.h"
#include "io/stream.h"
#include "util/bounded_copy.h"

namespace {

// No network access, no error chatter on the error stream, and none of the
// limits of libxml2 lifted.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR |
                              XML_PARSE_NOWARNING;

const char* to_text(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

// libxml2 is loaded on the first document a request carries, not at
// start-up: with its ICU and C++ runtime it is most of what loading the
// responder costs, and a camera mostly answers GETs. (Under CGI every
// request is a new process, so this halves a GET's start-up.)
struct libxml {
  decltype(&::xmlReadMemory) read_memory = nullptr;
  decltype(&::xmlReadFile) read_file = nullptr;
  decltype(&::xmlFreeDoc) free_doc = nullptr;
  decltype(&::xmlNodeListGetString) node_list_string = nullptr;
  xmlFreeFunc* free_text = nullptr;  // the library's xmlFree variable
};

const libxml* library() {
  static libxml lib;
  static bool tried = false;
  if (!tried) {
    tried = true;
    void* handle = dlopen("libxml2.so.2", RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr) {
      lib.read_memory = reinterpret_cast<decltype(lib.read_memory)>(dlsym(handle, "xmlReadMemory"));
      lib.read_file = reinterpret_cast<decltype(lib.read_file)>(dlsym(handle, "xmlReadFile"));
      lib.free_doc = reinterpret_cast<decltype(lib.free_doc)>(dlsym(handle, "xmlFreeDoc"));
      lib.node_list_string =
          reinterpret_cast<decltype(lib.node_list_string)>(dlsym(handle, "xmlNodeListGetString"));
      lib.free_text = reinterpret_cast<xmlFreeFunc*>(dlsym(handle, "xmlFree"));
    }
    if (lib.read_memory == nullptr || lib.read_file == nullptr || lib.free_doc == nullptr ||
        lib.node_list_string == nullptr || lib.free_text == nullptr) {
      stream_error("PSIA: libxml2 cannot be loaded: %s\n", dlerror());
      lib = libxml();
    }
  }
  return lib.read_memory != nullptr ? &lib : nullptr;
}

// The document's root element.
xmlNode* root_element(const xmlDoc* doc) {
  for (xmlNode* node = doc->children; node != nullptr; node = node->next)
    if (node->type == XML_ELEMENT_NODE) return node;
  return nullptr;
}

bool named(const xmlNode* node, const char* name) {
  return strcasecmp(to_text(node->name), name) == 0;
}

}  // namespace

bool XmlDocument::parse(const char* text, size_t size) {
  reset(nullptr);
  if (size > INT_MAX) return false;
  const libxml* xml = library();
  if (xml == nullptr) return false;
  xmlDoc* doc = xml->read_memory(text, static_cast<int>(size), nullptr, nullptr, kParseOptions);
  if (doc == nullptr) return false;
  if (doc->intSubset != nullptr || doc->extSubset != nullptr) {
    xml->free_doc(doc);
    return false;
  }
  reset(doc);
  return true;
}

xmlNode* XmlDocument::root() const {
  return doc_ != nullptr ? root_element(doc_) : nullptr;
}

void XmlDocument::reset(xmlDoc* doc) {
  // A document exists only when the library was loaded.
  if (doc_ != nullptr) library()->free_doc(doc_);
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
  if (root == nullptr || !named(root, root_name))
    return wrong_root_code;
  return 0;
}

bool accept_xml_request(XmlDocument& doc, const char* root_name, int wrong_root_code) {
  int failure = read_xml_request(doc, root_name, wrong_root_code);
  if (failure != 0) write_response_status(failure);
  return failure == 0;
}

bool xml_name_is(const xmlNode* node, const char* name) {
  return node != nullptr && node->type == XML_ELEMENT_NODE && named(node, name);
}

bool xml_has_children(const xmlNode* node) {
  return node != nullptr && node->children != nullptr;
}

void xml_copy_text(const xmlNode* node, char* field, size_t size) {
  // Nodes exist only when the library was loaded.
  const libxml* xml = library();
  xmlChar* text = xml->node_list_string(node->doc, node->children, 1);
  copy_bounded(field, size, to_text(text));
  if (text != nullptr) (*xml->free_text)(text);
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
  return strcasecmp(value, word) == 0;
}

xmlNode* xml_find_child(const xmlNode* element, const char* name) {
  if (element == nullptr) return nullptr;
  for (xmlNode* child = element->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && std::strcmp(to_text(child->name), name) == 0)
      return child;
  }
  return nullptr;
}

xmlNode* xml_check_root(xmlDoc* doc, const char* name) {
  xmlNode* root = doc != nullptr ? root_element(doc) : nullptr;
  if (root == nullptr) {
    stream_error("empty document.\n");
    return nullptr;
  }
  if (std::strcmp(to_text(root->name), name) != 0) {
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
  const libxml* xml = library();
  xmlDoc* doc = xml != nullptr ? xml->read_file(path, nullptr, kParseOptions) : nullptr;
  if (doc == nullptr) stream_error("Document not parsed successfully.\n");
  return doc;
}
