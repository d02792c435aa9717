#include "mira/L2Floodset.h"

#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using namespace Routing::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("L2Floodset", false);

// The address that stands for a floodset in the choice of a LAG's designated member.
Nettle::EthAddr marker(U8 number) {
  return Nettle::EthAddr(Nettle::EthAddr::Bytes{0, 0, 0, 0, 0, number});
}

Nettle::EthAddr groupOf(IpGenRouteKey const & key) {
  switch (key.kind()) {
    case ethGroup_:
      return key.ethAddr();
    case vlanFloodset_:
    case evpnMultihomeFloodset_:
      return marker(0);
    case vxlanCoreSideFloodset_:
      return marker(2);
    default:
      return marker(1);
  }
}

}  // namespace

bool MiraL2::doRefreshL2Floodset(Mroute & route) {
  BlockTimerMsg const timer("MiraL2::doRefreshL2Floodset");
  SKEIN("MiraL2::doRefreshL2Floodset ", route.key());
  return L2Floodset(*this, route).refresh();
}

L2Floodset::L2Floodset(MiraL2 const & l2, Mroute & route)
    : l2_(l2),
      root_(*l2.miraRoot()),
      helper_(root_.miraHelper()),
      route_(route),
      kind_(route.key().kind()),
      vlan_(route.key().vlanId()),
      expansion_(root_, {kind_, groupOf(route.key())}, pvSet_) {}

bool L2Floodset::refresh() {
  route_.dirtyIs(false);  // first: the platform's operations may mark it anew
  try {
    return compute();
  } catch (...) {
    route_.dirtyIs(true);
    throw;
  }
}

bool L2Floodset::compute() {
  if (kind_ == evpnMultihomeFloodset_) {
    doAddEvpnMultihomeFloodsetPorts();
  } else {
    expansion_.addVlanToPortVlanSet(vlan_);
  }
  expansion_.doResolveAndAddLagsToPvSet(vlan_, L3::VrfName::defaultVrf(), route_.key());
  finishSet();
  bool const changed = storeSet();
  storeFilters();
  if (kind_ == vlanFloodset_ && helper_) helper_->handlePortVlanSetComputeDone(vlan_);
  return changed;
}

// Unlike the ports of a VLAN these are told one by one. A peer that departs takes its route along
// in the same event, so there is one.
void L2Floodset::doAddEvpnMultihomeFloodsetPorts() {
  ZET_ASSERT(route_.key().kind() == evpnMultihomeFloodset_,
             "mroute->key().kind() == Routing::Multicast::Fib::evpnMultihomeFloodset_");
  if (!root_.vlanStatusDir()->vlanStatus(vlan_)) {
    ZET_TRACE(8, "no vlan status for vid " << vlan_);
    return;
  }
  if (!root_.brTopo()->vidToTopoMap(vlan_)) {
    ZET_TRACE(8, "no topoconfig for vlan " << vlan_);
    return;
  }
  if (root_.disableL2Flooding()) {
    ZET_TRACE(8, "L2 flooding is disabled");
    return;
  }
  auto const * filteredFloodset = l2_.peerFloodStatus(vlan_, route_.key().evpnTepIp());
  ZET_ASSERT(filteredFloodset, "filteredFloodset");
  auto const floodFilter = filteredFloodset->floodFilter();  // may change under the helper
  for (Nettle::IntfId intf : floodFilter.items()) {
    expansion_.maybeAddPvToPvSet(vlan_, {intf, OutLif(vlan_), 0});
  }
}

bool L2Floodset::lacksCoreSideFloodset() const {
  return root_.vxlanVlan(vlan_) && !(helper_ && helper_->useVxlanCoreSideFloodset());
}

void L2Floodset::finishSet() {
  pvSet_.settle();
  if (!root_.ignoreVlanForL2Groups()) pvSet_.vlanIs(vlan_.value());
  if (helper_) {
    pvSet_.featureFlagIs(
        helper_->doGetMiraFeatureFlag(L3::VrfName::defaultVrf(), route_.key(), pvSet_, nullptr));
  }
  pvSet_.keyKindIs(kind_);
  pvSet_.allowSharingIs(root_.allowL2FloodsetSharing());
  // Unknown multicast of a VLAN that is routed has to be seen by PIM.
  pvSet_.toCpuIs(kind_ == multicastFloodset_ ? root_.pimEnabled()->pimVlanEnabled(vlan_)
                                             : expansion_.cpuPresent());
  pvSet_.flagsIs(lacksCoreSideFloodset() ? PortVlanSet::vxlanFlag : 0);
  pvSet_.saveHash();
}

bool L2Floodset::storeSet() {
  route_.acceptingVlanIdIs(vlan_);
  if (route_.oifSet() && route_.oifSet()->doCmpPortVlanSet(pvSet_)) return false;
  route_.oifSetIs(l2_.mrouteTableColl()->oifSetIs(pvSet_));
  return true;
}

// The version comes last: with it the programmers look at all the rest.
void L2Floodset::storeFilters() {
  route_.vlanFilterIs(vlanBit(vlan_));
  route_.vlanPortFilterIs(expansion_.vlanPortFilter());
  route_.lagFilterIs(expansion_.lagFilter());
  route_.vlanGroupFilterIs(0);
  route_.versionIs(Keel::nextGeneration(route_.version()));
}

}  // namespace Brindle
