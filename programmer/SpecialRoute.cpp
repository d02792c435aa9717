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
        .frrRoute = false,
    },
    {
        .kind = EntryKind::staticFastdrop,
        .vlan = &Mroute::staticFastdropVlanId,
        .oifSet = &Mroute::staticFastdropOifSet,
        .intfIdIs = &SpecialRoute::RouteStatus::staticFastdropIntfIdIs,
        .fastdrop = true,
        .takesRpaId = true,
        .frrRoute = false,
    },
    {
        .kind = EntryKind::frr,
        .vlan = &Mroute::frrVlanId,
        .oifSet = &Mroute::frrOifSet,
        .intfIdIs = &SpecialRoute::RouteStatus::frrIntfIdIs,
        .fastdrop = false,
        .takesRpaId = false,
        .frrRoute = true,
    },
}};

}  // namespace Brindle
