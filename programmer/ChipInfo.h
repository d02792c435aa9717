// What one route holds on one chip: its own entry and those beside it, with the output sets that
// they point at. A switch has one ChipInfo for each route and chip, so those of a route stand side
// by side in one block.
#pragma once

#include "programmer/EntryList.h"
#include "programmer/ZetChip.h"

namespace Brindle {

struct VlanInfo {
  Bridging::VlanId vlanId;
  EntryKind kind;
  RouteHandle routeHandle;
  Zet::Ptr<MtableOifSet> mtableOifSet;  // null until the entry has been activated
};

using VlanInfos = EntryList<VlanInfo>;

class BRINDLE_API ChipInfo {
 public:
  explicit ChipInfo(ZetChip * zetChip) : zetChip_(zetChip) {}

  ZetChip & zetChip() const { return *zetChip_; }
  void zetChipIs(ZetChip * v) { zetChip_ = v; }
  SwitchChip & chip() const { return zetChip_->chip(); }

  // The entry of the route itself, the RPF entry; null if it has none.
  RouteHandle rpfRouteHandle() const { return rpfRouteHandle_; }
  void rpfRouteHandleIs(RouteHandle v) {
    if (rpfRouteHandle_ == v) return;
    rpfRouteHandle_ = v;
    rpfActivated_ = false;
  }
  bool rpfActivated() const { return rpfActivated_; }
  void rpfActivatedIs(bool v) { rpfActivated_ = v; }
  // The set that this entry points at; the reference keeps it alive in the chip.
  Zet::Ptr<MtableOifSet> const & mtableOifSet() const { return mtableOifSet_; }
  // Returns the one before.
  Zet::Ptr<MtableOifSet> mtableOifSetIs(Zet::Ptr<MtableOifSet> v) {
    return std::exchange(mtableOifSet_, std::move(v));
  }

  VlanInfos const & entries() const { return entries_; }
  VlanInfo * fastdrop(Bridging::VlanId vlan) const {
    return entries_.find(EntryKind::fastdrop, vlan);
  }
  VlanInfo * notify() const { return entries_.find(EntryKind::notify); }
  VlanInfo * staticFastdrop() const { return entries_.find(EntryKind::staticFastdrop); }
  VlanInfo * frr() const { return entries_.find(EntryKind::frr); }
  // Throws RangeException if the entry stands with another handle. Moves the other entries.
  VlanInfo & vlanInfoIs(EntryKind, Bridging::VlanId, RouteHandle);
  // Takes the entry out here, and leaves it on the chip; the result is the set that it points at.
  Zet::Ptr<MtableOifSet> vlanInfoDel(VlanInfo * v) { return entries_.take(v).mtableOifSet; }

  // Takes the entry off the chip, too.
  void doDelete(VlanInfo *);
  void doDeleteFastdrops();
  // Takes everything off the chip.
  void doDeleteAll();

 private:
  Zet::Ptr<ZetChip> zetChip_;
  Zet::Ptr<MtableOifSet> mtableOifSet_;
  VlanInfos entries_;
  RouteHandle rpfRouteHandle_;
  bool rpfActivated_ = false;
};
static_assert(sizeof(ChipInfo) <= 32);

// The ChipInfos of one route, in the order of the fabric's chips.
class BRINDLE_API ChipInfos {
 public:
  bool empty() const { return infos_.empty(); }
  U32 size() const { return infos_.size(); }
  ChipInfo * begin() const { return infos_.begin(); }
  ChipInfo * end() const { return infos_.end(); }
  ChipInfo & operator[](U32 i) const { return infos_[i]; }
  // Whether any entry but the route's own stands.
  bool hasVlanInfos() const {
    for (ChipInfo const & info : *this) {
      if (!info.entries().empty()) return true;
    }
    return false;
  }
  // Null if the route has nothing on the chip.
  ChipInfo * find(ZetChip const &) const;
  // Makes those of the chips that have none yet. REQUIRES: none is of a chip that is not in
  // `chips`.
  void chipInfosAre(ZetChips const & chips) {
    if (size() != chips.size()) doComplete(chips);
  }
  // The VLANs of the fastdrops. These are on all chips or on none: the first one speaks for all.
  Zet::OrderedSet<Bridging::VlanId> fastdropVlans() const;
  // Whether a chip has left the fabric, be it to come back.
  bool hasGone() const {
    for (ChipInfo const & info : *this) {
      if (!info.zetChip().present()) return true;
    }
    return false;
  }
  // A chip that is back finds what the route has on it.
  void doRebind(ZetChips const & chips);
  // Takes everything off chips that have left the fabric.
  void doDropGone();
  // Takes everything off all chips.
  void doDeleteAll();

 private:
  void doComplete(ZetChips const & chips);

  Zet::CompactVector<ChipInfo> infos_;
};

}  // namespace Brindle
