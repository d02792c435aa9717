#include "state/ShmBidirStatus.h"

#include <utility>

#include "platform/Mount.h"

namespace Shoal::Multicast::Fib {

namespace {

ZetShoal::MountTypeOf<ShmBidirStatus> const mountType(bidirStatusType);

std::string textOf(Nettle::IpGenPrefix const & prefix) {
  std::string text;
  prefix.appendText(text);
  return text;
}

template <class Key> Key takeLast(Zet::CompactVector<Key> & keys) {
  Key const last = keys[keys.size() - 1];
  keys.truncate(keys.size() - 1);
  return last;
}

// All keys that somebody may take to be there.
template <class Key>
Zet::CompactVector<Key> suspects(Zet::OrderedSet<Key> const & told, Zet::OrderedSet<Key> & read) {
  auto keys = told.items();
  keys.append(read.items().data(), read.size());
  read.clear();
  return keys;
}

constexpr char const * tooMany = "holds more than 65536 keys";
static_assert(maxBidirMembers == 65536);

}  // namespace

// The reader

ShmBidirStatus::ShmBidirStatus(std::shared_ptr<ZetShoal::ShoalWatch> watch,
                               std::string const & root, std::string const & table)
    : BidirStatus(Zet::Name(table)),
      watch_(std::move(watch)),
      dir_(*watch_, root, table, wireBidirType),
      groups_(dir_, wireBidirGroupMap),
      profiles_(dir_, wireDfProfileMap) {
  dir_.refresh();
}

bool ShmBidirStatus::due() const {
  return dir_.due() || !lostGroups_.empty() || !lostProfiles_.empty();
}

void ShmBidirStatus::turn(U32 atMost) {
  Zet::Ptr<ShmBidirStatus> const self(this);
  dir_.refresh();
  followLosses();
  while (atMost && followGroup()) --atMost;
  while (atMost && followProfile()) --atMost;
  followLosses();
}

void ShmBidirStatus::followLosses() {
  U32 const losses = groups_.losses() + profiles_.losses();
  bool const refused = !refusal().empty();
  bool lost = std::exchange(losses_, losses) != losses;
  lost |= !std::exchange(refused_, refused) && refused;
  if (!lost) return;
  lostGroups_ = suspects(bidirGroup(), readGroups_);
  lostProfiles_ = suspects(dfProfile(), readProfiles_);
}

// Tells one key; false if there is none.
bool ShmBidirStatus::followGroup() {
  BidirGroup group;
  WirePrefix key, record;
  if (!lostGroups_.empty()) {
    group.prefix = takeLast(lostGroups_);
    key = toWire(group.prefix);
  } else if (!groups_.nextChange(key)) {
    return false;
  } else if (!fromWire(key, group)) {
    groups_.refuseKey("holds a key that is no prefix of multicast groups");
    return false;
  }
  bool const present = groups_.read(key, record);
  if (present && bidirGroup().size() == maxBidirMembers && !bidirGroup().contains(group.prefix)) {
    groups_.refuseKey(tooMany);
    return false;
  }
  readGroups_.del(group.prefix);
  tell(group.prefix, present);
  return true;
}

bool ShmBidirStatus::followProfile() {
  IntfId intf;
  WireName key;
  WireDfProfile record;
  if (!lostProfiles_.empty()) {
    intf = takeLast(lostProfiles_);
    toWire(intf, key);
  } else if (!profiles_.nextChange(key)) {
    return false;
  } else if (!fromWire(key, intf)) {
    profiles_.refuseKey("holds a key that is no interface's name");
    return false;
  }
  if (named_.insert(intf) && named_.size() > maxBidirMembers) {
    profiles_.refuseKey(tooMany);
    return false;
  }
  readProfiles_.del(intf);
  tell(intf, profiles_.read(key, record));
  return true;
}

BidirGroup ShmBidirStatus::bidirGroup(Prefix const & prefix) const {
  bool const refused = !refusal().empty();
  WirePrefix const key = toWire(prefix);
  WirePrefix record;
  bool const present = groups_.read(key, record);
  std::string fault;
  if (!refused) fault = refusal();
  if (present && record != key)
    fault = "holds a record of " + textOf(prefix) + " that is not its own";
  if (!fault.empty()) Wharf::CorruptionDetectedException::throwException(fault.c_str());
  if (!present) return {};
  if (!bidirGroup().contains(prefix)) readGroups_.insert(prefix);
  return {prefix};
}

DfProfile ShmBidirStatus::dfProfile(IntfId intf) const {
  WireName key;
  WireDfProfile record;
  DfProfile profile;
  if (!toWire(intf, key) || !profiles_.read(key, record)) return {};
  if (fromWire(record, profile)) {
    if (!dfProfile().contains(intf)) readProfiles_.insert(intf);
    return profile;
  }
  profiles_.refuseValue("holds a profile of " + std::string(intf.view()) +
                        " that contradicts itself");
  return {};
}

void ShmBidirStatus::corruptionDetected(Wharf::CorruptionDetectedException const & e) const {
  if (refusal().empty()) groups_.refuseValue(e.what());
}

// The writer

ShmBidirStatusWriter::ShmBidirStatusWriter(std::string const & root, std::string const & table)
    : BidirStatus(Zet::Name(table)),
      dir_(root, table, wireBidirType),
      groups_(dir_, wireBidirGroupMap),
      profiles_(dir_, wireDfProfileMap) {
  takeOverGroups();
  takeOverProfiles();
}

void ShmBidirStatusWriter::takeOverGroups() {
  bool whole = groups_.intact();
  WirePrefix key, record;
  for (ZetShoal::ShoalCursor at; groups_.next(at, key, record);) {
    BidirGroup group;
    bool const good =
        fromWire(key, group) && record == key && bidirGroup().size() < maxBidirMembers;
    if (good) tell(group.prefix, true);
    whole &= good;
  }
  if (whole) return;
  groups_.discard("held what is no group prefix");
  for (Prefix const & prefix : bidirGroup().items()) groups_.put(toWire(prefix), toWire(prefix));
}

void ShmBidirStatusWriter::takeOverProfiles() {
  Zet::RbTreeMap<IntfId, DfProfile> good;
  WireName key;
  WireDfProfile record;
  bool whole = profiles_.intact();
  for (ZetShoal::ShoalCursor at; profiles_.next(at, key, record);) {
    IntfId intf;
    DfProfile profile;
    if (fromWire(key, intf) && fromWire(record, profile) && profiles_.read(key, record) &&
        good.size() < maxBidirMembers) {
      good.at(intf) = profile;
    } else {
      whole = false;
    }
  }
  if (!whole) profiles_.discard("held what is no profile");
  for (auto const & entry : good.items()) {
    toWire(entry.key, key);
    if (!whole) profiles_.put(key, toWire(entry.value));
    tell(entry.key, true);
  }
}

BidirGroup ShmBidirStatusWriter::bidirGroup(Prefix const & prefix) const {
  WirePrefix record;
  return groups_.read(toWire(prefix), record) ? BidirGroup{prefix} : BidirGroup();
}

DfProfile ShmBidirStatusWriter::dfProfile(IntfId intf) const {
  WireName key;
  WireDfProfile record;
  DfProfile profile;
  if (toWire(intf, key) && profiles_.read(key, record)) fromWire(record, profile);
  return profile;
}

void ShmBidirStatusWriter::bidirGroupIs(Prefix const & prefix) {
  if (!isGroupRange(prefix)) {
    Zet::throwRangeException(
        "a prefix of other addresses than multicast groups is no group prefix");
  }
  if (bidirGroup().size() == maxBidirMembers && !bidirGroup().contains(prefix)) {
    Zet::throwRangeException("a table can hold at most 65536 group prefixes");
  }
  if (groups_.put(toWire(prefix), toWire(prefix))) tell(prefix, true);
}

void ShmBidirStatusWriter::bidirGroupDel(Prefix const & prefix) {
  if (groups_.del(toWire(prefix))) tell(prefix, false);
}

void ShmBidirStatusWriter::dfProfileIs(IntfId intf, DfProfile profile) {
  WireName key;
  if (!toWire(intf, key)) {
    Zet::throwRangeException(
        "an interface name that is empty or longer than 31 bytes cannot be published");
  }
  bool const present = profile != DfProfile();
  if (present && dfProfile().size() == maxBidirMembers && !dfProfile().contains(intf)) {
    Zet::throwRangeException("a table can hold at most 65536 profiles");
  }
  if (present ? profiles_.put(key, toWire(profile)) : profiles_.del(key)) tell(intf, present);
}

}  // namespace Shoal::Multicast::Fib
