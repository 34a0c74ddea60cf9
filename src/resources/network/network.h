// The Network branch: the eth0 interface, its IPv4 settings and discovery.
#ifndef PSIA_RESOURCES_NETWORK_NETWORK_H
#define PSIA_RESOURCES_NETWORK_NETWORK_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

answer get_ip_address(request& req, const route_args& route);
answer put_ip_address(request& req, const route_args& route);
answer get_discovery(request& req, const route_args& route);
answer put_discovery(request& req, const route_args& route);
answer get_network_interface(request& req, const route_args& route);
answer put_network_interface(request& req, const route_args& route);
answer get_network_interface_list(request& req, const route_args& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_NETWORK_NETWORK_H
