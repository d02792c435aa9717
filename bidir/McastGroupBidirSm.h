// The group prefixes of one VRF that are bidirectional (RFC 5015), in the chips: each in all of
// them or in none. One that a chip had no room for is kept, and tried again when a chip says that
// it has room. The end of the machine takes nothing out of the chips.
#pragma once

#include "fabric/TcamEntry.h"
#include "platform/Clock.h"
#include "platform/KeyedEntity.h"
#include "platform/Reactor.h"
#include "state/ShoalBidir.h"

namespace Brindle {

class BRINDLE_API McastGroupBidirSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using BidirStatus = Shoal::Multicast::Fib::BidirStatus;
  using IpGenPrefix = Nettle::IpGenPrefix;

  // A prefix that stands in the chips, with its entry in each.
  class GroupInfo final : public Zet::KeyedEntity<IpGenPrefix>,
                          private ChipHandles<BidirGroupChip, &BidirGroupChip::doDelBidirGroup> {
   public:
    using KeyedEntity::KeyedEntity;
    IpGenPrefix const & prefix() const { return key(); }

    auto const & bidirGroupHandle() const { return routeHandle(); }
    // Null if the chip has none.
    RouteHandle bidirGroupHandle(Zet::Ptr<BidirGroupChip> const & chip) const {
      Entry const * const held = routeHandle().find(chip->name());
      return held && held->chip == chip ? held->handle : RouteHandle();
    }
    void bidirGroupHandleIs(Zet::Ptr<BidirGroupChip> const & chip, RouteHandle handle) {
      routeHandleIs(chip, handle);
    }
    // Takes the entries out of the chips.
    using ChipHandles::doDelete;
  };

  McastGroupBidirSm(L3::VrfName vrfName, Zet::Ptr<BidirStatus const> const & bidirStatus,
                    Zet::Ptr<Fabric> const & fabric, Zet::Ptr<Zet::Clock const> const & clock);
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName const & fwkKey() const { return vrfName_; }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<BidirStatus const> bidirStatus() const { return zetBidirStatus_.target(); }
  bool initialized() const { return initialized_; }

  // What stands, and what waits for room.
  auto const & groupInfo() const { return groupInfo_; }
  GroupInfo const * groupInfo(IpGenPrefix const & k) const { return groupInfo_.find(k); }
  auto const & unprogrammedPrefix() const { return unprogrammedPrefix_; }
  void unprogrammedPrefixIs(IpGenPrefix const & k, bool v) {
    v ? unprogrammedPrefix_.insert(k) : unprogrammedPrefix_.del(k);
  }
  void unprogrammedPrefixDel(IpGenPrefix const & k) { unprogrammedPrefix_.del(k); }

  // A prefix has come, gone or changed; any may have.
  void handleBidirGroup(IpGenPrefix const & prefix);
  void handleBidirGroup();
  void addGroupPrefix(IpGenPrefix const & prefix);
  void delGroupPrefix(IpGenPrefix const & prefix);
  // Has the chips check what they hold.
  void verifyGroupPrefix(IpGenPrefix const & prefix);

  void handleTcamFree();
  // The retry pass.
  void handleClock();

 private:
  struct ZetBidirStatus final : Zet::Reactor<BidirStatus const, McastGroupBidirSm> {
    using Reactor::Reactor;
    void onBidirGroup(IpGenPrefix const & prefix) override { sm()->handleBidirGroup(prefix); }
  };
  struct ZetFabric final : Zet::Reactor<Fabric, McastGroupBidirSm> {
    using Reactor::Reactor;
    void onBidirGroupChip(Zet::Name const & chip) override { sm()->handleChip(chip); }
    void immediatePass() override { sm()->handleChip(); }
  };
  struct ZetChip final : Zet::KeyedReactor<Zet::Name, BidirGroupChip, McastGroupBidirSm> {
    using KeyedReactor::KeyedReactor;
    void onMcastGroupTcamFree() override { handleTcamFree(); }
    void handleTcamFree() { sm()->handleTcamFree(); }
  };
  struct ZetClock final : Zet::Reactor<Zet::Clock const, McastGroupBidirSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };

  void handleInitialized();
  void handleChip(Zet::Name name);
  void handleChip();
  bool addTo(Zet::Ptr<BidirGroupChip> const & chip, GroupInfo & info);

  // Fixed at construction
  L3::VrfName const vrfName_;
  Zet::Ptr<Fabric> const fabric_;

  // State
  bool initialized_ = false;
  Zet::HashMap<IpGenPrefix, GroupInfo> groupInfo_;
  Zet::OrderedSet<IpGenPrefix> unprogrammedPrefix_;

  // Reactors
  Zet::ReactorPtr<ZetBidirStatus> zetBidirStatus_{this};
  Zet::ReactorPtr<ZetFabric> zetFabric_{this};
  Zet::ReactorMap<Zet::Name, ZetChip> zetChip_{this};
  Zet::ReactorPtr<ZetClock> clock_{this};
};

}  // namespace Brindle
