// The Network branch: the eth0 interface, its IPv4 settings and discovery.
#ifndef PSIA_RESOURCES_NETWORK_NETWORK_H
#define PSIA_RESOURCES_NETWORK_NETWORK_H

#include "io/answer.h"
#include "io/request.h"

namespace psia {

Answer get_ip_address(Request& req, const RouteArgs& route);
Answer put_ip_address(Request& req, const RouteArgs& route);
Answer get_discovery(Request& req, const RouteArgs& route);
Answer put_discovery(Request& req, const RouteArgs& route);
Answer get_network_interface(Request& req, const RouteArgs& route);
Answer put_network_interface(Request& req, const RouteArgs& route);
Answer get_network_interface_list(Request& req, const RouteArgs& route);

}  // namespace psia

#endif  // PSIA_RESOURCES_NETWORK_NETWORK_H
