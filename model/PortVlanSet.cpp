#include "model/PortVlanSet.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Brindle {

namespace {

// More ascending runs than this are sorted instead of merged.
constexpr U32 kMaxRuns = 64;

template <class Set> U32 sumOf(Set const & set) {
  U32 sum = 0;
  for (auto const & member : set.items()) sum += member.hash();
  return sum;
}

template <class Set> bool same(Set const & a, Set const & b) {
  return a.size() == b.size() && std::equal(a.items().begin(), a.items().end(), b.items().begin());
}
bool same(PortVlanSet::PortVlans const & a, PortVlanSet::PortVlans const & b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.items().data(), b.items().data(),
                                                           a.size() * sizeof(PortVlan)) == 0);
}

template <class Set> bool less(Set const & a, Set const & b) {
  return std::lexicographical_compare(a.items().begin(), a.items().end(), b.items().begin(),
                                      b.items().end());
}

PortVlan * copy(PortVlan const * from, PortVlan const * end, PortVlan * to) {
  if (from != end) std::memcpy(to, from, static_cast<std::size_t>(end - from) * sizeof *from);
  return to + (end - from);
}

// Merges two runs to `to`, a member of both once; `dropped` gathers the hashes of what is left out.
PortVlan * merge(PortVlan const * a, PortVlan const * endA, PortVlan const * b,
                 PortVlan const * endB, PortVlan * to, U32 & dropped) {
  if (endA[-1] < *b) return copy(b, endB, copy(a, endA, to));
  if (endB[-1] < *a) return copy(a, endA, copy(b, endB, to));
  while (a != endA && b != endB) {
    if (*a == *b) {
      dropped += b->hash();
      ++b;
    } else {
      *to++ = *a < *b ? *a++ : *b++;
    }
  }
  return copy(b, endB, copy(a, endA, to));
}

}  // namespace

void PortVlanSet::swap(PortVlanSet & o) noexcept {
  std::swap(portVlan_, o.portVlan_);
  std::swap(natVlan_, o.natVlan_);
  std::swap(portVlanFrr_, o.portVlanFrr_);
  std::swap(settledSize_, o.settledSize_);
  std::swap(memberSum_, o.memberSum_);
  std::swap(hash_, o.hash_);
  std::swap(flags_, o.flags_);
  std::swap(featureFlag_, o.featureFlag_);
  std::swap(vlan_, o.vlan_);
  std::swap(keyKind_, o.keyKind_);
  std::swap(toCpu_, o.toCpu_);
  std::swap(fastdropSet_, o.fastdropSet_);
  std::swap(allowSharing_, o.allowSharing_);
  std::swap(hashSaved_, o.hashSaved_);
}

void PortVlanSet::clear() {
  portVlanDelAll();
  natVlan_.itemsForBuild().clear();
  portVlanFrr_.itemsForBuild().clear();
  flags_ = featureFlag_ = 0;
  vlan_ = 0;
  keyKind_ = Routing::Multicast::Fib::unknown_;
  toCpu_ = fastdropSet_ = allowSharing_ = false;
}

bool PortVlanSet::portVlan(PortVlan const & pv) const {
  if (settled()) return portVlan_.contains(pv);
  auto const & items = portVlan_.items();
  PortVlan * const tail = items.begin() + settledSize_;
  return std::binary_search(items.begin(), tail, pv) ||
         std::find(tail, items.end(), pv) != items.end();
}

bool PortVlanSet::portVlanIs(PortVlan const & member, bool present) {
  settle();
  PortVlan const pv = member;  // it may stand in the set
  if (!(present ? portVlan_.insert(pv) : portVlan_.del(pv))) return false;
  memberSum_ += present ? pv.hash() : -pv.hash();
  settledSize_ = portVlan_.size();
  hashSaved_ = false;
  return true;
}

void PortVlanSet::portVlanDelAll() {
  portVlan_.itemsForBuild().clear();
  settledSize_ = memberSum_ = 0;
  hashSaved_ = false;
}

std::span<PortVlan const> PortVlanSet::vlanMembers(Bridging::VlanIdOrNone vid) const {
  OutLif const outLif(vid);
  auto const & items = portVlan().items();
  PortVlan const * const first =
      std::lower_bound(items.begin(), items.end(), outLif,
                       [](PortVlan const & pv, OutLif const & lif) { return pv.outLif < lif; });
  PortVlan const * last = first;
  while (last != items.end() && last->outLif == outLif) ++last;
  return {first, last};
}

U32 PortVlanSet::vlanDel(Bridging::VlanIdOrNone vid) {
  settle();
  std::span<PortVlan const> const gone = vlanMembers(vid);
  if (gone.empty()) return 0;
  for (PortVlan const & pv : gone) memberSum_ -= pv.hash();
  auto & items = portVlan_.itemsForBuild();
  PortVlan * const first = items.begin() + (gone.data() - items.begin());
  PortVlan const * const rest = first + gone.size();
  std::memmove(first, rest, static_cast<std::size_t>(items.end() - rest) * sizeof *rest);
  items.truncate(items.size() - static_cast<U32>(gone.size()));
  settledSize_ = items.size();
  hashSaved_ = false;
  return static_cast<U32>(gone.size());
}

// The members that are settled are the first of the ascending runs, or the start of it.
void PortVlanSet::settleTail() {
  auto & items = portVlan_.itemsForBuild();
  PortVlan const * const end = items.end();
  PortVlan const * pv = items.begin() + settledSize_;
  U32 starts[kMaxRuns + 1];
  U32 runs = 0;
  starts[runs++] = 0;
  U32 sum = memberSum_;
  if (settledSize_ == 0) sum += (pv++)->hash();
  for (; pv != end; ++pv) {
    sum += pv->hash();
    if (pv[-1] < *pv) continue;
    if (runs < kMaxRuns) starts[runs] = static_cast<U32>(pv - items.begin());
    ++runs;
  }
  memberSum_ = sum;
  if (runs > kMaxRuns) {
    sortAll();
  } else if (runs > 1) {
    starts[runs] = items.size();
    mergeRuns(starts, runs);
  }
  settledSize_ = items.size();
}

void PortVlanSet::mergeRuns(U32 * starts, U32 runs) {
  // The second half of the block is the other side of the merge.
  auto & items = portVlan_.itemsForBuild();
  items.reserve(2 * items.size());
  PortVlan * from = items.begin();
  PortVlan * to = items.end();
  U32 dropped = 0;
  for (U32 merged = 0; runs > 1; runs = std::exchange(merged, 0)) {
    PortVlan * end = to;
    for (U32 r = 0; r < runs; r += 2) {
      PortVlan const * b = from + starts[r + 1];
      PortVlan const * a = from + starts[r];
      starts[merged++] = static_cast<U32>(end - to);
      end = r + 1 < runs ? merge(a, b, b, from + starts[r + 2], end, dropped) : copy(a, b, end);
    }
    starts[merged] = static_cast<U32>(end - to);
    std::swap(from, to);
  }
  if (from != items.begin()) copy(from, from + starts[1], items.begin());
  items.truncate(starts[1]);
  memberSum_ -= dropped;
}

void PortVlanSet::sortAll() {
  auto & items = portVlan_.itemsForBuild();
  std::sort(items.begin(), items.end());
  U32 kept = 0;
  for (PortVlan const & pv : items) {
    if (kept && items[kept - 1] == pv) {
      memberSum_ -= pv.hash();
    } else {
      items[kept++] = pv;
    }
  }
  items.truncate(kept);
}

U32 PortVlanSet::computedHash() const {
  ZET_ASSERT(settled(), "settled()");
  U32 h = Zet::hashMix(memberSum_, portVlan_.size());
  h = Zet::hashMix(h, U32{vlan_} << 6 | U32{keyKind_} << 3 | U32{toCpu_} << 2 |
                          U32{fastdropSet_} << 1 | U32{allowSharing_});
  if (featureFlag_ | flags_) h = Zet::hashMix(Zet::hashMix(h, featureFlag_), flags_);
  if (!natVlan_.empty()) h = Zet::hashMix(h, sumOf(natVlan_));
  if (!portVlanFrr_.empty()) h = Zet::hashMix(h, ~sumOf(portVlanFrr_));
  return h;
}

void PortVlanSet::saveHash() {
  settle();
  hash_ = computedHash();
  hashSaved_ = true;
}

void PortVlanSet::natVlanIs(Bridging::VlanId vlan, bool present) {
  if (present ? natVlan_.insert(vlan) : natVlan_.del(vlan)) hashSaved_ = false;
}

void PortVlanSet::natVlanDelAll() {
  natVlan_.clear();
  hashSaved_ = false;
}

void PortVlanSet::portVlanFrrIs(PortVlan const & pv, bool present) {
  if (present ? portVlanFrr_.insert(pv) : portVlanFrr_.del(pv)) hashSaved_ = false;
}

bool PortVlanSet::operator==(PortVlanSet const & o) const {
  return memberSum_ == o.memberSum_ && plain() == o.plain() && same(portVlan(), o.portVlan()) &&
         same(natVlan_, o.natVlan_) && same(portVlanFrr_, o.portVlanFrr_);
}

bool PortVlanSet::operator<(PortVlanSet const & o) const {
  if (plain() != o.plain()) return plain() < o.plain();
  if (!same(portVlan(), o.portVlan())) return less(portVlan(), o.portVlan());
  if (!same(natVlan_, o.natVlan_)) return less(natVlan_, o.natVlan_);
  return less(portVlanFrr_, o.portVlanFrr_);
}

void strepToValue(Zet::StrepReader & reader, PortVlanSet & set) {
  set.clear();
  auto const & fields = Zet::fieldTable<PortVlanSet>;
  Zet::strepToFields(reader, PortVlanSet::zetType, fields.data(), fields.size(), &set);
  set.settle();
}

namespace {

void appendMembers(std::string & out, PortVlanSet::PortVlans const & members) {
  OutLif group;
  for (PortVlan const & pv : members.items()) {
    if (pv.outLif != group) {
      if (!out.empty()) out += "; ";
      out += (pv.isOutLif() ? "lif " : "vlan ") + std::to_string(pv.outLif.value()) + ":";
      group = pv.outLif;
    }
    if (!out.empty()) out += ' ';
    out += pv.port.shortName();
  }
}

void appendPart(std::string & out, std::string const & part) {
  if (!out.empty()) out += "; ";
  out += part;
}

}  // namespace

std::string PortVlanSet::pretty() const {
  std::string out;
  appendMembers(out, portVlan());
  if (toCpu_) appendPart(out, "cpu");
  if (!natVlan_.empty()) {
    std::string nat = "nat";
    for (auto vlan : natVlan_.items()) nat += ' ' + std::to_string(vlan.value());
    appendPart(out, nat);
  }
  if (!portVlanFrr_.empty()) {
    std::string frr;
    appendMembers(frr, portVlanFrr_);
    appendPart(out, "frr (" + frr + ")");
  }
  if (fastdropSet_) appendPart(out, "fastdrop");
  if (vlan_) appendPart(out, "in " + std::to_string(vlan_));
  return out;
}

}  // namespace Brindle
