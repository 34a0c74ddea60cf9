// Maintenance: reboot, factory reset, firmware and configuration uploads,
// and the configuration download. Rebooting, resetting and producing the
// configuration file are the control daemon's work; uploads are stored in
// the web server's transfer directory for the daemon to find.
#include <strings.h>
#include <sys/stat.h>

#include <cstdio>
#include <algorithm>
#include <cstring>
#include <string>

#include "control/control_message.h"
#include "io/request_body.h"
#include "io/response.h"
#include "io/stream.h"
#include "resources/system/system.h"
#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

const char kTransferDirectory[] = "/usr/local/httpd/htdocs/Web/updownload/";

void store_upload(const char* file_name) {
  std::string path = host_path(std::string(kTransferDirectory) + file_name);
  write_response_status(read_request_body(path.c_str()) == 0 ? kStatusOk : kStatusDeviceError);
}

// Splits "key=value" into its two fields, each cut to its size; a further
// '=' starts the value again.
void split_query(const char* query, char* key, size_t key_size, char* value, size_t value_size) {
  size_t k = 0, v = 0;
  bool in_value = false;
  for (const char* c = query; *c != '\0'; ++c) {
    if (*c == '=') {
      in_value = true;
      v = 0;
    } else if (!in_value) {
      if (k + 1 < key_size) key[k++] = *c;
    } else if (v + 1 < value_size) {
      value[v++] = *c;
    }
  }
  key[k] = '\0';
  value[v] = '\0';
}

}  // namespace

void put_reboot() { write_response_status(send_control_command(kCommandReboot)); }

// PUT factoryReset?MODE=FULL or ?MODE=BASIC. The daemon is not told the
// mode: both reset the camera the same way.
void put_factory_reset(const char* path) {
  const char* mark = std::strchr(path, '?');
  char query[256];
  copy_bounded(query, mark != nullptr ? mark + 1 : "");
  if (query[0] == '\0') {
    write_response_status(kStatusInvalidXmlFormat);
    return;
  }
  char key[128], value[128];
  split_query(query, key, sizeof key, value, sizeof value);
  if (strcasecmp(key, "MODE") != 0 ||
      (strcasecmp(value, "FULL") != 0 && strcasecmp(value, "BASIC") != 0)) {
    write_response_status(kStatusDeviceError);
    return;
  }
  write_response_status(send_control_command(kCommandFactoryReset));
}

void put_update_firmware() { store_upload("psia_firmware.dat"); }

void put_configuration_data() { store_upload("psia_config.dat"); }

// The daemon writes the configuration into the transfer directory and
// names the file in its reply; the file goes out as it is.
void get_configuration_data() {
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandConfigurationFile;
  send_control_message(&msg);
  if (msg.status != kStatusOk) {
    write_response_status(kStatusDeviceError);
    return;
  }
  // The name need not be terminated within the payload: bound it.
  char name[1024];
  size_t length = strnlen(reinterpret_cast<const char*>(msg.payload), sizeof msg.payload);
  length = std::min(length, sizeof name - 1);
  std::memcpy(name, msg.payload, length);
  name[length] = '\0';
  char path[1024];
  std::snprintf(path, sizeof path, "%s%.*s", kTransferDirectory,
                static_cast<int>(sizeof path - sizeof kTransferDirectory), name);
  FILE* f = std::fopen(host_path(path).c_str(), "rb");
  if (f == nullptr) {
    write_response_status(kStatusDeviceError);
    return;
  }
  // An empty name opens the transfer directory itself: only a regular file
  // has a size worth announcing.
  struct stat info;
  if (fstat(fileno(f), &info) != 0 || !S_ISREG(info.st_mode)) {
    std::fclose(f);
    write_response_status(kStatusDeviceError);
    return;
  }
  long size = std::fseek(f, 0, SEEK_END) == 0 ? std::ftell(f) : -1;
  if (size < 0 || size > 0x7fffffffL || std::fseek(f, 0, SEEK_SET) != 0) {
    std::fclose(f);
    write_response_status(kStatusDeviceError);
    return;
  }
  // Bare line feeds and a lower-case "length": the camera's download
  // clients read exactly this header.
  stream_printf("Content-Type: application/octet-stream\n");
  stream_printf("Content-length: %d\n\n", static_cast<int>(size));
  char piece[1024];
  long remaining = size;
  while (remaining > 0) {
    size_t n = static_cast<size_t>(std::min<long>(remaining, sizeof piece));
    if (std::fread(piece, n, 1, f) != 1) break;  // shorter than it was: stop
    stream_write(piece, n);
    remaining -= static_cast<long>(n);
  }
  std::fclose(f);
}
