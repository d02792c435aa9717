#include "tests/simulation/Publishers.h"

#include <algorithm>

#include "platform/ShoalFiles.h"
#include "sim/PublisherProcess.h"
#include "sim/TableFiles.h"

namespace Simulation {

using namespace Brindle::Sim;
using namespace Shoal::Multicast::Fib;

namespace {

constexpr U32 oifIndices = 65536;

Zet::Ptr<Tests::LocalTable> copyOf(Status const & table) {
  auto copy = Zet::make<Tests::LocalTable>();
  for (U32 i = 0; i < oifIndices; ++i) {
    OifIndex const index(static_cast<U16>(i));
    auto const oif = table.oifIndexIntf(index);
    if (!(oif == OifIndexIntf())) copy->oifIndexIntfIs(index, oif);
  }
  for (auto i = table.routeBegin(); i; i.advance()) copy->routeIs(table.route(i.key()));
  return copy;
}

}  // namespace

Publishers::Publisher::Publisher(std::string const & name)
    : table(name, ZetShoal::ShoalSegment::minSlots),
      publication(table, out),
      interpreter(publication, publishCommands()) {}

bool Publishers::run(std::vector<std::string> const & words) {
  auto const is = [&](char const * first, char const * second) {
    return words[0] == first && words.size() > 2 && words[1] == second;
  };
  if (is("publisher", "start")) {
    start(words[2]);
  } else if (is("publisher", "stop")) {
    stop(words[2], words.size() > 3);
  } else if (is("tables", "damage")) {
    damage(words);
  } else if (words[0] == "publish" && words.size() > 2) {
    publish(words);
  } else {
    return false;
  }
  return true;
}

void Publishers::start(std::string const & name) {
  Table & table = tables_[name];
  if (!table.publisher) table.publisher = std::make_unique<Publisher>(name);
}

void Publishers::stop(std::string const & name, bool withdraw) {
  Table & table = running(name);
  table.left = copyOf(table.publisher->table.status());
  if (withdraw) {
    for (auto * bidir : table.publisher->publication.bidir().tables()) {
      bidir_.erase({vrfOf(name), bidir->af()});
    }
    table.publisher->publication.bidir().remove();
  }
  table.publisher = nullptr;
  if (!withdraw) return;
  removeTable(name);
  table.left = Zet::make<Tests::LocalTable>();
}

void Publishers::publish(std::vector<std::string> const & words) {
  Publisher & publisher = *running(words[1]).publisher;
  publisher.interpreter.run(lineOf({words.begin() + 2, words.end()}));
  publisher.publication.publish();
  noteBidir(words[1], publisher);
}

void Publishers::noteBidir(std::string const & name, Publisher & publisher) {
  for (auto * table : publisher.publication.bidir().tables()) {
    PublishedPim & pim = bidir_[{vrfOf(name), table->af()}];
    pim = {{}, {}, false, pim.takeovers + publisher.takenOver.insert(table->af()).second};
    for (auto const & group : table->status().bidirGroup().items()) pim.groups.insert(group);
    for (auto intf : table->status().dfProfile().items()) {
      pim.profiles[intf] = table->status().dfProfile(intf).bitmap;
    }
  }
}

void Publishers::damage(std::vector<std::string> const & words) {
  auto const has = [&](char const * what) {
    return std::find(words.begin(), words.end(), what) != words.end();
  };
  auto const how = has("cut") ? Damage::cutShort : Damage::replaced;
  if (has("bidir")) {
    auto const af = has("ipv6") ? Nettle::ipv6() : Nettle::ipv4();
    PublishedPim & pim = bidir_[{vrfOf(words[2]), af}];
    if (pim.damaged) throw CommandError("expected a table that is whole");
    damageBidirTable(words[2], af, how);
    if (how == Damage::cutShort) pim = {};
    pim.damaged = true;
  } else {
    damageTable(words[2], how);
    tables_[words[2]].left = Zet::make<Tests::LocalTable>();
  }
}

Publishers::Table & Publishers::running(std::string const & name) {
  Table & table = tables_[name];
  if (!table.publisher) throw CommandError("no such publisher");
  return table;
}

std::vector<ReadTable> Publishers::read(std::vector<std::string> const & tables) const {
  std::vector<ReadTable> out;
  for (auto const & name : tables) {
    auto const found = tables_.find(name);
    if (found == tables_.end()) continue;
    auto const & [publisher, left] = found->second;
    out.push_back({name, publisher ? &publisher->table.status() : left.get()});
  }
  return out;
}

}  // namespace Simulation
