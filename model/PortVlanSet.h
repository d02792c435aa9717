// A set of outputs: what a route's output is computed to, and the key by which equal outputs are
// found and shared.
//
// It is built over and over in one object that keeps its memory: clear(), then append() in runs,
// settle(), the plain members, saveHash(). Changing a set that stands costs one binary search and
// one addition to the hash.
#pragma once

#include <span>
#include <string>
#include <tuple>

#include "platform/Assert.h"
#include "platform/CollectionText.h"
#include "platform/Export.h"
#include "platform/RbTreeMap.h"
#include "state/PortVlan.h"
#include "state/RouteKey.h"

namespace Brindle {

class BRINDLE_API PortVlanSet {
 public:
  using RouteKeyType = Routing::Multicast::Fib::RouteKeyType;
  using PortVlans = Zet::OrderedSet<PortVlan>;
  using Vlans = Zet::OrderedSet<Bridging::VlanId>;

  PortVlanSet() = default;
  PortVlanSet(PortVlanSet const &) = default;
  PortVlanSet(PortVlanSet && o) noexcept { swap(o); }
  // Reuses the memory of this set.
  PortVlanSet & operator=(PortVlanSet const &) = default;
  PortVlanSet & operator=(PortVlanSet && o) noexcept {
    swap(o);
    return *this;
  }
  void swap(PortVlanSet & o) noexcept;
  // Makes room for members that are about to come.
  void reserve(U32 members) { portVlan_.itemsForBuild().reserve(members); }
  // Empties the set, plain members included, and keeps its memory.
  void clear();

  // The members. REQUIRES: settled.
  PortVlans const & portVlan() const {
    ZET_ASSERT(settled(), "settled()");
    return portVlan_;
  }
  // Whether the set holds the member, settled or not; it walks the members that are not.
  bool portVlan(PortVlan const &) const;
  U32 portVlans() const { return portVlan_.size(); }
  // True if that changed the set.
  bool portVlanIs(PortVlan const &, bool present);
  bool portVlanDel(PortVlan const & pv) { return portVlanIs(pv, false); }
  void portVlanDelAll();
  // The members of a VLAN, which stand side by side; until the next change. REQUIRES: settled.
  std::span<PortVlan const> vlanMembers(Bridging::VlanIdOrNone) const;
  // Settles the set and removes the members for which `remove(member)` holds, in one pass, or
  // those of a VLAN. Returns their number.
  template <class F> U32 portVlanDelIf(F remove);
  U32 vlanDel(Bridging::VlanIdOrNone);

  // Adds members behind the others, for whoever adds many: order and duplicates are settled at the
  // end, in one merge of the ascending runs that were added, if there is more than one.
  void append(PortVlan const & pv) {
    portVlan_.itemsForBuild().push_back(pv);
    hashSaved_ = false;
  }
  void append(PortVlan const * run, U32 count) {
    portVlan_.itemsForBuild().append(run, count);
    hashSaved_ = false;
  }
  // The same in two steps: room for so many behind the others, and how many of them were filled,
  // in ascending order.
  PortVlan * room(U32 most) {
    auto & items = portVlan_.itemsForBuild();
    items.roomFor(most);
    return items.end();
  }
  void filled(U32 count) {
    if (!count) return;
    auto & items = portVlan_.itemsForBuild();
    PortVlan const * const run = items.end();
    bool const settles = settled() && (items.empty() || run[-1] < *run);
    items.grow(count);
    hashSaved_ = false;
    if (!settles) return;
    for (PortVlan const & pv : std::span(run, count)) memberSum_ += pv.hash();
    settledSize_ = items.size();
  }
  bool settled() const { return settledSize_ == portVlan_.size(); }
  void settle() {
    if (!settled()) settleTail();
  }

  // VLANs that need NAT treatment.
  Vlans const & natVlan() const { return natVlan_; }
  bool natVlan(Bridging::VlanId v) const { return natVlan_.contains(v); }
  void natVlanIs(Bridging::VlanId, bool);
  void natVlanDelAll();

  // The members of the fast-reroute backup.
  PortVlans const & portVlanFrr() const { return portVlanFrr_; }
  void portVlanFrrIs(PortVlan const &, bool);
  void portVlanFrrDel(PortVlan const & pv) { portVlanFrrIs(pv, false); }

  // Packets of this set also go to the CPU.
  bool toCpu() const { return toCpu_; }
  void toCpuIs(bool v) { assign(toCpu_, v); }
  // vxlanFlag: the set of a VXLAN VLAN without a core-side floodset.
  static constexpr U32 vxlanFlag = 2;
  U32 flags() const { return flags_; }
  void flagsIs(U32 v) { assign(flags_, v); }
  // The platform's word on the set.
  U32 featureFlag() const { return featureFlag_; }
  void featureFlagIs(U32 v) { assign(featureFlag_, v); }
  // The kind of the route that the set was computed for.
  RouteKeyType keyKind() const { return keyKind_; }
  void keyKindIs(RouteKeyType v) { assign(keyKind_, v); }
  // The VLAN that traffic of this set comes in on, where the chips need it.
  U16 vlan() const { return vlan_; }
  void vlanIs(U16 v) { assign(vlan_, v); }
  // The set belongs to a fastdrop, persistent fastdrop or fast-reroute entry.
  bool fastdropSet() const { return fastdropSet_; }
  void fastdropSetIs(bool v) { assign(fastdropSet_, v); }
  bool allowSharing() const { return allowSharing_; }
  void allowSharingIs(bool v) { assign(allowSharing_, v); }

  // A hash over the whole content; a sum over the members, so that it is known after each change
  // without a walk. saveHash() settles the set and keeps the hash until the next change.
  U32 hash() const { return hashSaved_ ? hash_ : computedHash(); }
  void saveHash();
  bool hashSaved() const { return hashSaved_; }

  // By content, and by all plain members: each of them may keep a chip from sharing an entry.
  // REQUIRES: both settled.
  bool operator==(PortVlanSet const &) const;
  bool operator<(PortVlanSet const &) const;

  // For operators: "vlan 10: Et1 Et2; vlan 20: Et7; cpu".
  std::string pretty() const;

  static constexpr char const * zetType = "Brindle::PortVlanSet";
  static constexpr auto zetFields() {
    using S = PortVlanSet;
    return std::array{Zet::field<&S::portVlan_>("portVlan"),
                      Zet::field<&S::natVlan_>("natVlan"),
                      Zet::field<&S::portVlanFrr_>("portVlanFrr"),
                      Zet::field<&S::toCpu_>("toCpu"),
                      Zet::field<&S::flags_>("flags"),
                      Zet::field<&S::featureFlag_>("featureFlag"),
                      Zet::field<&S::keyKind_>("keyKind"),
                      Zet::field<&S::vlan_>("vlan"),
                      Zet::field<&S::fastdropSet_>("fastdropSet"),
                      Zet::field<&S::allowSharing_>("allowSharing")};
  }

 private:
  friend BRINDLE_API void strepToValue(Zet::StrepReader &, PortVlanSet &);
  template <class T> void assign(T & member, T value) {
    if (member == value) return;
    member = value;
    hashSaved_ = false;
  }
  void settleTail();
  void mergeRuns(U32 * starts, U32 runs);
  void sortAll();
  U32 computedHash() const;
  auto plain() const {
    return std::tuple(flags_, featureFlag_, vlan_, keyKind_, toCpu_, fastdropSet_, allowSharing_);
  }

  PortVlans portVlan_;
  Vlans natVlan_;
  PortVlans portVlanFrr_;
  U32 settledSize_ = 0;  // so many members are in order, without duplicates, and in the sum
  U32 memberSum_ = 0;    // of the hashes of portVlan_
  U32 hash_ = 0;
  U32 flags_ = 0;
  U32 featureFlag_ = 0;
  U16 vlan_ = 0;
  RouteKeyType keyKind_ = Routing::Multicast::Fib::unknown_;
  bool toCpu_ = false;
  bool fastdropSet_ = false;
  bool allowSharing_ = false;
  bool hashSaved_ = false;
};

BRINDLE_API void strepToValue(Zet::StrepReader &, PortVlanSet &);

template <class F> U32 PortVlanSet::portVlanDelIf(F remove) {
  settle();
  auto & items = portVlan_.itemsForBuild();
  U32 kept = 0;
  for (PortVlan const & pv : items) {
    if (remove(pv)) {
      memberSum_ -= pv.hash();
    } else {
      items[kept++] = pv;
    }
  }
  U32 const removed = items.size() - kept;
  if (removed) hashSaved_ = false;
  items.truncate(kept);
  settledSize_ = kept;
  return removed;
}

}  // namespace Brindle
