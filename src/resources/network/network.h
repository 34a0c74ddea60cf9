// The Network branch: the eth0 interface, its IPv4 settings and discovery.
#ifndef PSIA_RESOURCES_NETWORK_NETWORK_H
#define PSIA_RESOURCES_NETWORK_NETWORK_H

void get_ip_address();
void put_ip_address();
void get_discovery();
void put_discovery();
void get_network_interface();
void put_network_interface();
void get_network_interface_list();

#endif  // PSIA_RESOURCES_NETWORK_NETWORK_H
