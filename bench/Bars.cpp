// Brindle's benchmarks: what each bar of performance asks, measured.
//
//   brindle-bench                   times and memory, a line each (see bench/run for the table)
//   brindle-bench count WHAT ...    runs one piece of work, for instruction counts by callgrind(1)
//
// Times are judged as ratios within one run, on the second load of a process: the first one pays
// for the pages. Instruction counts repeat exactly.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "bench/Boundaries.h"
#include "bench/Fastdrops.h"
#include "bench/KernelMfc.h"
#include "bench/Measure.h"
#include "bench/Uncounted.h"
#include "bench/World.h"

namespace Bench {

namespace {

// Seconds a route of a second load: publish, take in, compute, program.
double secondsToLoad(World & world, U32 routes) {
  double best = 1e9;
  for (int round = 0; round < 3; ++round) {
    world.publish(0, routes);
    double took = seconds([&] { world.drain(); });
    if (round > 0) best = std::min(best, took / routes);
    world.withdraw(0, routes);
    world.drain();
  }
  return best;
}

void loads() {
  for (bool simulated : {false, true}) {
    World world({.simulatedChips = simulated});
    for (U32 routes : {1000u, 10000u, 100000u, 1000000u}) {
      std::string name =
          std::string(simulated ? "load-simulated " : "load ") + std::to_string(routes);
      report(name, secondsToLoad(world, routes) * 1e9, "ns/route");
    }
  }
}

void kernel() {
  for (U32 routes : {10000u, 100000u}) {
    KernelMfc mfc(8);
    if (!mfc.refusal().empty()) {
      std::printf("kernel\t%s\t\n", mfc.refusal().c_str());
      return;
    }
    report("kernel " + std::to_string(routes), mfc.secondsToLoad(routes) * 1e9, "ns/route");
  }
}

constexpr U32 kMemoryRoutes = 100000;

// Private bytes a route, in a process of its own: memory that is freed is not given back.
double bytesPerRoute(U32 chips, bool async = false) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  pid_t const child = fork();
  if (child == 0) {
    double bytes = 0;
    {
      World world({.chips = chips, .async = async});
      world.publish(0, 100);
      world.drain();
      double before = privateBytes();
      world.publish(100, kMemoryRoutes);
      world.drain();
      bytes = (privateBytes() - before) / kMemoryRoutes;
    }
    _exit(write(ends[1], &bytes, sizeof bytes) == sizeof bytes ? 0 : 1);
  }
  double bytes = 0;
  if (read(ends[0], &bytes, sizeof bytes) != sizeof bytes) std::abort();
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return bytes;
}

// Private bytes of a set beyond 16 a member.
double bytesPerSet() {
  constexpr U32 sets = 50000, members = 32;
  auto coll = Zet::make<Brindle::MrouteTableColl>();
  std::vector<Zet::Ptr<Brindle::OifSet>> held(sets);
  Brindle::PortVlanSet set;
  double before = privateBytes();
  for (U32 i = 0; i < sets; ++i) {
    set.clear();
    for (U32 m = 0; m < members; ++m) {
      set.append({Nettle::IntfId("Ethernet1"), Brindle::OutLif(5000 + i * members + m)});
    }
    set.saveHash();
    held[i] = coll->oifSetIs(set);
  }
  return (privateBytes() - before) / sets - 16 * members;
}

void memory() {
  double one = bytesPerRoute(1);
  report("memory route", one, "bytes");
  report("memory chip", bytesPerRoute(2) - one, "bytes");
  report("memory set", bytesPerSet(), "bytes");
}

struct Member final : Zet::RefCounted, Zet::HashLink {
  explicit Member(U32 k) : key(k) {}
  U32 const & fwkKey() const { return key; }
  U32 const key;
};

// What this thread has used: on a shared machine others take their turns in between.
double threadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// The longest that one member of a growing table has to wait.
void growth() {
  constexpr U32 members = 1000000;
  double longest = 1e9;
  for (int round = 0; round < 3; ++round) {
    double ofRound = 0;
    Zet::HashMap<U32, Member> map;
    for (U32 i = 0; i < members; ++i) {
      auto member = Zet::make<Member>(i);
      double const before = threadSeconds();
      map.insert(member);
      ofRound = std::max(ofRound, threadSeconds() - before);
    }
    longest = std::min(longest, ofRound);
  }
  report("growth", longest * 1e3, "ms");
}

void turns() {
  constexpr U32 routes = 1000000;
  World world({});
  double longest = 0;
  // The routes arrive while the loop runs, as from a busy protocol.
  for (U32 first = 0; first < routes; first += 5000) {
    world.publish(first, 5000);
    longest = std::max(longest, world.drain());
  }
  report("turn", longest * 1e3, "ms");
  double walk = 1e9;
  for (int round = 0; round < 3; ++round) walk = std::min(walk, seconds([&] { world.walk(); }));
  report("walk", walk / routes * 1e9, "ns/route");
  report("turn full-walk",
         seconds([&] {
           world.mira().doMarkAllVlansDirty();
           world.drain();
         }) / routes *
             1e9,
         "ns/route");
}

void patch() {
  World world({.vlans = 512, .portsPerVlan = 1});
  double patched = 1e9, full = 1e9;
  world.publish(0, 1);
  world.drain();
  for (U32 round = 0; round < 50; ++round) {
    world.publish(0, 1, round % 2 ? 512 : 511);
    patched = std::min(patched, seconds([&] { world.drain(); }));
  }
  world.mira().optimizeComputePortVlanSetIs(false);
  for (U32 round = 0; round < 50; ++round) {
    world.publish(0, 1, round % 2 ? 512 : 511);
    full = std::min(full, seconds([&] { world.drain(); }));
  }
  report("patch", patched * 1e9, "ns");
  report("patch full", full * 1e9, "ns");
}

// A port of one VLAN of 64 changes: the routes in that VLAN are computed, and those in the one
// whose filter bit is the same.
void change() {
  constexpr U32 routes = 100000, vlans = 64, changing = 7;
  World world({.vlans = vlans, .treePerVlan = true});
  world.publishInTurn(0, routes);
  world.drain();
  double best = 1e9;
  U32 const before = world.table().recomputations();
  U32 const unchanged = world.table().noChangeRecomputations();
  constexpr U32 rounds = 10;
  for (U32 round = 0; round < rounds; ++round) {
    world.block(changing, 0, round % 2 == 0);
    best = std::min(best, seconds([&] { world.drain(); }));
  }
  report("change", best * 1e3, "ms");
  report("change computed", double(world.table().recomputations() - before) / rounds, "routes");
  report("change in vain", double(world.table().noChangeRecomputations() - unchanged) / rounds,
         "routes");
}

void unchanged() {
  constexpr U32 routes = 100000;
  World world({});
  double load = secondsToLoad(world, routes);
  world.publish(0, routes);
  world.drain();
  CountingChip & chip = world.chip();
  U64 before[] = {chip.setAllocations, chip.routeAllocations, chip.setSets, chip.activations,
                  chip.deletions};
  double walk = seconds([&] {
    world.mira().doMarkAllVlansDirty();
    world.review();
  });
  report("unchanged", walk / routes / load, "x a load");
  report("unchanged sets", double(chip.setAllocations - before[0]) / routes, "a route");
  report("unchanged entries",
         double(chip.routeAllocations - before[1] + chip.activations - before[3] + chip.deletions -
                before[4]) /
             routes,
         "a route");
  report("unchanged pointed", double(chip.setSets - before[2]) / routes, "a route");
}

void chips() {
  World one({.chips = 1});
  World fifteen({.chips = 15});
  double a = secondsToLoad(one, 20000);
  double b = secondsToLoad(fifteen, 20000);
  report("chips 15", b / a, "x one");
}

// Both programmers on the same loads.
void async() {
  for (U32 chips : {1u, 4u, 15u}) {
    std::string const name = std::to_string(chips);
    World sync({.chips = chips});
    World async({.chips = chips, .async = true});
    report("async chips " + name, secondsToLoad(async, 20000) / secondsToLoad(sync, 20000),
           "x sync");
    report("async memory " + name, bytesPerRoute(chips, true) / bytesPerRoute(chips), "x sync");
  }
  World world({.async = true});
  double const few = secondsToLoad(world, 10000);
  report("async growth", secondsToLoad(world, 1000000) / few, "x");
}

// A chip that refuses everything: what trying all routes again costs, and how it is cut.
void asyncRetries() {
  constexpr U32 routes = 100000;
  World world({.async = true});
  AsyncCountingChip & chip = world.asyncChip();
  chip.full = true;
  world.publish(0, routes);
  bool busy = true;
  while (chip.refusals < routes) world.step(busy);
  U64 const before = chip.refusals;
  double longest = 0, spent = 0;
  U32 turns = 0;
  while (chip.refusals - before < routes) {
    double const took = world.step(busy);
    longest = std::max(longest, took);
    spent += busy ? took : 0;
    turns += busy;
  }
  report("async retry", spent / routes * 1e9, "ns/route");
  report("async retry turn", longest * 1e3, "ms");
  report("async retry turns", turns, "turns");
}

// --- Pieces of work for callgrind, which counts between the toggles only

void count(std::string const & what, U32 n) {
  U32 chipCount = what.ends_with("-15") ? 15 : what.ends_with("-4") ? 4 : 1;
  bool wide = what.starts_with("patch");
  World world({.vlans = wide ? 512u : 8u,
               .portsPerVlan = wide ? 1u : 4u,
               .chips = chipCount,
               .simulatedChips = what == "load-simulated",
               .async = what.starts_with("load-async")});
  world.publish(0, n);
  if (what == "ingest-create") {
    Counted counted;
    world.ingest();
  } else if (what.starts_with("load")) {
    Counted counted;
    world.drain();
  } else {
    world.drain();
    if (what == "ingest-update") {
      world.publish(0, n, 7);
      Counted counted;
      world.ingest();
    } else if (what == "walk") {
      Counted counted;
      world.walk();
    } else if (wide) {
      world.mira().optimizeComputePortVlanSetIs(what == "patch");
      for (U32 i = 0; i < 8; ++i) {
        world.publish(0, n, i % 2 ? 512 : 511);
        Counted counted;
        world.drain();
      }
    }
  }
  world.drain();
}

}  // namespace

}  // namespace Bench

int main(int argc, char ** argv) {
  using namespace Bench;
  if (argc == 4 && std::strcmp(argv[1], "count") == 0) {
    count(argv[2], static_cast<U32>(std::atoi(argv[3])));
    return 0;
  }
  std::pair<char const *, void (*)()> const parts[] = {
      {"loads", loads},          {"kernel", kernel}, {"memory", memory},
      {"growth", growth},        {"turns", turns},   {"patch", patch},
      {"change", change},        {"chips", chips},   {"unchanged", unchanged},
      {"fastdrops", fastdrops},  {"async", async},   {"async-retries", asyncRetries},
      {"boundaries", boundaries}};
  for (auto & [name, part] : parts) {
    if (argc == 1 || std::strcmp(argv[1], name) == 0) part();
  }
}
