// The System branch: time, time zone, NTP server, device information and
// status, and the maintenance operations.
#ifndef PSIA_RESOURCES_SYSTEM_SYSTEM_H
#define PSIA_RESOURCES_SYSTEM_SYSTEM_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Maintenance.
Answer put_reboot(Request& req, const RouteArgs& route);
Answer put_update_firmware(Request& req, const RouteArgs& route);
Answer get_configuration_data(Request& req, const RouteArgs& route);
Answer put_configuration_data(Request& req, const RouteArgs& route);
Answer put_factory_reset(Request& req, const RouteArgs& route);  // route.rest: "?MODE=..."

// Device information and status.
Answer get_device_info(Request& req, const RouteArgs& route);
Answer put_device_info(Request& req, const RouteArgs& route);
Answer get_device_status(Request& req, const RouteArgs& route);

// Time.
Answer get_time(Request& req, const RouteArgs& route);
Answer put_time(Request& req, const RouteArgs& route);
Answer get_local_time(Request& req, const RouteArgs& route);
Answer put_local_time(Request& req, const RouteArgs& route);
Answer get_time_zone(Request& req, const RouteArgs& route);
Answer put_time_zone(Request& req, const RouteArgs& route);

// NTP servers.
Answer get_ntp_server(Request& req, const RouteArgs& route);
Answer put_ntp_server(Request& req, const RouteArgs& route);
Answer delete_ntp_server(Request& req, const RouteArgs& route);
Answer get_ntp_server_list(Request& req, const RouteArgs& route);
Answer put_ntp_server_list(Request& req, const RouteArgs& route);
Answer post_ntp_server(Request& req, const RouteArgs& route);
Answer delete_ntp_server_list(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_SYSTEM_H
