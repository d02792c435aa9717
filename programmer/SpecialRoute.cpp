#include "programmer/SpecialRoute.h"

namespace Brindle {

std::array<SpecialRoute, 3> const specialRoutes = {{
    {
        .kind = EntryKind::notify,
        .vlan = &Mroute::notifyingVlanId,
        .oifSet = &Mroute::notifyOifSet,
        .intfIdIs = &SpecialRoute::RouteStatus::notifyingIntfIdIs,
        .fastdrop = false,
        .takesRpaId = true,
        .deleting = "Deleting existing notify route ",
        .mismatch = " as notify interface does not match ",
        .allocating = "Allocating notifying route on vlan ",
        .failed = "Failed programming notify route. failed is ",
        .succeeded = "Succeeded in programming notify route: ",
        .finished = "(): finish programming notify routes for ",
    },
    {
        .kind = EntryKind::staticFastdrop,
        .vlan = &Mroute::staticFastdropVlanId,
        .oifSet = &Mroute::staticFastdropOifSet,
        .intfIdIs = &SpecialRoute::RouteStatus::staticFastdropIntfIdIs,
        .fastdrop = true,
        .takesRpaId = true,
        .deleting = "Deleting existing persistent fastdrop route ",
        .mismatch = " as persistent fastdrop interface does not match ",
        .allocating = "Allocating persistent fastdrop route on vlan ",
        .failed = "Failed programming perse fastdrop route. failed is ",
        .succeeded = "Succeeded in programming persistent fastdrop route: ",
        .finished = "(): finish programming pers fastdrop routes for ",
    },
    {
        .kind = EntryKind::frr,
        .vlan = &Mroute::frrVlanId,
        .oifSet = &Mroute::frrOifSet,
        .intfIdIs = &SpecialRoute::RouteStatus::frrIntfIdIs,
        .fastdrop = false,
        .takesRpaId = false,
        .deleting = "Deleting existing frr route ",
        .mismatch = " as frr interface does not match ",
        .allocating = "Allocating frr fastdrop route on vlan ",
        .failed = "Failed programming frr fastdrop route. failed is ",
        .succeeded = "Succeeded in programming frr fastdrop route: ",
        .finished = "(): finish programming frr fastdrop routes for ",
    },
}};

}  // namespace Brindle
