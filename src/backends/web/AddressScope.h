#pragma once

#include <sys/socket.h>

namespace nookery {

/// Whether an address belongs to this computer or a network around it, or to nobody on the public
/// internet: loopback, private, link-local, shared, multicast and reserved ranges of IPv4 and IPv6,
/// also where IPv6 wraps an IPv4 address. Of no other family is anything known, so it counts too.
bool isLocalAddress(const sockaddr& address);

}  // namespace nookery
