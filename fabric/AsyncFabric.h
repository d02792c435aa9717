// The switch as the programmer for chips that answer later sees it: a set of chips, which a
// platform supplies. Bidirectional groups have no such chips: they go in by a Fabric.
#pragma once

#include "fabric/AsyncBidirDfChip.h"
#include "fabric/AsyncSwitchChip.h"
#include "fabric/FabricBase.h"

namespace Brindle {

class BRINDLE_API AsyncFabric : public FabricBase {
 public:
  class NotifieeConst : public Zet::NotifieeOf<AsyncFabric, Zet::Entity> {
   public:
    virtual void onChip(Zet::Name const &) {}
    virtual void onBidirDfChip(Zet::Name const &) {}
  };

  explicit AsyncFabric(Zet::Name name) : FabricBase(name) {}
  ~AsyncFabric() override;

  // Chips by their own name, in its order. Adding throws RangeException for null and
  // NameInUseException if another chip has the name.
  Chips<AsyncSwitchChip> const & chip() const { return chip_; }
  AsyncSwitchChip * chip(Zet::Name k) const { return find(chip_, k); }
  U32 chips() const { return chip_.size(); }
  void chipIs(Zet::Ptr<AsyncSwitchChip> const &);
  void chipDel(Zet::Name k) { remove<&NotifieeConst::onChip>(chip_, k); }
  void chipDelAll() { removeAll<&NotifieeConst::onChip>(chip_); }
  void chipNotify(Zet::Name k) { notify<&NotifieeConst::onChip>(k); }

  Chips<AsyncBidirDfChip> const & bidirDfChip() const { return bidirDfChip_; }
  AsyncBidirDfChip * bidirDfChip(Zet::Name k) const { return find(bidirDfChip_, k); }
  void bidirDfChipIs(Zet::Ptr<AsyncBidirDfChip> const &);
  void bidirDfChipDel(Zet::Name k) { remove<&NotifieeConst::onBidirDfChip>(bidirDfChip_, k); }
  void bidirDfChipDelAll() { removeAll<&NotifieeConst::onBidirDfChip>(bidirDfChip_); }
  void bidirDfChipNotify(Zet::Name k) { notify<&NotifieeConst::onBidirDfChip>(k); }

 private:
  Chips<AsyncSwitchChip> chip_;
  Chips<AsyncBidirDfChip> bidirDfChip_;
};

inline Zet::Ptr<AsyncFabric> asyncFabricFactory(Zet::Name name) {
  return Zet::make<AsyncFabric>(name);
}

}  // namespace Brindle
