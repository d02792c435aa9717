#include "bidir/BidirRoot.h"

#include <exception>
#include <string>

#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("BidirRoot", false);

}  // namespace

BidirRoot::BidirRoot(Inputs const & in)
    : in_(in),
      mountInfo_{in.tables.empty() ? ZetShoal::shoalRoot() : std::string(in.tables.view())},
      mount_(Zet::make<ZetShoal::Mount>()) {
  if (!in_.clock) Zet::throwNullParameter("Brindle::BidirRoot::clock");
  if (!in_.intfVlanIdTable) Zet::throwNullParameter("Brindle::BidirRoot::intfVlanIdTable");
  zetVrfset_.attach(in_.vrfset);
}

void BidirRoot::handleInitialized() {
  initialized_ = true;
  if (!in_.vrfset) return;
  auto const & vrfs = in_.vrfset->bidirEnabledVrf();
  for (auto i = vrfs.begin(); i; i.advance()) handleBidirVrf(i.key());
}

void BidirRoot::handleBidirVrf(L3::VrfName vrf) {
  if (!initialized_) return;
  bool const isEnabled = in_.vrfset && in_.vrfset->bidirEnabledVrf(vrf);
  if (isEnabled == doHas(vrf)) return;
  SKEIN("BidirRoot::handleBidirVrf ", vrf, " enabled: ", isEnabled);
  std::string const path = Shoal::Multicast::Fib::bidirStatusPath(in_.af, vrf);
  if (!isEnabled) {
    doDelete(vrf);
    mount_->doUnmount(path);
    return;
  }
  ZET_TRACE(5, "create bidirGroupsm for vrf " << vrf);
  try {
    mount_->doMount(path, Shoal::Multicast::Fib::bidirStatusType, mountInfo_);
  } catch (std::exception const & e) {
    // The other VRFs go on.
    ZetShoal::SHOAL_TABLE_REFUSED.log({path + ": " + e.what()});
    return;
  }
  doMake(vrf, dynamic_cast<BidirStatus *>(mount_->getEntity(path).get()));
}

}  // namespace Brindle
