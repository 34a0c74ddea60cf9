// PTZ presets: named positions numbered by Preset.Sequence. The camera
// keeps the positions itself, so storing, recalling and forgetting one are
// the control daemon's work (commands 52, 53, 54); the names live here.
#include "control/control_message.h"
#include "io/response.h"
#include "io/xml_input.h"
#include "resources/ptz/ptz.h"
#include "store/database.h"

namespace {

const int kAliasColumn = 2;
const int kSequenceColumn = 3;

void append_preset(TextBuffer& doc, const QueryResult& presets, int row) {
  const char* alias = presets.text(row, kAliasColumn);
  doc.appendf("<PTZPreset version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%d</id>", presets.integer(row, kSequenceColumn, 0));
  doc.appendf("<presetName>%s</presetName>", alias != nullptr ? alias : "");
  doc.appendf("</PTZPreset>");
}

// A preset command: word 0 is 0, word 1 the preset number.
void send_preset_command(int32_t command, int preset) {
  control_message msg;
  init_control_message(&msg);
  msg.command = command;
  control_put_int(&msg, 0, 0);
  control_put_int(&msg, 4, preset);
  send_control_message(&msg);
  write_response_status(msg.status);
}

// The id and name of a PTZPreset element; absent elements keep what the
// fields held.
void read_preset(const xmlNode* preset, int* id, char (&name)[128]) {
  for (xmlNode* child : xml_children(preset)) {
    if (xml_name_is(child, "id")) {
      *id = xml_int_text(child);
    } else if (xml_name_is(child, "presetName")) {
      xml_copy_text(child, name);
    }
  }
}

}  // namespace

// An empty list is answered as a device error, as the camera's clients
// have always seen it.
void get_ptz_preset_list() {
  QueryResult presets = db_query("select * from Preset");
  if (!presets.has_rows()) {
    write_response_status(kStatusDeviceError);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<PTZPresetList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int r = 0; r < presets.rows(); ++r) append_preset(doc, presets, r);
  doc.appendf("</PTZPresetList>");
  answer_document(doc, content_type::xml);
}

void get_ptz_preset(int n) {
  QueryResult preset = db_query("select * from Preset where Sequence=%d", n);
  if (!preset.has_rows()) {
    write_response_status(kStatusDeviceError);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_preset(doc, preset, 0);
  answer_document(doc, content_type::xml);
}

// Renames preset n; the body must name the same preset.
void put_ptz_preset(int n) {
  XmlDocument body;
  if (!accept_xml_request(body, "PTZPreset", kStatusInvalidXmlFormat)) return;
  int id = -1;
  char name[128] = "";
  read_preset(body.root(), &id, name);
  if (id != n) {
    write_response_status(kStatusDeviceError);
    return;
  }
  db_exec("update Preset set PresetAlias='%q' where Sequence=%d", name, n);
  write_response_status(kStatusOk);
}

void put_ptz_preset_list() {
  XmlDocument body;
  if (!accept_xml_request(body, "PTZPresetList", kStatusInvalidXmlFormat)) return;
  int id = -1;
  char name[128] = "";
  for (xmlNode* preset : xml_children(body.root())) {
    if (!xml_name_is(preset, "PTZPreset")) continue;
    read_preset(preset, &id, name);
    db_exec("update Preset set PresetAlias='%q' where Sequence=%d", name, id);
  }
  write_response_status(kStatusOk);
}

// Stores the current position as a new preset; its number must be free.
void post_ptz_preset() {
  XmlDocument body;
  if (!accept_xml_request(body, "PTZPreset", kStatusInvalidXmlFormat)) return;
  int id = -1;
  char name[128] = "";
  read_preset(body.root(), &id, name);
  QueryResult same = db_query("select COUNT(*) from Preset where Sequence=%d", id);
  if (!same.has_rows() || same.integer(0, 0, 0) >= 1 ||
      !db_exec("insert into Preset values (NULL, 0, '%q', %d, 1, 1)", name, id)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  send_preset_command(kCommandPtzPresetStore, id);
}

void delete_ptz_preset(int n) {
  db_exec("delete from Preset where Sequence=%d", n);
  send_preset_command(kCommandPtzPresetDelete, n);
}

void delete_ptz_presets() {
  db_exec("delete from Preset");
  write_response_status(kStatusOk);
}

void goto_ptz_preset(int n) { send_preset_command(kCommandPtzPresetGoto, n); }
