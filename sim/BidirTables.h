// The tables of a simulated chip for bidirectional PIM (RFC 5015): simulated chips of their own
// that also know what their entries are for, and what commands do to them.
#pragma once

#include <map>

#include "fabric/SimAsyncFabricBidir.h"
#include "fabric/SimFabricBidir.h"
#include "sim/Answers.h"

namespace Brindle::Sim {

// Group prefixes.
class GroupTable : public SimBidirGroupChip {
 public:
  static constexpr U32 defaultCapacity = 1000;
  struct Group {
    L3::VrfName vrf;
    Nettle::IpGenPrefix prefix;
    auto operator<=>(Group const &) const = default;
  };
  GroupTable(Zet::Name name, U32 index) : SimBidirGroupChip(name, index) {
    totalIs(defaultCapacity);
  }

  auto const & entries() const { return entries_; }
  bool holds(Group const & group) const;
  // More room is announced. Throws CommandError below what is in use.
  void capacityIs(U32 n);
  void announceRoom();
  void clear();

  void doAddBidirGroup(L3::VrfName, Nettle::IpGenPrefix const &) override;
  void doDelBidirGroup(RouteHandle) override;

 private:
  std::map<RouteHandle, Group> entries_;
};

// Profiles of the designated forwarder, by VLAN; of whichever kind of chips.
class ProfileTable {
 public:
  static constexpr U32 defaultCapacity = 4094;

  auto const & profiles() const { return profiles_; }
  virtual U32 capacity() const = 0;
  // More room is announced, if the chip announces such things. Throws CommandError below what is in
  // use.
  void capacityIs(U32 n);
  virtual void announceRoom() = 0;
  virtual void clear() = 0;

 protected:
  ~ProfileTable() = default;
  virtual void doSetCapacity(U32 n) = 0;

  std::map<U32, U64> profiles_;
};

class PromptProfileTable final : public SimBidirDfChip, public ProfileTable {
 public:
  PromptProfileTable(Zet::Name name, U32 index) : SimBidirDfChip(name, index) {
    dfTblSizeIs(defaultCapacity);
  }
  U32 capacity() const override { return dfTblSize(); }
  void announceRoom() override;
  void clear() override;

  void doAddDfProfile(Bridging::VlanIdOrNone, U64 bitmap) override;
  void doDelDfProfile(Bridging::VlanIdOrNone) override;

 private:
  void doSetCapacity(U32 n) override { dfTblSizeIs(n); }
};

// Ends its transactions as it is told to.
class LateProfileTable : public SimAsyncBidirDfChip, public ProfileTable, public Answering::Xacts {
 public:
  LateProfileTable(Zet::Name name, U32 index);
  Answering & answering() const { return *answering_; }
  U32 capacity() const override { return dfTblSize(); }
  void announceRoom() override {}  // what failed is tried again anyhow
  void clear() override;

  // By the VLAN of a transaction; there are no handles.
  bool isOpen(U32 vlan, RouteHandle) const override;
  bool isBlocked(U32, RouteHandle) const override { return false; }
  bool end(U32 vlan, RouteHandle, Keel::XactResult) override;

  XactPtr doAddDfProfile(Bridging::VlanIdOrNone, RpaBitmap, XactPtr const & blockingXact) override;
  void doDelDfProfile(Bridging::VlanIdOrNone) override;

 private:
  void doSetCapacity(U32 n) override { dfTblSizeIs(n); }

  std::map<U32, U64> pending_;
  Zet::Ptr<Answering> const answering_;
};

}  // namespace Brindle::Sim
