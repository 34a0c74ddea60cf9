// PTZ presets: named positions numbered by Preset.Sequence. The camera
// keeps the positions itself, so storing, recalling and forgetting one are
// the control daemon's work (commands 52, 53, 54); the names live here.
#include "io/xml_input.h"
#include "resources/ptz/ptz.h"
#include "store/schema.h"

namespace psia {

namespace {

void append_preset(text_buffer& doc, const query_result& presets, int row) {
  const char* alias = presets.text(row, preset_column::kAlias);
  doc.append("<PTZPreset version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<id>%d</id>", presets.integer(row, preset_column::kSequence, 0));
  doc.appendf("<presetName>%s</presetName>", alias != nullptr ? alias : "");
  doc.append("</PTZPreset>");
}

// A preset command: word 0 is 0 (the message is zero-filled), word 1 the
// preset number.
answer send_preset_command(request& req, int32_t command, int preset) {
  control_message msg(command);
  msg.put_int(ptz_preset_payload::kPreset, preset);
  return answer::status(req.control().send_control_message(msg));
}

// The id and name of a PTZPreset element; absent elements keep what the
// fields held.
void read_preset(xml_node preset, int* id, char (&name)[128]) {
  for (xml_node child : preset.children()) {
    if (child.is("id")) {
      *id = child.int_text();
    } else if (child.is("presetName")) {
      child.copy_text(name);
    }
  }
}

}  // namespace

// An empty list is answered as a device error, as the camera's clients
// have always seen it.
answer get_ptz_preset_list(request& req, const route_args&) {
  query_result presets = req.db().query("select * from Preset");
  if (!presets.has_rows()) return answer::status(kStatusDeviceError);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<PTZPresetList version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  for (int r = 0; r < presets.rows(); ++r) append_preset(doc, presets, r);
  doc.append("</PTZPresetList>");
  return answer::document(std::move(doc), content_type::xml);
}

answer get_ptz_preset(request& req, const route_args& route) {
  int n = route.number;
  query_result preset = req.db().query("select * from Preset where Sequence=?", n);
  if (!preset.has_rows()) return answer::status(kStatusDeviceError);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  append_preset(doc, preset, 0);
  return answer::document(std::move(doc), content_type::xml);
}

// Renames preset n; the body must name the same preset.
answer put_ptz_preset(request& req, const route_args& route) {
  int n = route.number;
  xml_body body(req, "PTZPreset", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  int id = -1;
  char name[128] = "";
  read_preset(body.root(), &id, name);
  if (id != n) return answer::status(kStatusDeviceError);
  req.db().exec("update Preset set PresetAlias=? where Sequence=?", name, n);
  return answer::status(kStatusOk);
}

answer put_ptz_preset_list(request& req, const route_args&) {
  xml_body body(req, "PTZPresetList", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  int id = -1;
  char name[128] = "";
  for (xml_node preset : body.root().children()) {
    if (!preset.is("PTZPreset")) continue;
    read_preset(preset, &id, name);
    req.db().exec("update Preset set PresetAlias=? where Sequence=?", name, id);
  }
  return answer::status(kStatusOk);
}

// Stores the current position as a new preset; its number must be free.
answer post_ptz_preset(request& req, const route_args&) {
  xml_body body(req, "PTZPreset", kStatusInvalidXmlFormat);
  if (!body.ok()) return body.failure();
  int id = -1;
  char name[128] = "";
  read_preset(body.root(), &id, name);
  query_result same = req.db().query("select COUNT(*) from Preset where Sequence=?", id);
  if (!same.has_rows() || same.integer(0, 0, 0) >= 1 ||
      !req.db().exec("insert into Preset values (NULL, 0, ?, ?, 1, 1)", name, id))
    return answer::status(kStatusDeviceError);
  return send_preset_command(req, kCommandPtzPresetStore, id);
}

answer delete_ptz_preset(request& req, const route_args& route) {
  int n = route.number;
  req.db().exec("delete from Preset where Sequence=?", n);
  return send_preset_command(req, kCommandPtzPresetDelete, n);
}

answer delete_ptz_presets(request& req, const route_args&) {
  req.db().exec("delete from Preset");
  return answer::status(kStatusOk);
}

answer goto_ptz_preset(request& req, const route_args& route) {
  int n = route.number;
  return send_preset_command(req, kCommandPtzPresetGoto, n);
}

}  // namespace psia
