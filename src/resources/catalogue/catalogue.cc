// The catalogue documents are fixed texts: each branch's index lists its
// children, its description tells what GET and the other methods do, and
// the root's indexr lists the tree recursively. Each is built the first
// time it is asked for and kept for the life of the process.
#include "resources/catalogue/catalogue.h"

#include <cstddef>
#include <string>

namespace psia {

namespace {

struct entry {
  const char* name;
  bool service;           // a branch with children of its own
  const entry* children;  // nested list in the recursive index
  size_t child_count;
};

template <size_t N>
constexpr entry branch(const char* name, const entry (&children)[N]) {
  return {name, true, children, N};
}
constexpr entry resource(const char* name) { return {name, false, nullptr, 0}; }
constexpr entry service(const char* name) { return {name, true, nullptr, 0}; }

const char kListRoot[] =
    "<ResourceList version=\"1.0\" xmlns=\"urn:psialliance-org\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:psialliance-org "
    "http://www.psialliance.org/XMLSchemas/service.xsd\">";
const char kDescriptionRoot[] =
    "<ResourceDescription version=\"1.0\" xmlns=\"urn:psialliance-org\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:psialliance-org "
    "http://www.psialliance.org/XMLSchemas/service.xsd\">";

enum class declaration { with_line_end, bare };

void append_declaration(text_buffer& doc, declaration decl) {
  // The Network branch's documents have always gone out without the line
  // end behind the declaration.
  if (decl == declaration::bare)
    doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>");
  else
    doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
}

void append_entries(text_buffer& doc, const entry* entries, size_t count, bool recursive) {
  for (size_t i = 0; i < count; ++i) {
    const entry& e = entries[i];
    doc.append("<Resource version=\"1.0\">");
    doc.append("<name>");
    doc.append(e.name);
    doc.append("</name>");
    doc.append("<version>1.0</version>");
    doc.append(e.service ? "<type>service</type>" : "<type>resource</type>");
    if (recursive && e.service) {
      doc.append("<ResourceList version=\"1.0\">");
      append_entries(doc, e.children, e.child_count, true);
      doc.append("</ResourceList>");
    }
    doc.append("</Resource>");
  }
}

std::string text_of(const text_buffer& doc) { return std::string(doc.data(), doc.length()); }

template <size_t N>
std::string index_document(const entry (&entries)[N], declaration decl = declaration::with_line_end,
                           bool recursive = false) {
  text_buffer doc;
  append_declaration(doc, decl);
  doc.append(kListRoot);
  append_entries(doc, entries, N, recursive);
  doc.append("</ResourceList>");
  return text_of(doc);
}

// One method block of a description.
struct method_block {
  const char* method;
  const char* inbound;
  const char* result;
  const char* function;
  const char* notes;
};

const method_block kNotSupported[] = {
    {"put", "none", "none", "not supported", "not supported"},
    {"post", "none", "none", "not supported", "not supported"},
    {"delete", "none", "none", "not supported", "not supported"},
};

void append_block(text_buffer& doc, const method_block& b) {
  doc.appendf("<%s>", b.method);
  doc.append("<QueryStringParameterList />");
  doc.appendf("<inboundData>%s</inboundData>", b.inbound);
  doc.appendf("<returnResult>%s</returnResult>", b.result);
  doc.appendf("<function>%s</function>", b.function);
  doc.appendf("<notes>%s</notes>", b.notes);
  doc.appendf("</%s>", b.method);
}

// A description: its name, its get block and its put block; post and delete
// are never supported on a catalogue resource.
std::string description_document(const char* name, const method_block& get, const method_block& put,
                                 declaration decl = declaration::with_line_end) {
  text_buffer doc;
  append_declaration(doc, decl);
  doc.append(kDescriptionRoot);
  doc.appendf("<name>%s</name>", name);
  doc.append("<version>1.0</version>");
  doc.append("<type>resource</type>");
  append_block(doc, get);
  append_block(doc, put);
  append_block(doc, kNotSupported[1]);
  append_block(doc, kNotSupported[2]);
  doc.append("</ResourceDescription>");
  return text_of(doc);
}

const method_block kEnumerate = {"get", "none", "ResourceList", "enumerate 1st level children",
                                 "non-recursive"};

// Every branch's description names itself "index": clients have always
// seen it so.
std::string standard_description(declaration decl = declaration::with_line_end) {
  return description_document("index", kEnumerate, kNotSupported[0], decl);
}

// The event family's documents go out through the same stream as every
// other answer, with the same header bytes.
constexpr content_type kXml = content_type::xml;
constexpr content_type kEventXml = content_type::xml;

answer constant(const std::string& doc, content_type type) {
  return answer::constant_document(doc, type);
}

const entry kRootIndex[] = {resource("index"), resource("indexr"),  resource("description"),
                            service("System"), service("Security"), service("Streaming")};
const entry kSystemIndex[] = {resource("index"),
                              resource("description"),
                              resource("reboot"),
                              resource("updateFirmware"),
                              resource("configurationData"),
                              resource("factoryReset"),
                              resource("deviceInfo"),
                              resource("status"),
                              resource("time"),
                              resource("localTime"),
                              resource("timeZone"),
                              resource("ntpServers"),
                              resource("ntpServers/ID"),
                              service("Network"),
                              service("Audio"),
                              service("Video")};
const entry kNetworkIndex[] = {resource("index"), resource("description"), resource("interfaces")};
const entry kAudioIndex[] = {resource("index"), resource("description"), resource("channels")};
const entry kVideoIndex[] = {resource("index"), resource("description"), resource("inputs")};
// The Security index has never listed AAA; clients reach it by name.
const entry kSecurityIndex[] = {resource("index"), resource("description")};
const entry kAaaIndex[] = {resource("index"), resource("description"), resource("users")};
const entry kStreamingIndex[] = {resource("index"), resource("description"), resource("status"),
                                 resource("channels")};
const entry kCustomIndex[] = {resource("index"), resource("description"), resource("Event")};
const entry kEventIndex[] = {resource("index"), resource("description"), resource("triggers"),
                             resource("schedule"), resource("notification")};
const entry kPtzIndex[] = {resource("index"), resource("description"), resource("channels")};

// The recursive index of the root.
const entry kTreeSystem[] = {resource("index"),
                             resource("description"),
                             resource("reboot"),
                             resource("updateFirmware"),
                             resource("configurationData"),
                             resource("factoryReset"),
                             resource("deviceInfo"),
                             resource("status"),
                             branch("Network", kNetworkIndex),
                             branch("Video", kVideoIndex)};
const entry kTreeSecurity[] = {resource("index"), resource("description"),
                               branch("AAA", kAaaIndex)};
const entry kTree[] = {resource("index"),
                       resource("indexr"),
                       resource("description"),
                       branch("System", kTreeSystem),
                       branch("Security", kTreeSecurity),
                       branch("Streaming", kStreamingIndex)};

}  // namespace

// Each document is made on first use and kept (immutable) for the life of
// the process: the catalogue never changes.
#define PSIA_CONSTANT(handler, type, document)     \
  answer handler(request&, const route_args&) {    \
    static const std::string kDocument = document; \
    return constant(kDocument, type);              \
  }

PSIA_CONSTANT(get_psia_indexr, kXml, index_document(kTree, declaration::with_line_end, true))
PSIA_CONSTANT(get_psia_index, kXml, index_document(kRootIndex))
PSIA_CONSTANT(get_psia_description, kXml, standard_description())
PSIA_CONSTANT(get_system_index, kXml, index_document(kSystemIndex))
PSIA_CONSTANT(get_system_description, kXml, standard_description())
PSIA_CONSTANT(get_network_index, kXml, index_document(kNetworkIndex, declaration::bare))
PSIA_CONSTANT(get_network_description, kXml, standard_description(declaration::bare))
PSIA_CONSTANT(get_audio_index, content_type::xml_utf8, index_document(kAudioIndex))
PSIA_CONSTANT(get_audio_description, content_type::xml_utf8, standard_description())
PSIA_CONSTANT(get_video_index, kXml, index_document(kVideoIndex))
PSIA_CONSTANT(get_video_description, kXml, standard_description())
PSIA_CONSTANT(get_security_index, kXml, index_document(kSecurityIndex))
PSIA_CONSTANT(get_security_description, kXml, standard_description())
PSIA_CONSTANT(get_aaa_index, kXml, index_document(kAaaIndex))
PSIA_CONSTANT(get_aaa_description, kXml, standard_description())
PSIA_CONSTANT(get_streaming_index, kXml, index_document(kStreamingIndex))
PSIA_CONSTANT(get_streaming_description, kXml, standard_description())
PSIA_CONSTANT(get_custom_index, kEventXml, index_document(kCustomIndex))
PSIA_CONSTANT(get_custom_description, kEventXml, standard_description())
PSIA_CONSTANT(get_event_index, kEventXml, index_document(kEventIndex))
PSIA_CONSTANT(get_event_description, kEventXml, standard_description())
PSIA_CONSTANT(get_ptz_index, kXml, index_document(kPtzIndex))
PSIA_CONSTANT(get_ptz_description, kXml, standard_description())
PSIA_CONSTANT(get_ptz_channels_description, kXml,
              description_document("channels",
                                   {"get", "none", "ResourceList",
                                    "Access the list of PTZ channels", "non-recursive"},
                                   {"put", "ResourceList", "ResponseStatus",
                                    "Access the list of PTZ channels", "non-recursive"}))

}  // namespace psia
