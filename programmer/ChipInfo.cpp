#include "programmer/ChipInfo.h"

#include "platform/Exception.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;

namespace {

Zet::TraceHandle traceHandle("ChipInfo", false);

}  // namespace

VlanInfo & ChipInfo::vlanInfoIs(EntryKind kind, VlanId vlan, RouteHandle handle) {
  VlanInfo * const v = entries_.find(kind, vlan);
  if (!v) return entries_.insert({vlan, kind, handle, nullptr});
  if (v->routeHandle != handle) {
    Zet::throwReinstantiatingMember("routeHandle", Zet::valueToStrep(handle),
                                    Zet::valueToStrep(v->routeHandle));
  }
  return *v;
}

void ChipInfo::doDelete(VlanInfo * v) {
  chip().doDeleteRoute(v->routeHandle);
  vlanInfoDel(v);
}

void ChipInfo::doDeleteFastdrops() {
  while (VlanInfo * v = entries_.find(EntryKind::fastdrop)) {
    ZET_TRACE(9, "   Deleting fastdrop on vlan " << v->vlanId);
    doDelete(v);
  }
}

void ChipInfo::doDeleteAll() {
  if (!rpfRouteHandle_.isNull()) {
    ZET_TRACE(9, "   Deleting Route handle " << rpfRouteHandle_);
    chip().doDeleteRoute(rpfRouteHandle_);
    rpfRouteHandleIs(RouteHandle());
  }
  mtableOifSet_ = nullptr;
  while (!entries_.empty()) {
    VlanInfo * v = entries_.begin();
    if (v->kind == EntryKind::frr) {
      ZET_TRACE(9, "   Deleting Frr Route handle " << v->routeHandle);
    }
    doDelete(v);
  }
}

ChipInfo * ChipInfos::find(ZetChip const & chip) const {
  for (ChipInfo & info : *this) {
    if (&info.zetChip() == &chip) return &info;
  }
  return nullptr;
}

void ChipInfos::doComplete(ZetChips const & chips) {
  infos_.reserve(chips.size());
  for (U32 i = 0; i < chips.size(); ++i) {
    bool const present = i < size() && &infos_[i].zetChip() == chips[i];
    if (!present) infos_.insert(i, ChipInfo(chips[i]));
  }
}

Zet::OrderedSet<VlanId> ChipInfos::fastdropVlans() const {
  Zet::OrderedSet<VlanId> vlans;
  if (empty()) return vlans;
  for (VlanInfo const & v : infos_[0].entries()) {
    if (v.kind == EntryKind::fastdrop) vlans.insert(v.vlanId);
  }
  return vlans;
}

void ChipInfos::doRebind(ZetChips const & chips) {
  for (ChipInfo & info : *this) {
    if (info.zetChip().present()) continue;
    for (ZetChip * chip : chips) {
      if (&chip->chip() == &info.chip()) info.zetChipIs(chip);
    }
  }
}

void ChipInfos::doDropGone() {
  for (U32 i = size(); i-- > 0;) {
    if (infos_[i].zetChip().present()) continue;
    infos_[i].doDeleteAll();
    infos_.remove(i);
  }
}

void ChipInfos::doDeleteAll() {
  for (ChipInfo & info : *this) {
    ZET_TRACE(9, ", Delete chipInfo " << info.zetChip().key());
    info.doDeleteAll();
  }
  ZET_TRACE(9, "   Deleting Chip Info");
  infos_.clear();
  infos_.shrink();
}

}  // namespace Brindle
