#include "platform/IntfId.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <unordered_map>
#include <vector>

#include "platform/Assert.h"

namespace Nettle {

namespace {

// A kind of name: a word and a number.
struct Pattern {
  std::string_view word;
  std::string_view shortWord;
  IntfKind kind;
};
constexpr Pattern patterns[] = {
    {"Ethernet", "Et", IntfKind::ethernet},
    {"Port-Channel", "Po", IntfKind::portChannel},
    {"PeerEthernet", "PEt", IntfKind::peerEthernet},
    {"PeerPort-Channel", "PPo", IntfKind::peerPortChannel},
    {"Vlan", "Vl", IntfKind::vlan},
    {"Vxlan", "Vx", IntfKind::vxlan},
    {"VxlanTunnel", "VxlanTunnel", IntfKind::vxlanTunnel},
};
constexpr std::string_view peerWord = "Peer";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Digits without leading zeros.
bool isNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit) &&
         (text.size() == 1 || text.front() != '0');
}

// Numbers with slashes between, as ports of line cards have.
bool isNumberPath(std::string_view text) {
  for (;;) {
    auto const slash = text.find('/');
    if (!isNumber(text.substr(0, slash))) return false;
    if (slash == text.npos) return true;
    text.remove_prefix(slash + 1);
  }
}

U32 vlanNumber(std::string_view text) {
  U32 number = 0;
  auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() && number <= Bridging::VlanId::max ? number : 0;
}

bool fits(Pattern const & pattern, std::string_view name) {
  if (!name.starts_with(pattern.word)) return false;
  auto const number = name.substr(pattern.word.size());
  switch (pattern.kind) {
    case IntfKind::ethernet:
    case IntfKind::peerEthernet:
      return isNumberPath(number);
    case IntfKind::vlan:
      return isNumber(number) && vlanNumber(number) != 0;
    case IntfKind::vxlan:
      return number == "1";
    default:
      return isNumber(number);
  }
}

Pattern const * patternOf(std::string_view name) {
  auto const * found = std::find_if(std::begin(patterns), std::end(patterns),
                                    [&](auto const & pattern) { return fits(pattern, name); });
  return found == std::end(patterns) ? nullptr : found;
}

// The name of the parent, if `name` is a sub-interface's; otherwise empty.
std::string_view parentName(std::string_view name) {
  auto const dot = name.find('.');
  if (dot == name.npos || !isNumber(name.substr(dot + 1))) return {};
  auto const parent = name.substr(0, dot);
  auto const * pattern = patternOf(parent);
  bool const allowed =
      pattern && (pattern->kind == IntfKind::ethernet || pattern->kind == IntfKind::portChannel);
  return allowed ? parent : std::string_view();
}

// The digits that `text` starts with, without leading zeros; takes them off.
std::string_view takeNumber(std::string_view & text) {
  auto const end = std::find_if_not(text.begin(), text.end(), isDigit) - text.begin();
  auto number = text.substr(0, static_cast<std::size_t>(end));
  text.remove_prefix(number.size());
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return number;
}

// The order of names: numbers by value, all else by bytes.
bool nameLess(std::string_view a, std::string_view b) {
  auto const wholeA = a, wholeB = b;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      auto const numberA = takeNumber(a), numberB = takeNumber(b);
      if (numberA.size() != numberB.size()) return numberA.size() < numberB.size();
      if (numberA != numberB) return numberA < numberB;
    } else {
      if (a.front() != b.front()) return static_cast<U8>(a.front()) < static_cast<U8>(b.front());
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  if (a.empty() != b.empty()) return a.empty();
  return wholeA < wholeB;  // equal but for leading zeros
}

}  // namespace

// All interface names of the process.
class IntfTable {
 public:
  using Entry = IntfId::Entry;

  static constexpr Entry noIntf{};  // what there is before the first name

  static IntfTable & get() {
    // Never destroyed: ids in static objects outlive everything else.
    static auto & table = *new IntfTable;
    return table;
  }

  U32 index(std::string_view text) {
    Zet::Name const name(text);
    auto const [at, isNew] = indexes_.try_emplace(name, static_cast<U32>(entries_.size()));
    auto const index = at->second;
    if (isNew) {
      entries_.push_back({.name = name, .hash = name.hash()});
      rankIs(index);
      auto const traits = traitsOf(text);  // may add the related name
      entries_[index].traits = traits;
      IntfId::entries_ = entries_.data();
    }
    return index;
  }

  // Replaces what the name says of itself, and what was declared before.
  void traitsIs(U32 index, IntfId::Traits const & traits) {
    ZET_ASSERT(index != 0, "index != 0");
    auto & current = entries_[index].traits;
    if (U32 & routed = routedIntf_[current.vlan.value()]; routed == index) routed = 0;
    if (traits.vlan) routedIntf_[traits.vlan.value()] = index;
    current = traits;
  }
  U32 routedIntf(Bridging::VlanId vlan) {
    U32 & index = routedIntf_[vlan.value()];
    if (!index) index = this->index("Vlan" + std::to_string(vlan.value()));
    return index;
  }

 private:
  IntfTable() : entries_(1) { IntfId::entries_ = entries_.data(); }

  // Gives a new entry a rank between its neighbours'. Only when there is no room left are all ranks
  // dealt anew, evenly.
  void rankIs(U32 index) {
    auto const less = [this](U32 a, U32 b) {
      return nameLess(entries_[a].name.view(), entries_[b].name.view());
    };
    auto const next = std::lower_bound(sorted_.begin(), sorted_.end(), index, less);
    U64 const below = next == sorted_.begin() ? 0 : entries_[*std::prev(next)].rank;
    U64 const above = next == sorted_.end() ? below + 2 * step : entries_[*next].rank;
    sorted_.insert(next, index);
    entries_[index].rank = below + (above - below) / 2;
    if (entries_[index].rank > below) return;
    for (U64 rank = 0; U32 sorted : sorted_) entries_[sorted].rank = rank += step;
  }

  IntfId::Traits traitsOf(std::string_view name) {
    if (name == "Cpu") return {.kind = IntfKind::cpu};
    if (name == "Null0") return {.kind = IntfKind::null0};
    if (auto const parent = parentName(name); !parent.empty()) {
      return {.related = index(parent), .kind = IntfKind::subIntf};
    }
    auto const * pattern = patternOf(name);
    if (!pattern) return {};
    IntfId::Traits traits{.kind = pattern->kind};
    if (traits.kind == IntfKind::vlan) {
      traits.vlan = Bridging::VlanIdOrNone(vlanNumber(name.substr(pattern->word.size())));
    } else if (name.starts_with(peerWord)) {
      traits.related = index(name.substr(peerWord.size()));
    }
    return traits;
  }

  // 2^32 names can follow each other at the end before a rank overflows.
  static constexpr U64 step = U64{1} << 31;

  struct HashName {
    std::size_t operator()(Zet::Name name) const { return name.hash(); }
  };
  std::vector<Entry> entries_;  // the first is that of no interface
  std::unordered_map<Zet::Name, U32, HashName> indexes_;
  std::vector<U32> sorted_;
  std::array<U32, Bridging::VlanId::max + 1> routedIntf_{};
};

constinit IntfId::Entry const * IntfId::entries_ = &IntfTable::noIntf;

IntfId::IntfId(std::string_view name) : index_(name.empty() ? 0 : IntfTable::get().index(name)) {}

IntfId IntfId::ofVlan(Bridging::VlanId vlan) {
  return fromIndex(IntfTable::get().routedIntf(vlan));
}

void IntfId::kindIs(IntfKind kind) const { IntfTable::get().traitsIs(index_, {.kind = kind}); }

void IntfId::routedVlanIs(Bridging::VlanId vlan) const {
  IntfTable::get().traitsIs(index_, {.vlan = vlan, .kind = IntfKind::vlan});
}

void IntfId::parentIs(IntfId parent) const {
  IntfTable::get().traitsIs(index_, {.related = parent.index_, .kind = IntfKind::subIntf});
}

std::string IntfId::shortName() const {
  auto const name = view();
  auto const parent = parentName(name);
  auto const * pattern = patternOf(parent.empty() ? name : parent);
  if (!pattern) return std::string(name);
  return std::string(pattern->shortWord) + std::string(name.substr(pattern->word.size()));
}

}  // namespace Nettle
