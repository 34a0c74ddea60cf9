#include "io/xml_input.h"

#include <dlfcn.h>
#include <libxml/parser.h>
#include <strings.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "io/request.h"
#include "io/xml_library.h"
#include "util/bounded_copy.h"

namespace psia {

namespace {

// No network access, no error chatter on the error stream, and none of the
// limits of libxml2 lifted.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

const char* to_text(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

// The document's root element.
const xmlNode* root_element(const xmlDoc* doc) {
  for (const xmlNode* node = doc->children; node != nullptr; node = node->next)
    if (node->type == XML_ELEMENT_NODE) return node;
  return nullptr;
}

}  // namespace

bool xml_library::load(event_log& log) {
  if (read_memory_ != nullptr) return true;
  void* handle = dlopen("libxml2.so.2", RTLD_NOW | RTLD_LOCAL);
  if (handle != nullptr) {
    read_memory_ = reinterpret_cast<symbol_fn>(dlsym(handle, "xmlReadMemory"));
    free_doc_ = reinterpret_cast<symbol_fn>(dlsym(handle, "xmlFreeDoc"));
  }
  if (read_memory_ == nullptr || free_doc_ == nullptr) {
    log.error("PSIA: libxml2 cannot be loaded: %s\n", handle == nullptr ? dlerror() : "symbols");
    read_memory_ = nullptr;
    free_doc_ = nullptr;
    if (handle != nullptr) dlclose(handle);
    return false;
  }
  return true;
}

xmlDoc* xml_library::read_memory(const char* text, int size) const {
  auto read = reinterpret_cast<decltype(&::xmlReadMemory)>(read_memory_);
  return read(text, size, nullptr, nullptr, kParseOptions);
}

void xml_library::free_doc(xmlDoc* doc) const {
  reinterpret_cast<decltype(&::xmlFreeDoc)>(free_doc_)(doc);
}

xml_node xml_node::first_child() const {
  return xml_node(node_ != nullptr ? node_->children : nullptr);
}

xml_node::Children xml_node::children() const {
  return Children(node_ != nullptr ? node_->children : nullptr);
}

xml_node::Children::iterator& xml_node::Children::iterator::operator++() {
  node_ = node_->next;
  return *this;
}

bool xml_node::is(const char* name) const {
  return node_ != nullptr && node_->type == XML_ELEMENT_NODE &&
         strcasecmp(to_text(node_->name), name) == 0;
}

void xml_node::copy_text(char* field, size_t size) const {
  // The text of the element's own text and CDATA children, in order.
  // (Without a DTD a body holds no entity references: the parser has
  // already replaced the predefined ones and refused any other.)
  if (size == 0) return;
  size_t n = 0;
  for (const xmlNode* child = node_ != nullptr ? node_->children : nullptr; child != nullptr;
       child = child->next) {
    if (child->type != XML_TEXT_NODE && child->type != XML_CDATA_SECTION_NODE) continue;
    if (child->content == nullptr) continue;
    size_t length = std::strlen(to_text(child->content));
    size_t room = size - 1 - n;
    if (length > room) length = room;
    std::memcpy(field + n, child->content, length);
    n += length;
  }
  field[n] = '\0';
}

int xml_node::int_text() const {
  char value[128];
  copy_text(value);
  return parse_int(value);
}

double xml_node::double_text() const {
  char value[128];
  copy_text(value);
  return std::strtod(value, nullptr);
}

bool xml_node::text_is(const char* word) const {
  char value[128];
  copy_text(value);
  return strcasecmp(value, word) == 0;
}

xml_body::xml_body(request& req, const char* root_name, int wrong_root_code)
    : library_(req.ctx.xml) {
  failure_ = kStatusDeviceError;
  if (!req.read_body() || !req.ctx.xml.load(req.log())) return;
  // The parse runs over the text up to its first NUL, as a C string would.
  const request_body& body = req.ctx.body;
  size_t length = strnlen(body.text(), body.size());
  if (length > INT_MAX) return;
  doc_ = library_.read_memory(body.text(), static_cast<int>(length));
  if (doc_ == nullptr) return;
  if (doc_->intSubset != nullptr || doc_->extSubset != nullptr) {
    release();
    return;
  }
  const xmlNode* root = root_element(doc_);
  if (root != nullptr && strcasecmp(to_text(root->name), root_name) == 0)
    failure_.reset();
  else
    failure_ = wrong_root_code;
}

xml_node xml_body::root() const { return xml_node(doc_ != nullptr ? root_element(doc_) : nullptr); }

void xml_body::release() {
  if (doc_ != nullptr) library_.free_doc(doc_);
  doc_ = nullptr;
}

}  // namespace psia
