// The System branch: time, time zone, NTP server, device information and
// status, and the maintenance operations.
#ifndef PSIA_RESOURCES_SYSTEM_SYSTEM_H
#define PSIA_RESOURCES_SYSTEM_SYSTEM_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

// Maintenance.
answer put_reboot(request& req, const route_args& route);
answer put_update_firmware(request& req, const route_args& route);
answer get_configuration_data(request& req, const route_args& route);
answer put_configuration_data(request& req, const route_args& route);
answer put_factory_reset(request& req, const route_args& route);  // route.rest: "?MODE=..."

// Device information and status.
answer get_device_info(request& req, const route_args& route);
answer put_device_info(request& req, const route_args& route);
answer get_device_status(request& req, const route_args& route);

// Time.
answer get_time(request& req, const route_args& route);
answer put_time(request& req, const route_args& route);
answer get_local_time(request& req, const route_args& route);
answer put_local_time(request& req, const route_args& route);
answer get_time_zone(request& req, const route_args& route);
answer put_time_zone(request& req, const route_args& route);

// NTP servers.
answer get_ntp_server(request& req, const route_args& route);
answer put_ntp_server(request& req, const route_args& route);
answer delete_ntp_server(request& req, const route_args& route);
answer get_ntp_server_list(request& req, const route_args& route);
answer put_ntp_server_list(request& req, const route_args& route);
answer post_ntp_server(request& req, const route_args& route);
answer delete_ntp_server_list(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_SYSTEM_SYSTEM_H
