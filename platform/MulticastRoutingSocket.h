// The kernel's multicast routing socket (linux/mroute.h): on it the kernel reports packets that it
// has no multicast route for.
#pragma once
#include <string>

#include "platform/Export.h"
#include "platform/NamespaceName.h"
#include "platform/ShoalFiles.h"

namespace Zet {

// Becomes the owner of the IPv4 multicast routing table of a network namespace, which must stand
// under /run/netns (ip-netns(8)) unless it is the default one. The socket has all raw IGMP packets
// of that namespace beside the kernel's reports. Throws ErrnoException that says what failed:
// EADDRINUSE where the table has an owner. The calling thread is in its old namespace again then,
// as it is on return.
BRINDLE_API ZetShoal::OpenFile openMulticastRoutingSocket(Nettle::NamespaceName const & netNs);

// Has the kernel report packets that come in by a network device, under a number of the caller's,
// below 32. The raw IGMP socket says in which namespace, whose table must have an owner; if it is
// the owner's own, that ends with it. Throws ErrnoException that says what failed: EADDRINUSE where
// the number is taken.
BRINDLE_API void addMulticastVif(int socket, U16 number, std::string const & device);

}  // namespace Zet
