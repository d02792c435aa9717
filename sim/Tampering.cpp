#include "sim/Tampering.h"

namespace Brindle::Sim {

void Tampering::tamper(ChipEntry const & entry, Tamper const & tamper) {
  auto & own = entry.handle.isNull() ? sets_[entry.set] : entries_[entry.handle.value];
  own.isRemoved |= tamper.isRemoved;
  if (tamper.vlan) own.vlan = tamper.vlan;
  Outputs & outputs = entry.set ? sets_[entry.set].outputs : own.outputs;
  if (tamper.added) {
    outputs.added.insert(tamper.added);
    outputs.taken.del(tamper.added);
  }
  if (tamper.taken) {
    outputs.taken.insert(tamper.taken);
    outputs.added.del(tamper.taken);
  }
}

void Tampering::clear() {
  entries_.clear();
  sets_.clear();
}

std::optional<ChipEntry> Tampering::seen(ChipEntry entry) const {
  auto const look = [&](std::map<U32, Change> const & changes, U32 number) {
    auto const found = changes.find(number);
    if (found == changes.end()) return true;
    if (found->second.vlan) entry.key.vlanId = found->second.vlan;
    apply(found->second.outputs, entry);
    return !found->second.isRemoved;
  };
  bool const stands = look(entries_, entry.handle.value) && (!entry.set || look(sets_, entry.set));
  return stands ? std::optional(entry) : std::nullopt;
}

// A new output leaves as the others do.
void Tampering::apply(Outputs const & outputs, ChipEntry & entry) const {
  if (outputs.added.empty() && outputs.taken.empty()) return;
  PortVlanSet set = entry.oifSet ? entry.oifSet->portVlanSet() : PortVlanSet();
  auto const & members = set.portVlan().items();
  OutLif const lif = members.empty() ? OutLif(entry.key.vlanId) : members.begin()->outLif;
  set.portVlanDelIf([&](PortVlan const & member) { return outputs.taken.contains(member.port); });
  for (auto port : outputs.added.items()) set.portVlanIs({port, lif}, true);
  set.saveHash();
  entry.oifSet = own_->oifSetIs(set);
}

}  // namespace Brindle::Sim
