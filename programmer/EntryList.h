// The entries that a route has beside its own on one chip.
#pragma once

#include <algorithm>

#include "platform/RbTreeMap.h"
#include "platform/VlanId.h"

namespace Brindle {

// What an entry is for.
enum class EntryKind : U8 {
  rpf,             // the route itself
  fastdrop,        // drops what comes in on a wrong VLAN; there may be several
  notify,          // reports data to the control plane
  staticFastdrop,  // drops for as long as the route stands
  frr,             // accepts on the backup input
};

// In the order of their kinds and VLANs. One pointer when empty. An entry has `vlanId` and `kind`.
template <class Entry> class EntryList {
 public:
  bool empty() const { return entries_.empty(); }
  U32 size() const { return entries_.size(); }
  Entry & operator[](U32 i) const { return entries_[i]; }
  Entry * begin() const { return entries_.begin(); }
  Entry * end() const { return entries_.end(); }

  // The first entry of the kind; the entry of the kind and VLAN. Null if there is none.
  Entry * find(EntryKind kind) const {
    return orNull(std::find_if(begin(), end(), [&](Entry const & v) { return v.kind == kind; }));
  }
  Entry * find(EntryKind kind, Bridging::VlanId vlan) const {
    Entry * v = notBefore(kind, vlan);
    return v != end() && v->kind == kind && v->vlanId == vlan ? v : nullptr;
  }
  // Moves the other entries. REQUIRES: none stands for the kind and VLAN.
  Entry & insert(Entry v) {
    auto const at = static_cast<U32>(notBefore(v.kind, v.vlanId) - begin());
    entries_.insert(at, std::move(v));
    return entries_[at];
  }
  // Moves the other entries.
  Entry take(Entry * v) {
    Entry taken = std::move(*v);
    entries_.remove(static_cast<U32>(v - begin()));
    if (empty()) entries_.shrink();
    return taken;
  }

 private:
  Entry * orNull(Entry * v) const { return v == end() ? nullptr : v; }
  Entry * notBefore(EntryKind kind, Bridging::VlanId vlan) const {
    return std::find_if(begin(), end(), [&](Entry const & v) {
      return v.kind > kind || (v.kind == kind && v.vlanId >= vlan);
    });
  }

  Zet::CompactVector<Entry> entries_;
};

}  // namespace Brindle
