// Device information and status: what the camera is (name, identifier,
// model, serial number, hardware address, firmware) and how long it has
// been up.
#include <fcntl.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "io/host_probes.h"
#include "io/xml_input.h"
#include "resources/system/clock.h"
#include "resources/system/system.h"
#include "util/bounded_copy.h"
#include "util/file.h"

namespace psia {

namespace {

const char kNoDeviceId[] = "aaaaaaaaaaaaaaaa";
const char kFactoryDatabasePath[] = "/usr/local/korvia/conf/default.db";
const char kFactoryDevicePath[] = "/dev/mtdblock7";
const off_t kSerialNumberOffset = 256;
const size_t kSerialNumberSize = 32;

// Published as the camera maker's contact in every DeviceInfo document.
const char kSystemContact[] = "http://www.aldex.com";

// Reads the serial number written at the factory. `serial` holds at least
// 32 bytes; false when it cannot be read.
bool read_factory_serial_number(request& req, char* serial) {
  unique_fd fd(open(req.host_path(kFactoryDevicePath).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() < 1) {
    req.log().diagnostic("EEPROM OPEN: %s\n", std::strerror(errno));
    return false;
  }
  off_t at = lseek(fd.get(), kSerialNumberOffset, SEEK_SET);
  if (at != kSerialNumberOffset) {
    req.log().diagnostic("eeprom lseek fail res=[%x:%x], error=%s\n",
                         static_cast<unsigned>(kSerialNumberOffset), static_cast<unsigned>(at),
                         std::strerror(errno));
    return false;
  }
  ssize_t n = read(fd.get(), serial, kSerialNumberSize);
  if (n != static_cast<ssize_t>(kSerialNumberSize)) {
    req.log().diagnostic("eeprom read fail res=%d, error=%s\n", static_cast<int>(n),
                         std::strerror(errno));
    return false;
  }
  serial[kSerialNumberSize - 1] = '\0';
  return true;
}

// A new identifier: ten random bytes in upper-case and six in lower-case
// hexadecimal, the camera family's mixed form.
void make_device_id(char id[40]) {
  uuid_t b;
  uuid_generate_random(b);
  std::snprintf(id, 40, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02x%02x%02x%02x%02x%02x",
                b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12],
                b[13], b[14], b[15]);
}

// The device identifier, made and stored on first use. Once it is in the
// factory-default database too (so a factory reset keeps it), the main
// connection is closed: every later statement of this process fails, the
// rest of this document shows its fallbacks, and later callers are refused
// until the responder is started again. A factory-default database that
// cannot be opened (it is never created here) leaves the main connection
// open and the identifier in the main database only.
void read_device_id(request& req, char id[40]) {
  // An empty uuid is no identifier either: a client must never be shown one.
  if (!req.db().query_text(id, 40, "select uuid from System") || id[0] == '\0')
    copy_bounded(id, 40, kNoDeviceId);
  if (std::strncmp(id, kNoDeviceId, 16) != 0) return;
  make_device_id(id);
  req.db().exec("update system set uuid=?", id);
  config_store& factory = req.ctx.factory_store;
  if (!factory.is_open() && !factory.open(req.host_path(kFactoryDatabasePath), &req.ctx.clock))
    return;
  factory.exec("update system set uuid=?", id);
  req.db().close();
}

}  // namespace

answer get_device_info(request& req, const route_args&) {
  char name[128];
  if (!req.db().query_text(name, sizeof name, "select DDNSHostname from Network"))
    copy_bounded(name, req.ctx.settings.host_name.c_str());
  char id[40];
  read_device_id(req, id);
  char model[128];
  bool has_model = req.db().query_text(model, sizeof model, "select model from Spec");
  char serial[kSerialNumberSize];
  bool has_serial = read_factory_serial_number(req, serial);
  unsigned char mac[6] = {0, 0, 0, 0, 0, 0};
  read_mac_address(req.log(), kCameraInterface, mac);
  char version[128];
  bool has_version = req.db().query_text(version, sizeof version, "select SWVersion from System");

  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<DeviceInfo version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<deviceName>%s</deviceName>", name);
  doc.appendf("<deviceID>%s</deviceID>", id);
  doc.appendf("<systemContact>%s</systemContact>", kSystemContact);
  doc.appendf("<model>%s</model>", has_model ? model : "Aldex IP Camera");
  doc.appendf("<serialNumber>%s</serialNumber>", has_serial ? serial : "0");
  doc.appendf("<macAddress>%02x:%02x:%02x:%02x:%02x:%02x</macAddress>", mac[0], mac[1], mac[2],
              mac[3], mac[4], mac[5]);
  if (has_version) {
    // The firmware version ends in its release date ("1.4.2.201105"); a
    // version without a dot carries no date.
    const char* dot = std::strrchr(version, '.');
    doc.appendf("<firmwareVersion>%s</firmwareVersion>", version);
    doc.appendf("<firmwareReleasedDate>%s</firmwareReleasedDate>",
                dot != nullptr ? dot + 1 : "000000");
  } else {
    doc.append("<firmwareVersion>0.0.0.0</firmwareVersion>");
    doc.append("<firmwareReleasedDate>000000</firmwareReleasedDate>");
  }
  doc.append("</DeviceInfo>");
  return answer::document(std::move(doc), content_type::xml);
}

answer put_device_info(request& req, const route_args&) {
  xml_body body(req, "DeviceInfo", kStatusDeviceError);
  if (!body.ok()) return body.failure();
  char name[32] = "";
  for (xml_node child : body.root().children())
    if (child.is("deviceName")) child.copy_text(name);
  bool stored = req.db().exec("update Network set DDNSHostname=?", name);
  return answer::status(stored ? kStatusOk : kStatusDeviceError);
}

answer get_device_status(request& req, const route_args&) {
  struct tm local = camera_local_time(req.ctx);
  std::string uptime;
  char line[36] = "";
  double up = 0, idle = 0;
  if (!read_regular_file(req.host_path("/proc/uptime"), 4096, &uptime, kFollowSystemLinks) ||
      !line_reader(uptime).next(line, sizeof line) ||
      std::sscanf(line, "%lf %lf", &up, &idle) < 2 || !(up >= 0 && up < 2147483648.0))
    return answer::status(kStatusDeviceError);
  text_buffer doc;
  doc.append("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.append("<DeviceStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<currentDeviceTime>%4d-%02d-%02dT%02d:%02d:%02d</currentDeviceTime>",
              local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
              local.tm_sec);
  doc.appendf("<deviceUpTime>%d</deviceUpTime>", static_cast<int>(up));
  doc.append("</DeviceStatus>");
  return answer::document(std::move(doc), content_type::xml);
}

}  // namespace psia
