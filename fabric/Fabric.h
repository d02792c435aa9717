// The switch as the programmers see it: a set of chips, which a platform supplies.
#pragma once

#include "fabric/BidirChips.h"
#include "fabric/FabricBase.h"
#include "fabric/SwitchChip.h"

namespace Brindle {

class BRINDLE_API Fabric : public FabricBase {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Fabric, Zet::Entity> {
   public:
    virtual void onChip(Zet::Name const &) {}
    virtual void onBidirGroupChip(Zet::Name const &) {}
    virtual void onBidirDfChip(Zet::Name const &) {}
  };
  using Notifiee = NotifieeConst;

  explicit Fabric(Zet::Name name) : FabricBase(name) {}
  ~Fabric() override;

  // Chips by their own name, in its order. Adding throws RangeException for null and
  // NameInUseException if another chip has the name.
  Chips<SwitchChip> const & chip() const { return chip_; }
  SwitchChip * chip(Zet::Name k) const { return find(chip_, k); }
  U32 chips() const { return chip_.size(); }
  void chipIs(Zet::Ptr<SwitchChip> const &);
  void chipDel(Zet::Name k) { remove<&NotifieeConst::onChip>(chip_, k); }
  void chipDelAll() { removeAll<&NotifieeConst::onChip>(chip_); }
  void chipNotify(Zet::Name k) { notify<&NotifieeConst::onChip>(k); }

  Chips<BidirGroupChip> const & bidirGroupChip() const { return bidirGroupChip_; }
  BidirGroupChip * bidirGroupChip(Zet::Name k) const { return find(bidirGroupChip_, k); }
  void bidirGroupChipIs(Zet::Ptr<BidirGroupChip> const &);
  void bidirGroupChipDel(Zet::Name k) {
    remove<&NotifieeConst::onBidirGroupChip>(bidirGroupChip_, k);
  }
  void bidirGroupChipDelAll() { removeAll<&NotifieeConst::onBidirGroupChip>(bidirGroupChip_); }
  void bidirGroupChipNotify(Zet::Name k) { notify<&NotifieeConst::onBidirGroupChip>(k); }

  Chips<BidirDfChip> const & bidirDfChip() const { return bidirDfChip_; }
  BidirDfChip * bidirDfChip(Zet::Name k) const { return find(bidirDfChip_, k); }
  void bidirDfChipIs(Zet::Ptr<BidirDfChip> const &);
  void bidirDfChipDel(Zet::Name k) { remove<&NotifieeConst::onBidirDfChip>(bidirDfChip_, k); }
  void bidirDfChipDelAll() { removeAll<&NotifieeConst::onBidirDfChip>(bidirDfChip_); }
  void bidirDfChipNotify(Zet::Name k) { notify<&NotifieeConst::onBidirDfChip>(k); }

 private:
  Chips<SwitchChip> chip_;
  Chips<BidirGroupChip> bidirGroupChip_;
  Chips<BidirDfChip> bidirDfChip_;
};

inline Zet::Ptr<Fabric> fabricFactory(Zet::Name name) { return Zet::make<Fabric>(name); }

}  // namespace Brindle
