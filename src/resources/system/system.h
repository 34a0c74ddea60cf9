// The System branch: time, time zone, NTP server, device information and
// status, and the maintenance operations.
#ifndef PSIA_RESOURCES_SYSTEM_SYSTEM_H
#define PSIA_RESOURCES_SYSTEM_SYSTEM_H

// Maintenance.
void put_reboot();
void put_update_firmware();
void get_configuration_data();
void put_configuration_data();
void put_factory_reset(const char* path);  // the full path, query included

// Device information and status.
void get_device_info();
void put_device_info();
void get_device_status();

// Time.
void get_time();
void put_time();
void get_local_time();
void put_local_time();
void get_time_zone();
void put_time_zone();

// NTP servers.
void get_ntp_server();
void put_ntp_server();
void delete_ntp_server();
void get_ntp_server_list();
void put_ntp_server_list();
void post_ntp_server();
void delete_ntp_server_list();

#endif  // PSIA_RESOURCES_SYSTEM_SYSTEM_H
