#include "mira/FdbReactors.h"

#include "mira/Expansion.h"
#include "mira/MiraL2.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"

namespace Brindle {

using Routing::Multicast::Fib::makeRouteKeyEthGroup;

void ZetBrFdbConfig::handleBrEthGroup() {
  if (!config()) return;
  auto const & groups = config()->ethGroup();
  for (auto i = groups.begin(); i; i.advance()) handleBrEthGroup(i.key());
}

void ZetBrFdbConfig::handleBrEthGroup(Nettle::EthAddr const & group) {
  if (isIgmpSnoopingEthAddr(group)) return;
  bool const another = zetEthGroup_.follow(group, config() ? config()->ethGroup(group) : nullptr);
  if (!root_->initialized()) return;
  SKEIN("ZetBrFdbConfig::handleBrEthGroup ", vid_, " ", group);
  root_->doEnableDisableEthGroup(group, vid_);
  if (another) handleIntf(group);  // its ports may be others
}

void ZetBrFdbConfig::handleIntf(Nettle::EthAddr const & group) {
  if (!root_->initialized() || !root_->miraL2()) return;
  SKEIN("ZetBrFdbConfig::handleIntf ", vid_, " ", group);
  root_->miraL2()->markMrouteDirty(makeRouteKeyEthGroup(vid_, group));
}

void ZetBrFdbConfig::handleDel() {
  if (!root_->initialized()) return;
  for (auto i = zetEthGroup_.begin(); i; i.advance()) {
    root_->doEnableDisableEthGroup(i.key(), vid_);
  }
}

}  // namespace Brindle
