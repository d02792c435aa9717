#include "model/MrouteTable.h"

#include <bit>

#include "platform/Assert.h"

namespace Brindle {

MrouteTable::MrouteTable(L3::VrfName vrf)
    : vrf_(vrf),
      dirtyInfo_(Zet::make<DirtyInfo>()),
      boundaryDirtyInfo_(Zet::make<DirtyInfo>()) {}

// Routes may outlive their table in other hands.
MrouteTable::~MrouteTable() {
  for (auto i = mroute_.begin(); i; i.advance()) i->parentIs(nullptr);
  for (auto i = boundaryMroute_.begin(); i; i.advance()) i->parentIs(nullptr);
}

void MrouteTable::mrouteDel(Key const & key) {
  Zet::Ptr<Mroute> m = mroute_.find(key);
  if (!m) return;
  Zet::Ptr<MrouteTable> self(this);
  // From here on the route counts nothing for this table.
  m->parentIs(nullptr);
  if (m->dirty()) dirtyMroutesInc(-1);
  if (m->held()) heldMroutesInc(-1);
  int const fastdrops = static_cast<int>(m->fastdropCount());
  fastdropMrouteIs(m->key(), false);
  erase<&NotifieeConst::onMroute>(mroute_, m->key());
  fastdropCountInc(-fastdrops);
}

void MrouteTable::mrouteDelAll() {
  Zet::Ptr<MrouteTable> self(this);
  for (auto i = mroute_.begin(); i; i.advance()) mrouteDel(i.key());
}

void MrouteTable::boundaryMrouteDel(Key const & key) {
  Zet::Ptr<BoundaryMroute> m = boundaryMroute_.find(key);
  if (!m) return;
  Zet::Ptr<MrouteTable> self(this);
  m->parentIs(nullptr);
  int const fastdrops = static_cast<int>(m->fastdropCount());
  erase<&NotifieeConst::onBoundaryMroute>(boundaryMroute_, m->key());
  boundaryFastdropCountInc(-fastdrops);
}

void MrouteTable::boundaryMrouteDelAll() {
  Zet::Ptr<MrouteTable> self(this);
  for (auto i = boundaryMroute_.begin(); i; i.advance()) boundaryMrouteDel(i.key());
}

void MrouteTable::doUpdateVrfVlanFilter(U32 filter, U32 changed) {
  Zet::Ptr<MrouteTable> self(this);
  U32 present = vlanFilter_;
  for (U32 rest = changed; rest; rest &= rest - 1) {
    U8 const bit = static_cast<U8>(std::countr_zero(rest));
    U32 const mask = 1u << bit;
    U32 & counter = vlanFilterCounter_[bit];
    if (filter & mask) {
      ++counter;
      present |= mask;
    } else {
      ZET_ASSERT(counter != 0, "counter != 0");
      if (--counter == 0) present &= ~mask;
    }
    notify<&NotifieeConst::onVlanFilterCounter>(bit);
  }
  assign(vlanFilter_, present, &NotifieeConst::onVlanFilter);
}

// A route that has left its table has no parent.
void Mroute::handleFastdropCount(int change) {
  auto * const table = static_cast<MrouteTable *>(parent());
  if (!table) return;
  table->fastdropMrouteIs(key(), fastdropCount() != 0);
  table->fastdropCountInc(change);
}

void Mroute::handleDirty() {
  if (!dirty()) heldIs(false);
  if (auto * table = static_cast<MrouteTable *>(parent())) table->dirtyMroutesInc(dirty() ? 1 : -1);
}

void Mroute::heldIs(bool v) {
  if (held_ == v) return;
  held_ = v;
  if (auto * table = static_cast<MrouteTable *>(parent())) table->heldMroutesInc(v ? 1 : -1);
}

void BoundaryMroute::handleFastdropCount(int change) {
  if (auto * table = static_cast<MrouteTable *>(parent())) table->boundaryFastdropCountInc(change);
}

void Mroute::oifIndexIntfIdCacheDelAll(U32 expected) {
  auto & items = oifIndexIntfIdCache_.itemsForBuild();
  items.clear();
  if (expected) {
    items.reserve(expected);
  } else {
    items.shrink();
  }
}

}  // namespace Brindle
