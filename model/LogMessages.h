// The messages by which the operator learns that hardware resources ran out or came back. Their
// texts are an interface: monitoring matches them, with every blank and misspelling that they have.
#pragma once

#include "platform/Log.h"

namespace Brindle {

// All routes of a process: they no longer fit; they do again. FULL says with %s what ran out.
extern BRINDLE_API Zet::LogHandle MROUTE_HW_RESOURCE_FULL;
extern BRINDLE_API Zet::LogHandle MROUTE_HW_RESOURCE_NORMAL;

// The same of snooped groups.
extern BRINDLE_API Zet::LogHandle IGMPSNOOPING_HW_RESOURCE_FULL;
extern BRINDLE_API Zet::LogHandle IGMPSNOOPING_HW_RESOURCE_NORMAL;

// The floodsets of a VLAN, %d, by kind: one no longer fits (%s says what ran out); it does again.
extern BRINDLE_API Zet::LogHandle ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED;
extern BRINDLE_API Zet::LogHandle ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED;
extern BRINDLE_API Zet::LogHandle ETH_VLAN_FLOODSET_FORWARDING_DISABLED;
extern BRINDLE_API Zet::LogHandle ETH_VLAN_FLOODSET_FORWARDING_RESUMED;
extern BRINDLE_API Zet::LogHandle ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED;
extern BRINDLE_API Zet::LogHandle ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED;

// Drop routes of a VRF, %s, against the configured limit.
extern BRINDLE_API Zet::LogHandle MROUTE_FASTDROP_LIMIT_EXCEEDED;
extern BRINDLE_API Zet::LogHandle MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED;

// A bidirectional route names a rendezvous point that has no index.
extern BRINDLE_API Zet::LogHandle BIDIR_RPA_RESOURCE_FULL;

// Prefix routes in the TCAM.
extern BRINDLE_API Zet::LogHandle PREFIX_MROUTE_HW_RESOURCE_FULL;
extern BRINDLE_API Zet::LogHandle PREFIX_MROUTE_HW_RESOURCE_NORMAL;

}  // namespace Brindle
