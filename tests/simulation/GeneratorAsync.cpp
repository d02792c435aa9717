// Chips that answer later, and programmers that die.
//
// Whether a seed has such chips is drawn from a stream of its own, and so are their events, which
// come between the others: the script of a seed is else what it would be without them.
#include "tests/simulation/Generator.h"

namespace Simulation {

namespace {

// What the streams begin with must not be each other's.
constexpr U64 apart = 0xa5a5a5a55a5a5a5a;
constexpr U64 farther = 0x3c3c3c3cc3c3c3c3;
constexpr U64 farthest = 0x6996699696699669;
constexpr U64 beyond = 0x5ac35ac3c35ac35a;

}  // namespace

Generator::Generator(U64 seed)
    : random_(seed),
      later_(seed ^ apart),
      agents_(seed ^ farther),
      edges_(seed ^ farthest),
      points_(seed ^ beyond) {
  async_ = later_.percent(40);
  programmerDies_ = later_.percent(async_ ? 30 : 15);
}

// To be said before the first chip.
void Generator::configureAsync() {
  if (async_) add(later_.percent(40) ? "fabric async unknown-entries" : "fabric async");
}

// In a third of the seeds chips never fail: then all that does not wait for them must stand. A
// fifth of the kinds of events does not occur.
void Generator::weighAsync() {
  using G = Generator;
  asyncFaults_ = async_ && later_.percent(66);
  if (async_) {
    asyncEvents_ = {{10, &G::chipAnswers},
                    {8, &G::xactAll},
                    {4, &G::xactOne},
                    {3, &G::review},
                    {2, &G::backupTakesOver}};
  }
  if (asyncFaults_) {
    std::initializer_list<Event> const faults = {{4, &G::chipFail}, {4, &G::chipLimit}};
    asyncEvents_.insert(asyncEvents_.end(), faults);
  }
  for (auto & event : asyncEvents_) event.weight *= later_.percent(20) ? 0 : 1;
  if (programmerDies_) asyncEvents_.push_back({async_ ? 2u : 1u, &G::programmerLife});
  for (auto const & event : asyncEvents_) asyncWeight_ += event.weight;
}

// With as many as one in four of the others.
void Generator::asyncEvent() {
  if (asyncWeight_ == 0 || !later_.percent(async_ ? 25 : 5)) return;
  U32 at = later_.below(asyncWeight_);
  auto event = asyncEvents_.begin();
  while (at >= event->weight) at -= event++->weight;
  (this->*event->make)();
}

// Room for all, and no more faults.
void Generator::healAsync() {
  if (killed_) programmerLife();
  if (!async_) return;
  for (U32 i = 0; i < chips_; ++i) {
    std::string const name = "c" + std::to_string(i);
    for (auto const * what : {" sets", " ingress"}) add({"chip fail ", name, what, " off"});
    for (auto const * what : {" sets ", " routes ", " ingress "}) {
      add({"chip limit ", name, what, plenty()});
    }
    add({"chip answers ", name, " after ", later_.of({"0.001", "0.001", "0.4", "3"})});
  }
  add("review on");
}

// What has not been answered when its route goes never is.
void Generator::tearDownAsync() {
  if (!async_) return;
  for (U32 i = 0; i < chips_; ++i) {
    if (later_.percent(30)) add({"chip answers c", std::to_string(i), " on-command"});
  }
}

// --- Events

std::string Generator::laterChip() { return "c" + std::to_string(later_.below(chips_)); }

void Generator::chipAnswers() {
  std::string how = " on-command";
  U32 const sort = later_.below(10);
  if (sort < 2) how = " at-once";
  if (sort >= 4) {
    how = " after " + later_.of({"0.001", "0.01", "0.02", "0.3", "1.5", "3", "20", "300"});
    how += " order " + later_.of({"fifo", "lifo", "random", "random"});
  }
  if (how != " on-command") {
    if (asyncFaults_ && later_.percent(40)) how += " fail " + later_.of({"5", "20", "50", "100"});
    how += " seed " + std::to_string(later_.between(1, 1000));
  }
  add({"chip answers ", laterChip(), how});
}

std::string Generator::result() { return asyncFaults_ && later_.percent(35) ? "fail" : "ok"; }

void Generator::xactAll() {
  std::string const which = later_.percent(50) ? "" : " " + laterChip();
  add({"xact ", result(), which});
}

// Its number is guessed.
void Generator::xactOne() {
  std::string which = " " + laterChip();
  which += later_.of({" set ", " ingress "});
  U32 const first = later_.between(1, 60);
  std::string const how = result();
  for (U32 i = first; i < first + 4; ++i) add({"xact ", how, which, std::to_string(i)});
}

void Generator::chipFail() {
  add({"chip fail ", laterChip(), later_.of({" sets ", " ingress "}),
       later_.percent(45) ? "on" : "off"});
}

void Generator::chipLimit() {
  std::string const most = later_.percent(30) ? plenty() : std::to_string(later_.between(0, 24));
  add({"chip limit ", laterChip(), later_.of({" sets ", " routes ", " ingress "}), most});
}

void Generator::review() { add({"review ", later_.percent(50) ? "on" : "off"}); }

// The entry of a backup input becomes the route's own.
void Generator::backupTakesOver() {
  std::string const where = later_.of(tables_), backup = later_.of({"Vlan10", "Vlan20", "et1"});
  Published route;
  route.iif = later_.of({"Vlan30", "Vlan20", "Vlan10"});
  route.oifs = {"Vlan30", "Vlan20"};
  route.frr = backup;
  std::string const key =
      (v6_ ? "fd00::2 " : "10.0.0.2 ") + std::string(v6_ ? "ff1e::1" : "239.1.1.1");
  publish(where, key, route);
  if (later_.percent(70)) add("settle");
  route.iif = backup;
  route.frr = later_.percent(30) ? "Vlan30" : "";
  publish(where, key, route);
}

void Generator::programmerLife() {
  add(killed_ ? "programmer start" : "programmer kill");
  killed_ = !killed_;
}

}  // namespace Simulation
