// Puts the profile of one interface into the chips that answer later: into all of them or into
// none.
#pragma once

#include "bidir/DfProfileInfo.h"
#include "platform/Reactor.h"
#include "platform/VlanId.h"

namespace Brindle {

class AsyncBidirDfSm;

class BRINDLE_API ZetDfProfileInfo final : public Zet::Sm, public Zet::HashLink {
 public:
  using Reason = BidirDfFailureReason;
  using VlanIdOrNone = Bridging::VlanIdOrNone;

  // The machine must outlive it.
  ZetDfProfileInfo(AsyncBidirDfSm * sm, Zet::Ptr<DfProfileInfo> const & info);
  Zet::Name name() const override { return info_->name(); }
  Nettle::IntfId const & fwkKey() const { return info_->key(); }
  Nettle::IntfId intf() const { return info_->intf(); }
  Zet::Ptr<DfProfileInfo> const & dfProfileInfo() const { return info_; }

  // Why the profile is not in hardware, or not known to be; 0 if it is. What is not in hardware is
  // tried again.
  Reason reason() const { return reason_; }
  void reasonIs(Reason v);
  // Chips have not answered yet.
  bool hasXactsOut() const;

  // Has all chips take the profile as it is now, or waits: for a VLAN, or for answers that are out.
  void handleDfProfile();
  // Takes it out of the chips.
  void delDfProfile(VlanIdOrNone vlan);
  // The same where it was last put, since the interface has another VLAN.
  void delDfProfile() { delDfProfile(issued_.vlan); }
  // The same when the interface's profile has gone.
  void doEnd();
  // A chip has come, or gone.
  void handleChip(Zet::Name name);

 private:
  struct ZetRpaBitmap final : Zet::Reactor<DfProfileInfo, ZetDfProfileInfo> {
    using Reactor::Reactor;
    void onRpaBitmap() override { sm()->handleDfProfile(); }
  };
  struct ZetDfAllocXact final : Zet::KeyedReactor<Zet::Name, Keel::Xact const, ZetDfProfileInfo> {
    using KeyedReactor::KeyedReactor;
    void onStatusVersion() override { handleDfAllocXact(); }
    void handleDfAllocXact() { sm()->handleDfAllocXact(); }
  };
  // What the chips were last asked for.
  struct Issued {
    VlanIdOrNone vlan;
    RpaBitmap rpaBitmap;
  };

  bool isWanted() const;
  VlanIdOrNone vlanId() const;
  class Issuing;
  bool issue(Zet::Ptr<AsyncBidirDfChip> const & chip);
  void handleIssued(bool isTaken);
  void handleDfAllocXact();
  void handleResults();
  void handleSuccess();
  bool isStale() const;
  void dfFailureCleanup(Reason reason);
  void dfChipInfoDel(Zet::Name name);

  // Fixed at construction
  AsyncBidirDfSm * const sm_;
  Zet::Ptr<DfProfileInfo> const info_;

  // State
  Reason reason_;
  Issued issued_;
  bool isIssuing_ = false;  // answers are looked at when all chips have been asked

  // Reactors
  Zet::ReactorPtr<ZetRpaBitmap> zetRpaBitmap_{this};
  Zet::ReactorMap<Zet::Name, ZetDfAllocXact> zetDfAllocXact_{this};
};

}  // namespace Brindle
