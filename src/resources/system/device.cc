// Device information and status: what the camera is (name, identifier,
// model, serial number, hardware address, firmware) and how long it has
// been up.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "io/host_probes.h"
#include "io/response.h"
#include "io/stream.h"
#include "io/xml_input.h"
#include "resources/system/clock.h"
#include "resources/system/system.h"
#include "store/database.h"
#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

const char kNoDeviceId[] = "aaaaaaaaaaaaaaaa";
const char kFactoryDatabasePath[] = "/usr/local/korvia/conf/default.db";
const char kFactoryDevicePath[] = "/dev/mtdblock7";
const off_t kSerialNumberOffset = 256;
const size_t kSerialNumberSize = 32;

// Published as the camera maker's contact in every DeviceInfo document.
const char kSystemContact[] = "http://www.aldex.com";

// The factory-default database, opened once to store a new identifier and
// then left open for the life of the process.
sqlite3* g_factory_db = nullptr;

// Reads the serial number written at the factory. `serial` holds at least
// 32 bytes; returns 1 when it was read, 0 otherwise.
int read_factory_serial_number(char* serial) {
  int fd = open(host_path(kFactoryDevicePath).c_str(), O_RDWR);
  if (fd < 1) {
    stream_error("EEPROM OPEN: %s\n", std::strerror(errno));
    return 0;
  }
  off_t at = lseek(fd, kSerialNumberOffset, SEEK_SET);
  if (at != kSerialNumberOffset) {
    stream_error("eeprom lseek fail res=[%x:%x], error=%s\n",
                 static_cast<unsigned>(kSerialNumberOffset), static_cast<unsigned>(at),
                 std::strerror(errno));
    close(fd);
    return 0;
  }
  ssize_t n = read(fd, serial, kSerialNumberSize);
  if (n != static_cast<ssize_t>(kSerialNumberSize)) {
    // The descriptor is left open on this path, as the camera's other
    // readers of the flash block do.
    stream_error("eeprom read fail res=%d, error=%s\n", static_cast<int>(n), std::strerror(errno));
    return 0;
  }
  close(fd);
  serial[kSerialNumberSize - 1] = '\0';
  return 1;
}

// A new identifier: ten random bytes in upper-case and six in lower-case
// hexadecimal, the camera family's mixed form.
void make_device_id(char id[40]) {
  uuid_t b;
  uuid_generate_random(b);
  std::snprintf(id, 40,
                "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02x%02x%02x%02x%02x%02x", b[0],
                b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
                b[14], b[15]);
}

// The device identifier, made and stored on first use. Once it is in the
// factory-default database too (so a factory reset keeps it), the main
// connection is closed: every later statement of this process fails, the
// rest of this document shows its fallbacks, and later callers are refused
// until the responder is started again. A factory-default database that
// cannot be opened (it is never created here) leaves the main connection
// open and the identifier in the main database only.
void read_device_id(char id[40]) {
  // An empty uuid is no identifier either: a client must never be shown one.
  if (!db_query_text(id, 40, "select uuid from System") || id[0] == '\0')
    copy_bounded(id, 40, kNoDeviceId);
  if (std::strncmp(id, kNoDeviceId, 16) != 0) return;
  make_device_id(id);
  db_exec("update system set uuid='%q'", id);
  if (g_factory_db == nullptr) g_factory_db = db_open(host_path(kFactoryDatabasePath).c_str());
  if (g_factory_db == nullptr) return;
  char* statement = sqlite3_mprintf("update system set uuid='%q'", id);
  sqlite3_exec(g_factory_db, statement, nullptr, nullptr, nullptr);
  sqlite3_free(statement);
  db_close_main();
}

}  // namespace

void get_device_info() {
  char name[128];
  if (!db_query_text(name, sizeof name, "select DDNSHostname from Network"))
    std::snprintf(name, sizeof name, "%s", context().host_name);
  char id[40];
  read_device_id(id);
  char model[128];
  bool has_model = db_query_text(model, sizeof model, "select model from Spec");
  char serial[kSerialNumberSize];
  bool has_serial = read_factory_serial_number(serial) == 1;
  unsigned char mac[6] = {0, 0, 0, 0, 0, 0};
  read_mac_address(kCameraInterface, mac);
  char version[128];
  bool has_version = db_query_text(version, sizeof version, "select SWVersion from System");

  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<DeviceInfo version=\"1.0\" xmlns=\"urn:psialliance-org\">");
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
    doc.appendf("<firmwareVersion>0.0.0.0</firmwareVersion>");
    doc.appendf("<firmwareReleasedDate>000000</firmwareReleasedDate>");
  }
  doc.appendf("</DeviceInfo>");
  answer_document(doc, content_type::xml);
}

void put_device_info() {
  XmlDocument body;
  if (!accept_xml_request(body, "DeviceInfo", kStatusDeviceError)) return;
  char name[32] = "";
  for (xmlNode* child : xml_children(body.root()))
    if (xml_name_is(child, "deviceName")) xml_copy_text(child, name);
  bool stored = db_exec("update Network set DDNSHostname='%q'", name);
  write_response_status(stored ? kStatusOk : kStatusDeviceError);
}

void get_device_status() {
  struct tm local = camera_local_time();

  double up = 0, idle = 0;
  FILE* f = std::fopen(host_path("/proc/uptime").c_str(), "r");
  char line[36] = "";
  bool read = f != nullptr && std::fgets(line, sizeof line, f) != nullptr;
  if (f != nullptr) std::fclose(f);
  if (!read || std::sscanf(line, "%lf %lf", &up, &idle) < 2 || !(up >= 0 && up < 2147483648.0)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  TextBuffer doc;
  doc.appendf("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n");
  doc.appendf("<DeviceStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">");
  doc.appendf("<currentDeviceTime>%4d-%02d-%02dT%02d:%02d:%02d</currentDeviceTime>",
              local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
              local.tm_sec);
  doc.appendf("<deviceUpTime>%d</deviceUpTime>", static_cast<int>(up));
  doc.appendf("</DeviceStatus>");
  answer_document(doc, content_type::xml);
}
