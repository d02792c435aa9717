#include "programmer/L2Status.h"

#include "platform/Assert.h"

namespace Brindle {

namespace Fib = Routing::Multicast::Fib;
using Bridging::VlanId;

namespace {

constexpr L2StatusRow rows[] = {
    {},
    {L2StatusRow::always, VlanStatus::VlanFloodsetHwFlags::noOifSetBit, 0, 0},
    {L2StatusRow::withoutEntry, VlanStatus::DefaultRouteHwFlags::noIntfsBit,
     VlanStatus::DefaultRouteHwFlags::noRouteBit, 0},
    {L2StatusRow::never, EthGroup::HwFlags::noIntfsBit, 0, EthGroup::HwFlags::noMacTableBit},
    {L2StatusRow::never, McastGroupStatus::HwFlags::noOifSetBit, 0, 0},
    {L2StatusRow::always, VlanStatus::VxlanCoreSideFloodsetHwFlags::noOifSetBit, 0, 0},
    {L2StatusRow::never, EvpnMultihomeFloodset::HwFlags::noIntfsBit, 0, 0},
};

VlanId vlanOf(Mroute const & mroute) { return VlanId(mroute.acceptingVlanId()); }

template <class Map, class K> auto & findOrMake(Map & map, K const & key) {
  auto & member = map.at(key);
  using Member = std::remove_cvref_t<decltype(*member)>;
  if (!member) member = Zet::make<Member>(key);
  return *member;
}

}  // namespace

L2StatusRow const & l2StatusRow(Fib::RouteKeyType kind) {
  ZET_ASSERT(kind != Fib::unknown_, "0 && \"Unknown RouteKey type\"");
  ZET_ASSERT(kind != Fib::mroute_, "false && \"Should never be called\"");
  return rows[kind];
}

bool checkVlanStatusEmpty(VlanStatus const & vlan) {
  return vlan.vlanFloodsetStatus() == ProgrammingStatus::notPresent &&
         vlan.vxlanCoreSideFloodsetStatus() == ProgrammingStatus::notPresent &&
         vlan.defaultRouteStatus() == ProgrammingStatus::notPresent && vlan.ethGroup().empty() &&
         vlan.evpnMultihomeFloodsets().empty();
}

ProgrammedSet * L2Status::programmedSet(Mroute const & mroute) const {
  return programmedSet(mroute.key(), mroute.acceptingVlanId());
}

ProgrammedSet * L2Status::programmedSet(Fib::IpGenRouteKey const & key,
                                        Bridging::VlanIdOrNone vlanId) const {
  auto const setOf = [](auto const & record) {
    return record ? &record->programmedSet() : nullptr;
  };
  if (key.kind() == Fib::mcastGroup_) return setOf(mcastGroupStatus(key));
  VlanStatus * const vlan = vlanId ? vlanStatus(VlanId(vlanId)) : nullptr;
  if (!vlan) return nullptr;
  switch (key.kind()) {
    case Fib::vlanFloodset_:
      return &vlan->vlanFloodset_;
    case Fib::multicastFloodset_:
      return &vlan->defaultRoute_;
    case Fib::vxlanCoreSideFloodset_:
      return &vlan->coreSide_;
    case Fib::ethGroup_:
      return setOf(vlan->ethGroup(key.ethAddr()));
    case Fib::evpnMultihomeFloodset_:
      return setOf(vlan->evpnMultihomeFloodsets(key.evpnTepIp()));
    default:
      ZET_ASSERT(false, "0 && \"Unknown RouteKey type\"");
  }
}

ProgrammedSet & L2Status::programmedSetIs(Mroute const & mroute) {
  Fib::IpGenRouteKey const & key = mroute.key();
  if (key.kind() == Fib::mcastGroup_) {
    return create<&NotifieeConst::onMcastGroupStatus>(mcastGroupStatus_, key)->programmedSet();
  }
  VlanId const vlanId = vlanOf(mroute);
  if (!vlanStatus(vlanId)) vlanStatus_.insert(Zet::make<VlanStatus>(vlanId));
  VlanStatus & vlan = *vlanStatus(vlanId);
  if (key.kind() == Fib::ethGroup_) findOrMake(vlan.ethGroup_, key.ethAddr());
  if (key.kind() == Fib::evpnMultihomeFloodset_) {
    findOrMake(vlan.evpnMultihomeFloodsets_, key.evpnTepIp());
  }
  return *programmedSet(mroute);
}

void L2Status::programmedSetDel(Mroute const & mroute) {
  Fib::IpGenRouteKey const & key = mroute.key();
  if (key.kind() == Fib::mcastGroup_) {
    erase<&NotifieeConst::onMcastGroupStatus>(mcastGroupStatus_, key);
    return;
  }
  Zet::Ptr<VlanStatus> const vlan = vlanStatus(vlanOf(mroute));
  if (!vlan) return;
  if (key.kind() == Fib::ethGroup_) {
    vlan->ethGroup_.del(key.ethAddr());
  } else if (key.kind() == Fib::evpnMultihomeFloodset_) {
    vlan->evpnMultihomeFloodsets_.del(key.evpnTepIp());
  } else {
    *programmedSet(mroute) = {};
  }
  if (checkVlanStatusEmpty(*vlan)) vlanStatus_.del(vlan->vlanId());
}

}  // namespace Brindle
