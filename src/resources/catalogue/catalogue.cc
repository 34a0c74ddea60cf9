// The catalogue documents are fixed texts: each branch's index lists its
// children, its description tells what GET and the other methods do, and
// the root's indexr lists the tree recursively.
#include "resources/catalogue/catalogue.h"

#include <cstddef>

#include "io/response.h"

namespace {

struct entry {
  const char* name;
  bool service;              // a branch with children of its own
  const entry* children;     // nested list in the recursive index
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

void append_declaration(TextBuffer& doc, declaration decl) {
  // The Network branch's documents have always gone out without the line
  // end behind the declaration.
  if (decl == declaration::bare)
    doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>");
  else
    doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
}

void append_entries(TextBuffer& doc, const entry* entries, size_t count,
                    bool recursive) {
  for (size_t i = 0; i < count; ++i) {
    const entry& e = entries[i];
    doc.appendf("<Resource version=\"1.0\">");
    doc.appendf("<name>%s</name>", e.name);
    doc.appendf("<version>1.0</version>");
    doc.appendf(e.service ? "<type>service</type>" : "<type>resource</type>");
    if (recursive && e.service) {
      doc.appendf("<ResourceList version=\"1.0\">");
      append_entries(doc, e.children, e.child_count, true);
      doc.appendf("</ResourceList>");
    }
    doc.appendf("</Resource>");
  }
}

template <size_t N>
void answer_index(const entry (&entries)[N], content_type type,
                  declaration decl = declaration::with_line_end,
                  bool recursive = false) {
  TextBuffer doc;
  append_declaration(doc, decl);
  doc.appendf("%s", kListRoot);
  append_entries(doc, entries, N, recursive);
  doc.appendf("</ResourceList>");
  answer_document(doc, type);
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

void append_block(TextBuffer& doc, const method_block& b) {
  doc.appendf("<%s>", b.method);
  doc.appendf("<QueryStringParameterList />");
  doc.appendf("<inboundData>%s</inboundData>", b.inbound);
  doc.appendf("<returnResult>%s</returnResult>", b.result);
  doc.appendf("<function>%s</function>", b.function);
  doc.appendf("<notes>%s</notes>", b.notes);
  doc.appendf("</%s>", b.method);
}

// A description: its name, its get block and its put block; post and delete
// are never supported on a catalogue resource.
void answer_description(const char* name, const method_block& get,
                        const method_block& put, content_type type,
                        declaration decl = declaration::with_line_end) {
  TextBuffer doc;
  append_declaration(doc, decl);
  doc.appendf("%s", kDescriptionRoot);
  doc.appendf("<name>%s</name>", name);
  doc.appendf("<version>1.0</version>");
  doc.appendf("<type>resource</type>");
  append_block(doc, get);
  append_block(doc, put);
  append_block(doc, kNotSupported[1]);
  append_block(doc, kNotSupported[2]);
  doc.appendf("</ResourceDescription>");
  answer_document(doc, type);
}

const method_block kEnumerate = {"get", "none", "ResourceList",
                                 "enumerate 1st level children", "non-recursive"};

// Every branch's description names itself "index": clients have always
// seen it so.
void answer_standard_description(content_type type,
                                 declaration decl = declaration::with_line_end) {
  answer_description("index", kEnumerate, kNotSupported[0], type, decl);
}

// The event family's documents go out through the same stream as every
// other answer, with the same header bytes.
constexpr content_type kXml = content_type::xml;
constexpr content_type kEventXml = content_type::xml;

const entry kRootIndex[] = {resource("index"), resource("indexr"), resource("description"),
                            service("System"), service("Security"), service("Streaming")};
const entry kSystemIndex[] = {
    resource("index"), resource("description"), resource("reboot"), resource("updateFirmware"),
    resource("configurationData"), resource("factoryReset"), resource("deviceInfo"),
    resource("status"), resource("time"), resource("localTime"), resource("timeZone"),
    resource("ntpServers"), resource("ntpServers/ID"), service("Network"), service("Audio"),
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
const entry kTreeSystem[] = {
    resource("index"), resource("description"), resource("reboot"), resource("updateFirmware"),
    resource("configurationData"), resource("factoryReset"), resource("deviceInfo"),
    resource("status"), branch("Network", kNetworkIndex), branch("Video", kVideoIndex)};
const entry kTreeSecurity[] = {resource("index"), resource("description"),
                               branch("AAA", kAaaIndex)};
const entry kTree[] = {resource("index"), resource("indexr"), resource("description"),
                       branch("System", kTreeSystem), branch("Security", kTreeSecurity),
                       branch("Streaming", kStreamingIndex)};

}  // namespace

void get_psia_indexr() { answer_index(kTree, kXml, declaration::with_line_end, true); }
void get_psia_index() { answer_index(kRootIndex, kXml); }
void get_psia_description() { answer_standard_description(kXml); }
void get_system_index() { answer_index(kSystemIndex, kXml); }
void get_system_description() { answer_standard_description(kXml); }
void get_network_index() { answer_index(kNetworkIndex, kXml, declaration::bare); }
void get_network_description() { answer_standard_description(kXml, declaration::bare); }
void get_audio_index() { answer_index(kAudioIndex, content_type::xml_utf8); }
void get_audio_description() { answer_standard_description(content_type::xml_utf8); }
void get_video_index() { answer_index(kVideoIndex, kXml); }
void get_video_description() { answer_standard_description(kXml); }
void get_security_index() { answer_index(kSecurityIndex, kXml); }
void get_security_description() { answer_standard_description(kXml); }
void get_aaa_index() { answer_index(kAaaIndex, kXml); }
void get_aaa_description() { answer_standard_description(kXml); }
void get_streaming_index() { answer_index(kStreamingIndex, kXml); }
void get_streaming_description() { answer_standard_description(kXml); }
void get_custom_index() { answer_index(kCustomIndex, kEventXml); }
void get_custom_description() { answer_standard_description(kEventXml); }
void get_event_index() { answer_index(kEventIndex, kEventXml); }
void get_event_description() { answer_standard_description(kEventXml); }
void get_ptz_index() { answer_index(kPtzIndex, kXml); }
void get_ptz_description() { answer_standard_description(kXml); }

void get_ptz_channels_description() {
  static const method_block kGet = {"get", "none", "ResourceList",
                                    "Access the list of PTZ channels", "non-recursive"};
  static const method_block kPut = {"put", "ResourceList", "ResponseStatus",
                                    "Access the list of PTZ channels", "non-recursive"};
  answer_description("channels", kGet, kPut, kXml);
}
