#include "model/LogMessages.h"

namespace Brindle {

namespace {

constexpr auto error = Zet::LogSeverity::error;
constexpr auto warning = Zet::LogSeverity::warning;

// At most once per second.
constexpr double minInterval = 0.0;
constexpr double maxInterval = 1.0;

}  // namespace

Zet::LogHandle MROUTE_HW_RESOURCE_FULL(
    "MROUTE_HW_RESOURCE_FULL", error,
    "Hardware resources are insufficient to program all multicast routes%s.",
    "The switch is unable to program all multicast routes because  the multicast routing table "
    "exceeds available hardware resources",
    "To solve this issue, reconfigure the network to reduce the size of the multicast routing "
    "table. When the routing table size reduces, the switch automatically programs any "
    "unprogrammed multicast routes in hardware. ",
    minInterval, maxInterval, 0);

Zet::LogHandle MROUTE_HW_RESOURCE_NORMAL(
    "MROUTE_HW_RESOURCE_NORMAL", error, "All multicast routes are programmed in hardware.",
    "The switch was able to program all the multicast routes in hardware and normal hardware "
    "routing has resumed.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle IGMPSNOOPING_HW_RESOURCE_FULL(
    "IGMPSNOOPING_HW_RESOURCE_FULL", error,
    "Hardware resources are insufficient to program all IgmpSnooping groups%s.",
    "The switch is unable to program all IgmpSnooping groups because the IgmpSnooping groups "
    "exceed the available hardware resources.",
    "To solve this issue, reconfigure the network to reduce the number of IgmpSnooping groups.When "
    "the number of groups reduces, the switch automatically programs any unprogrammed groups in "
    "hardware. ",
    minInterval, maxInterval, 0);

Zet::LogHandle IGMPSNOOPING_HW_RESOURCE_NORMAL(
    "IGMPSNOOPING_HW_RESOURCE_NORMAL", error, "All multicast routes are programmed in hardware.",
    "The switch was able to program all the IgmpSnooping groups in hardware and normal hardware "
    "routing has resumed.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED(
    "ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED", warning,
    "Multicast sent to a group with no local members will be discarded in VLAN %d: %s.",
    "Multicast packets for groups that have not been learned by IGMP Snooping nor programmed via "
    "the CLI or Pim will be discarded in this VLAN because hardware resources are full",
    "Use fewer VLANs with unknown multicast traffic.", minInterval, maxInterval, 0);

Zet::LogHandle ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED(
    "ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED", warning,
    "Multicast sent to a group with no local members will be flooded normally in VLAN %d",
    "Multicast packets for groups that have not been learned by IGMP Snooping nor programmed via "
    "the CLI or Pim, will be flooded normally to the entire VLAN or router interfaces as "
    "expected.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle ETH_VLAN_FLOODSET_FORWARDING_DISABLED(
    "ETH_VLAN_FLOODSET_FORWARDING_DISABLED", error,
    "Traffic sent to the vlan floodset in vlan %d will be discarded%s.",
    "Broadcast and unknown DA traffic sent to the vlan floodset will be discarded in this VLAN. "
    "The vlan floodset could not be programmed because hardware resources are full.",
    "Remove multicast groups or vlans in order to reduce hardware usage. When hardware resources "
    "are freed, the vlan floodset will automatically be programmed",
    minInterval, maxInterval, 0);

Zet::LogHandle ETH_VLAN_FLOODSET_FORWARDING_RESUMED(
    "ETH_VLAN_FLOODSET_FORWARDING_RESUMED", error,
    "Traffic sent to the vlan floodset will be forwarded normally in vlan %d",
    "Broadcast and unknown DA traffic sent to the vlan floodset will be forwarded normally in this "
    "VLAN.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED(
    "ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED", error,
    "Traffic sent to the vxlan core side floodset in vlan %d will be discarded%s.",
    "Broadcast and unknown DA traffic sent to the vlan floodset will be discarded in this VLAN. "
    "The vxlan core side floodset could not be programmed because hardware resources are full.",
    "Remove multicast groups or vlans in order to reduce hardware usage. When hardware resources "
    "are freed, the vlan floodset will automatically be programmed",
    minInterval, maxInterval, 0);

Zet::LogHandle ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED(
    "ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED", error,
    "Traffic sent to the vxlan core side floodset will be forwarded normally in vlan %d",
    "Broadcast and unknown DA traffic sent to the vxlan core side floodset will be forwarded "
    "normally in this VLAN.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle MROUTE_FASTDROP_LIMIT_EXCEEDED(
    "MROUTE_FASTDROP_LIMIT_EXCEEDED", warning,
    "This device has reached the software limit for fastdrop entries in VRF %s",
    "Increase the number of allowed fastdrop entries or some rpf failures will continue coming to "
    "cpu.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED(
    "MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED", warning,
    "This device is no longer at the software limit for fastdrop entriesin VRF %s.",
    "Rpf failures will install fastdrop entries and no longer come to cpu.", Zet::NoActionRequired,
    minInterval, maxInterval, 0);

Zet::LogHandle BIDIR_RPA_RESOURCE_FULL(
    "BIDIR_RPA_RESOURCE_FULL", error, "RPA used in Pim bidirectional has exceeded the limit.",
    "Please make sure the number of RP used for Pim Bidirectional from BSR and static RP "
    "configuration are not exceeding the limit.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle PREFIX_MROUTE_HW_RESOURCE_FULL(
    "PREFIX_MROUTE_HW_RESOURCE_FULL", error,
    "Hardware resources in TCAM are insufficient to program all multicast prefix routes.",
    "To solve this issue, reconfigure the network to reduce the size of the multicast prefix "
    "routes. When the prefix routes reduces, the switch automatically programs any unprogrammed "
    "multicast prefix routes in hardware. ",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

Zet::LogHandle PREFIX_MROUTE_HW_RESOURCE_NORMAL(
    "PREFIX_MROUTE_HW_RESOURCE_NORMAL", error,
    "All multicast prefix routes are programmed in TCAM.",
    "The switch was able to program all the multicast prefix routes in TCAM and normal hardware "
    "routing has resumed.",
    Zet::NoActionRequired, minInterval, maxInterval, 0);

}  // namespace Brindle
