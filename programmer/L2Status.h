// What stands in hardware of the L2 routes, as the programmer for chips that answer later tells the
// show commands and the group service: a record for each route, found by its key.
#pragma once

#include "model/Mroute.h"
#include "model/OifSet.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"

namespace Brindle {

// How a route stands in hardware.
enum class ProgrammingStatus : U8 { notPresent, notProgrammed, inProgress, programmed };
constexpr auto programmingStatusNames = Zet::enumNames<ProgrammingStatus::programmed>(
    "notPresent", "notProgrammed", "inProgress", "programmed");
constexpr auto & zetNames(ProgrammingStatus) { return programmingStatusNames; }

// What all records hold.
struct ProgrammedSet {
  ProgrammingStatus status = ProgrammingStatus::notPresent;
  // What the route lacks: bits whose meaning differs by kind.
  U32 hwFlags = 0;
  // The members in hardware, or null; of floodsets the new ones while chips are being told them.
  Zet::Ptr<OifSet const> oifSet;
};

// A static or snooped group of a VLAN.
class EthGroup final : public Zet::KeyedEntity<Nettle::EthAddr> {
 public:
  struct HwFlags {
    bool noMacTable = false;
    bool noIntfs = false;

    static constexpr U32 noMacTableBit = 1;
    static constexpr U32 noIntfsBit = 2;
    static constexpr char const * zetType = "Brindle::EthGroup::HwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&HwFlags::noMacTable>("noMacTable"),
                        Zet::field<&HwFlags::noIntfs>("noIntfs")};
    }
  };
  using KeyedEntity::KeyedEntity;

  Nettle::EthAddr const & ethAddr() const { return key(); }
  ProgrammingStatus status() const { return set_.status; }
  Zet::Ptr<OifSet const> const & oifSet() const { return set_.oifSet; }
  HwFlags hwFlags() const {
    return {(set_.hwFlags & HwFlags::noMacTableBit) != 0,
            (set_.hwFlags & HwFlags::noIntfsBit) != 0};
  }
  ProgrammedSet & programmedSet() { return set_; }

 private:
  ProgrammedSet set_;
};

// What of a VLAN may be flooded towards one EVPN peer.
class EvpnMultihomeFloodset final : public Zet::KeyedEntity<Nettle::IpGenAddr> {
 public:
  struct HwFlags {
    bool unused = false;
    bool noIntfs = false;

    static constexpr U32 noIntfsBit = 2;
    static constexpr char const * zetType = "Brindle::EvpnMultihomeFloodset::HwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&HwFlags::unused>("unused"),
                        Zet::field<&HwFlags::noIntfs>("noIntfs")};
    }
  };
  using KeyedEntity::KeyedEntity;

  Nettle::IpGenAddr const & tepIp() const { return key(); }
  ProgrammingStatus status() const { return set_.status; }
  Zet::Ptr<OifSet const> const & oifSet() const { return set_.oifSet; }
  HwFlags hwFlags() const { return {false, (set_.hwFlags & HwFlags::noIntfsBit) != 0}; }
  ProgrammedSet & programmedSet() { return set_; }

 private:
  ProgrammedSet set_;
};

// A VLAN: its three floodsets, and its groups and peers.
class BRINDLE_API VlanStatus final : public Zet::KeyedEntity<Bridging::VlanId> {
 public:
  struct VlanFloodsetHwFlags {
    bool unused = false;
    bool noOifSet = false;

    static constexpr U32 noOifSetBit = 2;
    static constexpr char const * zetType = "Brindle::VlanStatus::VlanFloodsetHwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&VlanFloodsetHwFlags::unused>("unused"),
                        Zet::field<&VlanFloodsetHwFlags::noOifSet>("noOifSet")};
    }
  };
  struct VxlanCoreSideFloodsetHwFlags {
    bool unused = false;
    bool noOifSet = false;

    static constexpr U32 noOifSetBit = 2;
    static constexpr char const * zetType = "Brindle::VlanStatus::VxlanCoreSideFloodsetHwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&VxlanCoreSideFloodsetHwFlags::unused>("unused"),
                        Zet::field<&VxlanCoreSideFloodsetHwFlags::noOifSet>("noOifSet")};
    }
  };
  struct DefaultRouteHwFlags {
    bool noRoute = false;
    bool noIntfs = false;

    static constexpr U32 noRouteBit = 1;
    static constexpr U32 noIntfsBit = 2;
    static constexpr char const * zetType = "Brindle::VlanStatus::DefaultRouteHwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&DefaultRouteHwFlags::noRoute>("noRoute"),
                        Zet::field<&DefaultRouteHwFlags::noIntfs>("noIntfs")};
    }
  };
  using KeyedEntity::KeyedEntity;

  Bridging::VlanId vlanId() const { return key(); }

  ProgrammingStatus vlanFloodsetStatus() const { return vlanFloodset_.status; }
  Zet::Ptr<OifSet const> const & vlanFloodsetOifSet() const { return vlanFloodset_.oifSet; }
  VlanFloodsetHwFlags vlanFloodsetHwFlags() const {
    return {false, (vlanFloodset_.hwFlags & VlanFloodsetHwFlags::noOifSetBit) != 0};
  }
  ProgrammingStatus vxlanCoreSideFloodsetStatus() const { return coreSide_.status; }
  Zet::Ptr<OifSet const> const & vxlanCoreSideFloodsetOifSet() const { return coreSide_.oifSet; }
  VxlanCoreSideFloodsetHwFlags vxlanCoreSideFloodsetHwFlags() const {
    return {false, (coreSide_.hwFlags & VxlanCoreSideFloodsetHwFlags::noOifSetBit) != 0};
  }
  ProgrammingStatus defaultRouteStatus() const { return defaultRoute_.status; }
  Zet::Ptr<OifSet const> const & defaultRouteOifSet() const { return defaultRoute_.oifSet; }
  DefaultRouteHwFlags defaultRouteHwFlags() const {
    return {(defaultRoute_.hwFlags & DefaultRouteHwFlags::noRouteBit) != 0,
            (defaultRoute_.hwFlags & DefaultRouteHwFlags::noIntfsBit) != 0};
  }

  auto const & ethGroup() const { return ethGroup_; }
  Zet::Ptr<EthGroup> ethGroup(Nettle::EthAddr const & k) const { return lookup(ethGroup_, k); }
  auto const & evpnMultihomeFloodsets() const { return evpnMultihomeFloodsets_; }
  Zet::Ptr<EvpnMultihomeFloodset> evpnMultihomeFloodsets(Nettle::IpGenAddr const & k) const {
    return lookup(evpnMultihomeFloodsets_, k);
  }

 private:
  friend class L2Status;

  ProgrammedSet vlanFloodset_;
  ProgrammedSet coreSide_;
  ProgrammedSet defaultRoute_;
  Zet::RbTreeMap<Nettle::EthAddr, Zet::Ptr<EthGroup>> ethGroup_;
  Zet::RbTreeMap<Nettle::IpGenAddr, Zet::Ptr<EvpnMultihomeFloodset>> evpnMultihomeFloodsets_;
};

// Nothing of the VLAN is in hardware or wanted there.
BRINDLE_API bool checkVlanStatusEmpty(VlanStatus const &);

// A group that an agent asked for.
class McastGroupStatus final : public Zet::KeyedEntity<Routing::Multicast::Fib::IpGenRouteKey> {
 public:
  struct HwFlags {
    bool noOifSet = false;

    static constexpr U32 noOifSetBit = 1;
    static constexpr char const * zetType = "Brindle::McastGroupStatus::HwFlags";
    static constexpr auto zetFields() {
      return std::array{Zet::field<&HwFlags::noOifSet>("noOifSet")};
    }
  };
  class NotifieeConst : public Zet::NotifieeOf<McastGroupStatus, Zet::Entity> {
   public:
    virtual void onResponseId() {}
  };
  using KeyedEntity::KeyedEntity;

  ProgrammingStatus status() const { return set_.status; }
  Zet::Ptr<OifSet const> const & oifSet() const { return set_.oifSet; }
  HwFlags hwFlags() const { return {(set_.hwFlags & HwFlags::noOifSetBit) != 0}; }
  ProgrammedSet & programmedSet() { return set_; }

  // The request that this is about, and how often its client was answered.
  U32 requestId() const { return requestId_; }
  void requestIdIs(U32 v) { requestId_ = v; }
  U32 responseId() const { return responseId_; }
  void responseIdInc(U32 n) { assign(responseId_, responseId_ + n, &NotifieeConst::onResponseId); }
  // The set's id in hardware, the same on all chips; 0 if it does not stand.
  U32 multicastId() const { return multicastId_; }
  void multicastIdIs(U32 v) { multicastId_ = v; }
  bool success() const { return success_; }
  void successIs(bool v) { success_ = v; }

 private:
  ProgrammedSet set_;
  U32 requestId_ = 0;
  U32 responseId_ = 0;
  U32 multicastId_ = 0;
  bool success_ = false;
};

// Kept by the machine of the default VRF, the only one that has L2 routes.
class BRINDLE_API L2Status final : public Zet::Entity {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  class NotifieeConst : public Zet::NotifieeOf<L2Status, Zet::Entity> {
   public:
    virtual void onMcastGroupStatus(Key const &) {}
  };

  auto const & vlanStatus() const { return vlanStatus_; }
  VlanStatus * vlanStatus(Bridging::VlanId k) const { return vlanStatus_.find(k); }
  auto const & mcastGroupStatus() const { return mcastGroupStatus_; }
  McastGroupStatus * mcastGroupStatus(Key const & k) const { return mcastGroupStatus_.find(k); }

  // What the record of an L2 route holds, null if there is none; found or made; taken away, and
  // with it a VLAN that has nothing left. The last two throw RangeException for a route without a
  // VLAN.
  ProgrammedSet * programmedSet(Mroute const &) const;
  ProgrammedSet * programmedSet(Routing::Multicast::Fib::IpGenRouteKey const &,
                                Bridging::VlanIdOrNone) const;
  ProgrammedSet & programmedSetIs(Mroute const &);
  void programmedSetDel(Mroute const &);

 private:
  Zet::HashMap<Bridging::VlanId, VlanStatus> vlanStatus_;
  Zet::HashMap<Key, McastGroupStatus> mcastGroupStatus_;
};

// How the kinds of L2 routes differ in their records.
struct L2StatusRow {
  // The new set shows while chips are told of it: always, or where the kind has no entry.
  enum { never, withoutEntry, always } showsPending;
  // The flag that tells of each byte of a failure reason: output set, entry, MAC table.
  U32 noOifSet;
  U32 noRoute;
  U32 noMacTable;
};
BRINDLE_API L2StatusRow const & l2StatusRow(Routing::Multicast::Fib::RouteKeyType kind);

}  // namespace Brindle
