#include "mira/FdbReactors.h"

#include "mira/Expansion.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Routing::Multicast::Fib::makeRouteKeyEthGroup;

namespace {

Zet::TraceHandle traceHandle("FdbReactors", false);

}  // namespace

void ZetBrFdbConfig::handleBrEthGroup() {
  if (!config()) return;
  auto const & groups = config()->ethGroup();
  for (auto i = groups.begin(); i; i.advance()) handleBrEthGroup(i.key());
}

void ZetBrFdbConfig::handleBrEthGroup(Nettle::EthAddr const & group) {
  if (isIgmpSnoopingEthAddr(group)) return;
  auto const * ethGroup = config()->ethGroup(group);
  zetEthGroup_.follow(group, ethGroup);
  if (!root_->initialized()) return;
  SKEIN("ZetBrFdbConfig::handleBrEthGroup ", vid_, " ", group);
  auto const key = makeRouteKeyEthGroup(vid_, group);
  if (l2Enabled(*root_, vid_) && ethGroup) {
    ZET_TRACE(5, "creating l2 route for key " << key.pretty());
    root_->doMaybeAddL2Route(vid_, key);
  } else {
    ZET_TRACE(5, "Deleting l2 route for key " << key.pretty());
    root_->l2RouteDel(key);
  }
}

void ZetBrFdbConfig::handleIntf(Nettle::EthAddr const & group) {
  if (!root_->initialized() || !root_->miraL2()) return;
  SKEIN("ZetBrFdbConfig::handleIntf ", vid_, " ", group);
  auto const & table = root_->mrouteTableColl()->l2FloodsetTable();
  if (Mroute * const route = table->mroute(makeRouteKeyEthGroup(vid_, group))) {
    root_->miraL2()->markMrouteDirty(*route);
  }
}

void ZetBrFdbConfig::handleDel() {
  if (!root_->initialized()) return;
  for (auto i = zetEthGroup_.begin(); i; i.advance()) {
    root_->l2RouteDel(makeRouteKeyEthGroup(vid_, i.key()));
  }
}

}  // namespace Brindle
