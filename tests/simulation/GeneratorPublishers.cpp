// Events of a script in which those who publish routes are the trouble: more changes than the
// readers' queues hold, keys that go and come between two reads, tables whose publisher goes, comes
// back with another content, or leaves a file that nobody can read.
#include <algorithm>

#include "tests/simulation/Generator.h"

namespace Simulation {

void Generator::addPublisherEvents() {
  using G = Generator;
  std::initializer_list<Event> const more = {{3, &G::publishBurst},  {1, &G::publishMany},
                                             {3, &G::publishAnew},   {4, &G::publishTwin},
                                             {2, &G::walkCutOff},    {1, &G::publisherGo},
                                             {2, &G::publisherCome}, {2, &G::publisherRestart},
                                             {1, &G::publisherSync}, {1, &G::tableDamage}};
  events_.insert(events_.end(), more);
}

// --- Many changes between two reads

// A table of a few routes hands over the last 16 or 32 changes; who comes later walks it.
void Generator::publishBurst() {
  std::string const which = table();
  burstOn(which, random_.between(10, 60));
}

void Generator::burstOn(std::string const & table, U32 changes) {
  if (keysOf(table).empty()) publishNew(table);
  while (changes-- > 0) {
    auto const keys = keysOf(table);
    U32 const sort = random_.below(10);
    if (keys.empty() || sort < 2) {
      publishNew(table);
      continue;
    }
    std::string const key = random_.of(keys);
    if (sort < 5) {
      withdraw(table, key);
    } else {
      Published route = published_[{table, key}];
      change(route);
      publish(table, key, route);
    }
  }
}

// More than one slice of a walk, a review or a turn of the loop deals with.
void Generator::publishMany() {
  std::string const where = table();
  Published route = freshRoute();
  U32 const first = random_.between(1, 20);
  U32 const count = random_.between(20, 120);
  bool const withdrawn = random_.percent(50);
  for (U32 i = first; i < first + count; ++i) {
    if (random_.percent(20)) change(route);
    std::string const host = std::to_string(i);
    publish(where, (v6_ ? "fd00::1:" : "10.7.0.") + host + " " + group(), route);
  }
  if (random_.percent(50)) clock();
  if (!withdrawn) return;
  for (auto const & key : keysOf(where)) {
    if (random_.percent(80)) withdraw(where, key);
  }
}

// One key goes and comes, so that its reader meets what looks like a change.
void Generator::publishAnew() {
  if (published_.empty()) return publishNew();
  auto const [table, key] = random_.of(published_).first;
  Published route = published_[{table, key}];
  for (U32 i = random_.between(1, 3); i > 0; --i) {
    withdraw(table, key);
    if (random_.percent(20)) turns();
    if (random_.percent(70)) change(route);
    publish(table, key, random_.percent(80) ? route : freshRoute());
  }
}

// A route of one table in another one of its VRF, or in none but one of them.
void Generator::publishTwin() {
  if (published_.empty()) return publishNew();
  auto const [table, key] = random_.of(published_).first;
  std::string const vrf = table.substr(table.find('.'));
  std::string const other = (table.starts_with("pim.") ? "static" : "pim") + vrf;
  if (std::find(tables_.begin(), tables_.end(), other) == tables_.end()) return publishNew();
  switch (random_.below(3)) {
    case 0:
      return publish(other, key, published_[{table, key}]);
    case 1:
      publish(other, key, freshRoute());
      return withdraw(table, key);
    default:
      return publish(other, key, freshRoute());
  }
}

// The table is read no more, or from the beginning, while a walk over it is under way.
void Generator::walkCutOff() {
  std::string const which = table();
  if (random_.percent(60)) add({"clock read-cost ", random_.of({"0.004", "0.02"})});
  random_.percent(40) ? publishMany() : burstOn(which, random_.between(20, 50));
  turns();
  add({"detach ", which});
  if (random_.percent(50)) turns();
  if (random_.percent(30)) burstOn(which, random_.between(1, 40));
  if (random_.percent(90)) add({"attach ", which});
}

// --- Publishers that go and come

void Generator::stop(std::string const & table, bool withdraw) {
  add({"publisher stop ", table, (withdraw ? " withdraw" : "")});
  stopped_.insert(table);
  if (withdraw) forget(table);
}

void Generator::start(std::string const & table) {
  add({"publisher start ", table});
  stopped_.erase(table);
}

void Generator::publisherGo() {
  std::string const which = table();
  stop(which, random_.percent(40));
}

void Generator::publisherCome() {
  if (!stopped_.empty()) start(random_.of(stopped_));
}

// It has what it had, or some of it, or others.
void Generator::publisherRestart() {
  std::string const which = table();
  stop(which, random_.percent(50));
  switch (random_.below(4)) {
    case 0:
      add("settle");
      break;
    case 1:
      clock();
      break;
    default:
      break;
  }
  start(which);
  auto const left = keysOf(which);
  if (left.empty()) {
    for (U32 i = random_.below(12); i > 0; --i) publishNew(which);
  }
  for (auto const & key : left) {
    if (random_.percent(40)) publish(which, key, published_[{which, key}]);
    if (random_.percent(20)) publish(which, key, freshRoute());
  }
  if (random_.percent(30)) turns();
  if (random_.percent(60)) add({"publish ", which, " sync"});
}

void Generator::publisherSync() { add({"publish ", table(), " sync"}); }

// The next publisher makes it anew.
void Generator::tableDamage() {
  std::string const which = table();
  stop(which, false);
  add({"tables damage ", which, (random_.percent(50) ? " cut" : "")});
  forget(which);
  if (random_.percent(60)) random_.percent(50) ? add("settle") : clock();
  if (random_.percent(80)) start(which);
  if (random_.percent(50)) burstOn(which, random_.between(1, 20));
}

// --- What stands, as far as is known here

std::vector<std::string> Generator::keysOf(std::string const & table) const {
  std::vector<std::string> keys;
  auto i = published_.lower_bound({table, ""});
  for (; i != published_.end() && i->first.first == table; ++i) keys.push_back(i->first.second);
  return keys;
}

void Generator::forget(std::string const & table) {
  for (auto const & key : keysOf(table)) published_.erase({table, key});
}

}  // namespace Simulation
