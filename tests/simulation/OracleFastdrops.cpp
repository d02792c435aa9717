#include "tests/simulation/OracleFastdrops.h"

namespace Simulation {

using namespace Shoal::Multicast::Fib;
using Nettle::IntfId;

// --- Where failures belong

IntfId FastdropRules::intfOf(U32 vlan) const {
  return records_.intfVlanIdTable->vlanIdToIntfId(Bridging::VlanIdOrNone(vlan));
}

L3::VrfName FastdropRules::vrfOf(U32 vlan) const {
  IntfId const intf = intfOf(vlan);
  auto const * status = intf ? records_.ipStatus->ipIntfStatus(intf) : nullptr;
  return status && !status->vrf().empty() ? status->vrf() : L3::VrfName::defaultVrf();
}

bool FastdropRules::mayBeEnabled(L3::VrfName vrf, U32 vlan) const {
  auto const * config = records_.mfibVrfConfig->config(vrf);
  if (config && !config->fastdrop()) return false;
  IntfId const intf = intfOf(vlan);
  auto const * intfConfig = intf ? records_.mfibVrfConfig->intfConfig(intf) : nullptr;
  return !intfConfig || !intfConfig->noFastdrop();
}

U32 FastdropRules::limit(L3::VrfName vrf) const {
  auto const * config = records_.mfibVrfConfig->config(vrf);
  return config ? config->maxFastdrops() : 0;
}

// --- One route

// In the order of the outputs' indices. An accepting interface beyond the first that sends nothing
// does not count; nor does anything else of one that checks no reverse path.
template <class F> void FastdropRules::eachOutput(ExpectedRoute const & route, F f) const {
  bool accepted = false;
  for (auto i = route.record.oifIteratorConst(); i; i.advance()) {
    auto const oif = route.table->oifIndexIntf(i.index());
    U32 const vlan = records_.intfVlanIdTable->intfIdToVlanId(oif.intf).value();
    bool const accepts = oif.properties & oifAccept, sends = oif.properties & oifForward;
    bool const checksNothing = oif.properties & oifNoRpf;
    if (!vlan) {
      accepted |= accepts && checksNothing;
      continue;
    }
    if (accepts && accepted && !sends) continue;
    bool const first = accepts && !accepted;
    accepted |= accepts;
    if (first && checksNothing) continue;
    f(oif, vlan);
  }
}

bool FastdropRules::ignores(ExpectedRoute const & route, U32 vlan) const {
  IntfId const intf = intfOf(vlan);
  if (vlan == route.vlan || !intf) return true;
  for (auto i = route.record.oifIteratorConst(); i; i.advance()) {
    auto const oif = route.table->oifIndexIntf(i.index());
    if (oif.intf != intf) continue;
    bool const takesOver = fastFailover(intf) && (oif.properties & oifForward);
    if (oif.properties & oifFrr || (oif.properties & oifNotify && !takesOver)) return true;
  }
  bool const isBidirectional = route.record.isStarG() && route.rpa != rpaNone;
  return isBorder(vlan) && !route.vlan && !route.outputs.members.empty() && !isBidirectional;
}

bool FastdropRules::receives(ExpectedRoute const & route, U32 vlan) const {
  bool found = false;
  eachOutput(route, [&](OifIndexIntf const & oif, U32 at) {
    if (at != vlan) return;
    bool const takesOver = fastFailover(oif.intf) && (oif.properties & oifForward);
    found |= route.rpa != rpaNone || (oif.properties & (oifAccept | oifNotify) && !takesOver);
  });
  return found;
}

bool FastdropRules::forbids(ExpectedRoute const & route, U32 vlan) const {
  bool const atBorder = isBorder(vlan) && !route.vlan && !route.outputs.members.empty();
  return atBorder || receives(route, vlan) || isReplaced(route, vlan);
}

bool FastdropRules::isInput(ExpectedRoute const & route, U32 vlan) {
  if (vlan == route.vlan) return true;
  for (auto const & side : {route.notify, route.fastdrop, route.frr}) {
    if (side && side->vlan == vlan) return true;
  }
  return false;
}

// The first persistent fastdrop and the first backup count, the latter even where it comes to
// nothing since the route receives there.
bool FastdropRules::isReplaced(ExpectedRoute const & route, U32 vlan) const {
  Route const & record = route.record;
  U32 persistent = 0, backup = 0;
  eachOutput(route, [&](OifIndexIntf const & oif, U32 at) {
    bool const sends = oif.properties & oifForward;
    if (oif.properties & oifPersistentFastdrop && !sends && !persistent) persistent = at;
    bool const same = oif.intf == record.iif() || oif.intf == record.staticFastdropIntf() ||
                      (oif.intf == record.notify() && record.notifyProgrammable());
    if (oif.properties & oifFrr && !same && !backup) backup = at;
  });
  return vlan == persistent || vlan == backup;
}

bool FastdropRules::isBorder(U32 vlan) const {
  for (IntfId intf : records_.mbrIntf->intf().items()) {
    if (records_.intfVlanIdTable->intfIdToVlanId(intf).value() == vlan) return true;
  }
  return false;
}

bool FastdropRules::fastFailover(IntfId intf) const {
  return records_.sparseModeStatus->fastFailoverIntf(intf);
}

}  // namespace Simulation
