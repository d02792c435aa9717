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

template <class Set> std::strong_ordering order(Set const & a, Set const & b) {
  return std::lexicographical_compare_three_way(a.items().begin(), a.items().end(),
                                                b.items().begin(), b.items().end());
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
    auto const order = *a <=> *b;
    if (order == 0) {
      dropped += b->hash();
      ++b;
    } else {
      *to++ = order < 0 ? *a++ : *b++;
    }
  }
  return copy(b, endB, copy(a, endA, to));
}

}  // namespace

void PortVlanSet::swap(PortVlanSet & o) noexcept {
  std::swap(portVlan_, o.portVlan_);
  std::swap(natVlan_, o.natVlan_);
  std::swap(portVlanFrr_, o.portVlanFrr_);
  std::swap(memberSum_, o.memberSum_);
  std::swap(hash_, o.hash_);
  std::swap(flags_, o.flags_);
  std::swap(featureFlag_, o.featureFlag_);
  std::swap(vlan_, o.vlan_);
  std::swap(keyKind_, o.keyKind_);
  std::swap(toCpu_, o.toCpu_);
  std::swap(fastdropSet_, o.fastdropSet_);
  std::swap(allowSharing_, o.allowSharing_);
  std::swap(settled_, o.settled_);
  std::swap(hashSaved_, o.hashSaved_);
}

void PortVlanSet::clear() {
  static PortVlanSet const empty;
  *this = empty;
}

bool PortVlanSet::portVlan(PortVlan const & pv) const {
  if (settled_) return portVlan_.contains(pv);
  auto const & all = portVlan_.items();
  return std::find(all.begin(), all.end(), pv) != all.end();
}

bool PortVlanSet::portVlanIs(PortVlan const & member, bool present) {
  settle();
  PortVlan const pv = member;  // it may stand in the set
  if (!(present ? portVlan_.insert(pv) : portVlan_.del(pv))) return false;
  memberSum_ += present ? pv.hash() : -pv.hash();
  hashSaved_ = false;
  return true;
}

void PortVlanSet::portVlanDelAll() {
  portVlan_.itemsForBuild().clear();
  memberSum_ = 0;
  settled_ = true;
  hashSaved_ = false;
}

U32 PortVlanSet::vlanDel(Bridging::VlanIdOrNone vid) {
  OutLif const outLif(vid);
  if (!settled_) {
    return portVlanDelIf([outLif](PortVlan const & pv) { return pv.outLif == outLif; });
  }
  // The members of a VLAN stand side by side.
  auto & items = portVlan_.itemsForBuild();
  PortVlan * first =
      std::lower_bound(items.begin(), items.end(), outLif,
                       [](PortVlan const & pv, OutLif const & lif) { return pv.outLif < lif; });
  PortVlan * last = first;
  while (last != items.end() && last->outLif == outLif) memberSum_ -= (last++)->hash();
  if (first == last) return 0;
  U32 const count = static_cast<U32>(last - first);
  std::memmove(first, last, static_cast<std::size_t>(items.end() - last) * sizeof(PortVlan));
  items.truncate(items.size() - count);
  hashSaved_ = false;
  return count;
}

void PortVlanSet::append(PortVlan const & pv) {
  auto & items = portVlan_.itemsForBuild();
  settled_ = settled_ && (items.empty() || items[items.size() - 1] < pv);
  items.push_back(pv);
  memberSum_ += pv.hash();
  hashSaved_ = false;
}

void PortVlanSet::append(PortVlan const * run, U32 count) {
  portVlan_.itemsForBuild().append(run, count);
  for (U32 i = 0; i < count; ++i) memberSum_ += run[i].hash();
  settled_ = hashSaved_ = false;
}

void PortVlanSet::mergeRuns() {
  settled_ = true;
  auto & items = portVlan_.itemsForBuild();
  U32 starts[kMaxRuns + 1] = {};
  U32 runs = 1;
  for (U32 i = 1; i < items.size(); ++i) {
    if (items[i - 1] < items[i]) continue;
    if (runs == kMaxRuns) return sortAll();
    starts[runs++] = i;
  }
  if (runs == 1) return;
  starts[runs] = items.size();

  // The second half of the block is the other side of the merge.
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
  PortVlan const * last = nullptr;
  portVlanDelIf([&last](PortVlan const & pv) {
    bool const again = last && *last == pv;
    last = &pv;
    return again;
  });
}

U32 PortVlanSet::computedHash() const {
  ZET_ASSERT(settled_, "settled");
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

std::strong_ordering PortVlanSet::operator<=>(PortVlanSet const & o) const {
  if (auto const c = plain() <=> o.plain(); c != 0) return c;
  if (auto const c = order(portVlan(), o.portVlan()); c != 0) return c;
  if (auto const c = order(natVlan_, o.natVlan_); c != 0) return c;
  return order(portVlanFrr_, o.portVlanFrr_);
}

void strepToValue(Zet::StrepReader & reader, PortVlanSet & set) {
  set.clear();
  auto const & fields = Zet::fieldTable<PortVlanSet>;
  Zet::strepToFields(reader, PortVlanSet::zetType, fields.data(), fields.size(), &set);
  set.memberSum_ = sumOf(set.portVlan_);
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
