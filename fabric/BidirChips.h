// The parts of chips that serve bidirectional PIM (RFC 5015): tables of group prefixes, and of the
// interfaces on which the switch is designated forwarder. A platform derives from them; what it
// does not supply throws NoImplementationException.
#pragma once

#include "model/RouteHandle.h"
#include "platform/Entity.h"
#include "platform/IpGenAddr.h"
#include "platform/VlanId.h"
#include "platform/VrfName.h"

namespace Brindle {

class BRINDLE_API BidirGroupChip : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<BidirGroupChip, Zet::Entity> {
   public:
    virtual void onMcastGroupTcamFree() {}
  };
  BidirGroupChip(Zet::Name name, U32 index) : name_(name), index_(index) {}

  Zet::Name name() const override { return name_; }
  U32 index() const { return index_; }
  virtual bool hasBackupSupport() const { return false; }

  // The result of the last doAddBidirGroup, null if it failed.
  RouteHandle bidirGroupHandle() const { return bidirGroupHandle_; }
  void bidirGroupHandleIs(RouteHandle v) { bidirGroupHandle_ = v; }
  // The chip has room for group prefixes.
  bool mcastGroupTcamFree() const { return mcastGroupTcamFree_; }
  void mcastGroupTcamFreeIs(bool v) {
    assign(mcastGroupTcamFree_, v, &NotifieeConst::onMcastGroupTcamFree);
  }

  // Adds an entry. Sets bidirGroupHandle(), or sets it to null and clears mcastGroupTcamFree(),
  // which the chip sets again when it has room.
  virtual void doAddBidirGroup(L3::VrfName, Nettle::IpGenPrefix const &);
  virtual void doDelBidirGroup(RouteHandle);
  // Checks that the handle stands for this group.
  virtual void doVerifyBidirGroup(RouteHandle, L3::VrfName, Nettle::IpGenPrefix const &);

 private:
  Zet::Name const name_;
  U32 const index_;
  RouteHandle bidirGroupHandle_;
  bool mcastGroupTcamFree_ = true;
};

class BRINDLE_API BidirDfChip : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<BidirDfChip, Zet::Entity> {
   public:
    virtual void onDfProfileTblFree() {}
  };
  BidirDfChip(Zet::Name name, U32 index) : name_(name), index_(index) {}

  Zet::Name name() const override { return name_; }
  U32 index() const { return index_; }
  virtual bool hasBackupSupport() const { return false; }

  // The chip has room for profiles.
  bool dfProfileTblFree() const { return dfProfileTblFree_; }
  void dfProfileTblFreeIs(bool v) {
    assign(dfProfileTblFree_, v, &NotifieeConst::onDfProfileTblFree);
  }

  // Adds the profile of a VLAN or replaces it: bit n is for the rendezvous point of index n. Clears
  // dfProfileTblFree() if there is no room for it, and only then: whoever asked takes it for
  // refused. The chip sets the flag again when it has room.
  virtual void doAddDfProfile(Bridging::VlanIdOrNone, U64 bitmap);
  virtual void doDelDfProfile(Bridging::VlanIdOrNone);
  virtual void doVerifyDfProfile(Bridging::VlanIdOrNone, U64 bitmap);

 private:
  Zet::Name const name_;
  U32 const index_;
  bool dfProfileTblFree_ = true;
};

}  // namespace Brindle
