#include "sim/PublishedBidir.h"

#include <filesystem>
#include <utility>

#include "platform/ShoalFiles.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;
using Nettle::IpGenPrefix;
using Shoal::Multicast::Fib::DfProfile;
using Shoal::Multicast::Fib::ShmBidirStatusWriter;

std::string textOf(IpGenPrefix const & prefix) {
  std::string text;
  prefix.appendText(text);
  return text;
}

std::string tableName(Nettle::AddressFamily af, L3::VrfName vrf) {
  return ZetShoal::shoalTableName(Shoal::Multicast::Fib::bidirStatusPath(af, vrf));
}

std::string pointsText(DfProfile profile) {
  std::string text;
  for (unsigned i = 0; i < 64; ++i) {
    if (profile.bitmap >> i & 1) text += ' ' + std::to_string(i);
  }
  return text;
}

}  // namespace

PublishedBidirTable::PublishedBidirTable(Nettle::AddressFamily af, L3::VrfName vrf)
    : af_(af),
      path_(Shoal::Multicast::Fib::bidirStatusPath(af, vrf)) {
  try {
    table_ = Zet::make<ShmBidirStatusWriter>(ZetShoal::shoalRoot(), tableName(af, vrf));
  } catch (ZetShoal::ShoalError const & e) {
    throw CommandError(e.what());
  }
  staleGroups_ = table_->bidirGroup();
  staleProfiles_ = table_->dfProfile();
}

void PublishedBidirTable::groupIs(IpGenPrefix const & group, bool present) {
  if (present) {
    table_->bidirGroupIs(group);
  } else {
    table_->bidirGroupDel(group);
  }
  staleGroups_.del(group);
}

void PublishedBidirTable::profileIs(IntfId intf, DfProfile profile) {
  table_->dfProfileIs(intf, profile);
  staleProfiles_.del(intf);
}

void PublishedBidirTable::withdrawAll() {
  staleGroups_ = table_->bidirGroup();
  staleProfiles_ = table_->dfProfile();
  sweep();
}

std::size_t PublishedBidirTable::sweep() {
  auto const groups = std::exchange(staleGroups_, {});
  auto const profiles = std::exchange(staleProfiles_, {});
  for (auto const & group : groups.items()) table_->bidirGroupDel(group);
  for (auto const & intf : profiles.items()) table_->dfProfileDel(intf);
  return groups.size() + profiles.size();
}

std::string PublishedBidirTable::summary() const {
  return path_ + ": " + std::to_string(table_->bidirGroup().size()) + " groups, " +
         std::to_string(table_->dfProfile().size()) + " profiles; of an earlier run: " +
         std::to_string(staleGroups_.size() + staleProfiles_.size());
}

std::vector<std::string> PublishedBidirTable::lines() const {
  std::vector<std::string> out;
  for (auto const & group : table_->bidirGroup().items()) {
    out.push_back("bidir group add " + textOf(group));
  }
  for (auto const & intf : table_->dfProfile().items()) {
    out.push_back("bidir df add " + std::string(intf.view()) + pointsText(table_->dfProfile(intf)) +
                  (af_ == Nettle::ipv6() ? " ipv6" : ""));
  }
  return out;
}

PublishedBidir::PublishedBidir(std::string const & routeTable)
    : vrf_(routeTable.substr(routeTable.find('.') + 1)) {}

PublishedBidirTable & PublishedBidir::table(Nettle::AddressFamily af) {
  auto & table = tables_[af];
  if (!table) table = std::make_unique<PublishedBidirTable>(af, L3::VrfName(vrf_));
  return *table;
}

void PublishedBidir::takeOver() {
  for (auto const af : {Nettle::ipv4(), Nettle::ipv6()}) {
    auto const name = tableName(af, L3::VrfName(vrf_));
    if (std::filesystem::exists(ZetShoal::shoalPath(ZetShoal::shoalRoot(), name))) table(af);
  }
}

std::vector<PublishedBidirTable *> PublishedBidir::tables() const {
  std::vector<PublishedBidirTable *> out;
  for (auto const & [af, table] : tables_) {
    if (table) out.push_back(table.get());
  }
  return out;
}

void PublishedBidir::remove() {
  for (auto * table : tables()) table->remove();
  tables_.clear();
}

}  // namespace Brindle::Sim
