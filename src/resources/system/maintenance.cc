// Maintenance: reboot, factory reset, firmware and configuration uploads,
// and the configuration download. Rebooting, resetting and producing the
// configuration file are the control daemon's work; uploads are stored in
// the web server's transfer directory for the daemon to find.
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "resources/system/system.h"
#include "util/bounded_copy.h"
#include "util/file.h"

namespace psia {

namespace {

const char kTransferDirectory[] = "/usr/local/httpd/htdocs/Web/updownload/";

answer store_upload(request& req, const char* file_name) {
  bool stored = req.store_body(req.host_path(std::string(kTransferDirectory) + file_name));
  return answer::status(stored ? kStatusOk : kStatusDeviceError);
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

answer put_reboot(request& req, const route_args&) {
  return answer::status(req.control().send_command(kCommandReboot));
}

// PUT factoryReset?MODE=FULL or ?MODE=BASIC. The daemon is not told the
// mode: both reset the camera the same way.
answer put_factory_reset(request& req, const route_args& route) {
  const char* mark = std::strchr(route.rest, '?');
  char query[256];
  copy_bounded(query, mark != nullptr ? mark + 1 : "");
  if (query[0] == '\0') return answer::status(kStatusInvalidXmlFormat);
  char key[128], value[128];
  split_query(query, key, sizeof key, value, sizeof value);
  if (strcasecmp(key, "MODE") != 0 ||
      (strcasecmp(value, "FULL") != 0 && strcasecmp(value, "BASIC") != 0))
    return answer::status(kStatusDeviceError);
  return answer::status(req.control().send_command(kCommandFactoryReset));
}

answer put_update_firmware(request& req, const route_args&) {
  return store_upload(req, "psia_firmware.dat");
}

answer put_configuration_data(request& req, const route_args&) {
  return store_upload(req, "psia_config.dat");
}

// The daemon writes the configuration into the transfer directory and
// names the file in its reply; the file goes out as it is.
answer get_configuration_data(request& req, const route_args&) {
  control_message msg(kCommandConfigurationFile);
  if (req.control().send_control_message(msg) != control_result::ok)
    return answer::status(kStatusDeviceError);
  // The name need not be terminated within the payload: bound it.
  char name[1024];
  const char* named =
      reinterpret_cast<const char*>(msg.payload + configuration_file_payload::kFileName);
  size_t length = strnlen(named, sizeof msg.payload - configuration_file_payload::kFileName);
  if (length > sizeof name - sizeof kTransferDirectory)
    length = sizeof name - sizeof kTransferDirectory;
  std::memcpy(name, named, length);
  name[length] = '\0';
  // Only a regular file directly in the transfer directory goes out: the
  // name may not lead elsewhere, by a path or a link, and an empty name
  // (the directory itself) or a FIFO is no file to send.
  if (std::strchr(name, '/') != nullptr || std::strstr(name, "..") != nullptr)
    return answer::status(kStatusDeviceError);
  off_t size = 0;
  unique_fd file = open_regular_file(req.host_path(std::string(kTransferDirectory) + name), &size);
  if (!file.valid() || size > 0x7fffffff) return answer::status(kStatusDeviceError);
  return answer::file(std::move(file), static_cast<uint32_t>(size));
}

}  // namespace psia
