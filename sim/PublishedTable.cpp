#include "sim/PublishedTable.h"

#include "platform/ShoalFiles.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

constexpr U32 maxIndices = 65536;

}  // namespace

PublishedTable::PublishedTable(std::string const & name, U32 slots) : name_(name) {
  try {
    table_ = Zet::make<Shoal::Multicast::Fib::ShmStatusWriter>(ZetShoal::shoalRoot(), name, slots);
  } catch (ZetShoal::ShoalError const & e) {
    throw CommandError(e.what());
  }
  for (auto const & key : keys()) stale_.insert(key);
  // What the readers know an output by must not change under their hands.
  for (U32 i = 0; i < maxIndices; ++i) {
    OifIndex const index(static_cast<U16>(i));
    auto const oif = table_->oifIndexIntf(index);
    if (oif == OifIndexIntf()) continue;
    indices_.emplace(std::pair(oif.intf, oif.properties), index);
    nextIndex_ = i + 1;
  }
}

std::vector<PublishedTable::Key> PublishedTable::keys() const {
  std::vector<Key> out;
  for (auto i = table_->routeBegin(); i; i.advance()) out.push_back(i.key());
  return out;
}

PublishedTable::OifIndex PublishedTable::indexOf(OifIndexIntf const & oif) {
  auto const known = indices_.find({oif.intf, oif.properties});
  if (known != indices_.end()) return known->second;
  if (nextIndex_ == maxIndices) {
    throw CommandError("expected at most 65536 outputs in " + name_);
  }
  OifIndex const index(static_cast<U16>(nextIndex_));
  table_->oifIndexIntfIs(index, oif);
  ++nextIndex_;
  indices_.emplace(std::pair(oif.intf, oif.properties), index);
  return index;
}

void PublishedTable::publish(RouteSpec const & spec) {
  auto route = spec.route;
  for (auto const & oif : spec.oifs) route.oifIs(indexOf(oif), true);
  if (route.isDefault()) {
    throw CommandError(
        "expected a route that says something; an empty one is one that is not there");
  }
  table_->routeIs(route);
  stale_.erase(route.key());
}

bool PublishedTable::withdraw(Key const & key) {
  bool const stood = !table_->route(key).isDefault();
  table_->routeDel(key);
  stale_.erase(key);
  return stood;
}

void PublishedTable::withdrawAll() {
  for (auto const & key : keys()) table_->routeDel(key);
  stale_.clear();
}

std::size_t PublishedTable::sweep() {
  for (auto const & key : stale_) table_->routeDel(key);
  auto const swept = stale_.size();
  stale_.clear();
  return swept;
}

std::vector<std::string> PublishedTable::lines() const {
  std::vector<std::string> out;
  for (auto const & key : keys()) out.push_back(routeText(table_->route(key), *table_));
  return out;
}

}  // namespace Brindle::Sim
