// The System branch: time, time zone, NTP server, device information and
// status, and the maintenance operations.
#ifndef PSIA_RESOURCES_SYSTEM_SYSTEM_H
#define PSIA_RESOURCES_SYSTEM_SYSTEM_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Maintenance.
Answer put_reboot(Request& req);
Answer put_update_firmware(Request& req);
Answer get_configuration_data(Request& req);
Answer put_configuration_data(Request& req);
Answer put_factory_reset(Request& req, const char* path);  // the full path, query included

// Device information and status.
Answer get_device_info(Request& req);
Answer put_device_info(Request& req);
Answer get_device_status(Request& req);

// Time.
Answer get_time(Request& req);
Answer put_time(Request& req);
Answer get_local_time(Request& req);
Answer put_local_time(Request& req);
Answer get_time_zone(Request& req);
Answer put_time_zone(Request& req);

// NTP servers.
Answer get_ntp_server(Request& req);
Answer put_ntp_server(Request& req);
Answer delete_ntp_server(Request& req);
Answer get_ntp_server_list(Request& req);
Answer put_ntp_server_list(Request& req);
Answer post_ntp_server(Request& req);
Answer delete_ntp_server_list(Request& req);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_SYSTEM_H
