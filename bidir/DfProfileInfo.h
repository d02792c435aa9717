// What chips that answer later are to know of one interface: for which rendezvous points the switch
// is designated forwarder there, and how far each chip has come.
#pragma once

#include "fabric/AsyncBidirDfChip.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"

namespace Brindle {

// A chip that has the profile, or is to have it.
class DfChipInfo final : public Zet::KeyedEntity<Zet::Name> {
 public:
  DfChipInfo(Zet::Name name, Zet::Ptr<AsyncBidirDfChip> const & dfChip)
      : KeyedEntity(name),
        dfChip_(dfChip) {}

  Zet::Ptr<AsyncBidirDfChip> const & dfChip() const { return dfChip_; }
  // What the chip has not been heard to have finished; null if it is done.
  Zet::Ptr<Keel::Xact const> const & dfAllocXact() const { return dfAllocXact_; }
  void dfAllocXactIs(Zet::Ptr<Keel::Xact const> const & v) { dfAllocXact_ = v; }

 private:
  Zet::Ptr<AsyncBidirDfChip> const dfChip_;
  Zet::Ptr<Keel::Xact const> dfAllocXact_;
};

class DfProfileInfo final : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<DfProfileInfo, Zet::Entity> {
   public:
    virtual void onRpaBitmap() {}
  };
  using KeyedEntity::KeyedEntity;

  Nettle::IntfId intf() const { return key(); }
  RpaBitmap rpaBitmap() const { return rpaBitmap_; }
  void rpaBitmapIs(RpaBitmap v) { assign(rpaBitmap_, v, &NotifieeConst::onRpaBitmap); }

  auto const & dfChipInfo() const { return dfChipInfo_; }
  DfChipInfo * dfChipInfo(Zet::Name k) const { return dfChipInfo_.find(k); }
  Zet::Ptr<DfChipInfo> dfChipInfoIs(Zet::Name k, Zet::Ptr<AsyncBidirDfChip> const & chip) {
    if (!dfChipInfo_.contains(k)) dfChipInfo_.insert(Zet::make<DfChipInfo>(k, chip));
    return dfChipInfo_.find(k);
  }
  void dfChipInfoDel(Zet::Name k) { dfChipInfo_.del(k); }

 private:
  RpaBitmap rpaBitmap_;
  Zet::HashMap<Zet::Name, DfChipInfo> dfChipInfo_;
};

}  // namespace Brindle
