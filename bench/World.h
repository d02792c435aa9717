// What the benchmarks measure on: a whole switch with real shared-memory tables, the resolver and
// the programmer, on the real clock.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "bench/AsyncCountingChip.h"
#include "fabric/SimFabric.h"
#include "mira/Agent.h"
#include "mira/MiraRoot.h"
#include "platform/Clock.h"
#include "programmer/AsyncMrouteProgrammer.h"
#include "programmer/MrouteProgrammer.h"
#include "state/ShmStatus.h"

namespace Bench {

using Key = Routing::Multicast::Fib::IpGenRouteKey;
using Route = Shoal::Multicast::Fib::Route;

// Hands out entries and sets from counters, so that what is measured is the library. What it does
// itself is not counted: see Uncounted.
class CountingChip : public Brindle::SwitchChip {
 public:
  using SwitchChip::SwitchChip;
  void doAllocateMtableOifSet(Zet::Ptr<Brindle::OifSet const> const & oifSet) override;
  void doAllocateRoute(Key const & sg, Bridging::VlanIdOrNone acceptingVlanId, bool bridgeAction,
                       Zet::Ptr<Brindle::MtableOifSet> const & mtableOifSet, bool fastdrop,
                       bool noRpf, Shoal::Multicast::Fib::RpaIndex rpaId, L3::VrfName vrf) override;
  void doSetMtableOifSet(Brindle::RouteHandle, Zet::Ptr<Brindle::MtableOifSet> const &) override {
    ++setSets;
  }
  void doSetBridgeAction(Brindle::RouteHandle, bool) override {}
  void doDeleteRoute(Brindle::RouteHandle) override { ++deletions; }
  void doActivateRoute(Brindle::RouteHandle) override { ++activations; }
  void doCommitRouteBatch() override {}

  U64 setAllocations = 0;
  U64 routeAllocations = 0;
  U64 setSets = 0;
  U64 activations = 0;
  U64 deletions = 0;

 private:
  U32 next_ = 0;
  // One object stands for all sets: their memory is the chip's, not the library's.
  Zet::Ptr<Brindle::MtableOifSet> const set_ = Zet::make<Brindle::MtableOifSet>();
};

struct Options {
  U32 vlans = 8;         // outputs of a route
  U32 portsPerVlan = 4;  // members of each
  U32 chips = 1;
  bool simulatedChips = false;
  bool async = false;        // chips that answer later
  bool treePerVlan = false;  // a spanning tree for each VLAN
};

class World {
 public:
  explicit World(Options const & options);
  ~World();

  // Publishes routes first to first + count - 1, each with all outputs but those from `outs` on.
  void publish(U32 first, U32 count, U32 outs = ~0u);
  // The same with one output each, the VLANs in turn.
  void publishInTurn(U32 first, U32 count);
  void withdraw(U32 first, U32 count);
  // Blocks a port of an output VLAN, or lets it forward; both are counted from 0. REQUIRES:
  // treePerVlan.
  void block(U32 vlan, U32 port, bool blocked);
  // Runs until nothing is due: the transport's turns and the reviews. Returns the longest turn in
  // seconds.
  double drain();
  // One such turn, and how long it took; `busy`: there was something to do.
  double step(bool & busy);
  // One turn of the loop: the timer that is most overdue.
  void turn() { clock_->doRunDue(); }
  // Only the transport's turns, not the reviews.
  void ingest();
  // Only the reviews.
  void review();
  // Marks a VLAN that no route depends on, so that a pass walks over clean routes.
  void walk();

  Brindle::MiraRoot & miraRoot() { return *agent_->mira(); }
  Brindle::Mira & mira();
  Brindle::MrouteTable & table();
  CountingChip & chip(U32 i = 0) { return *chips_[i]; }
  AsyncCountingChip & asyncChip(U32 i = 0) { return *asyncChips_[i]; }
  Brindle::AsyncMrouteSm & asyncMrouteSm();
  static Key key(U32 i);
  static Bridging::VlanId outputVlan(U32 i);
  Routing::Multicast::Fib::Config & config() { return *config_; }

 private:
  void makeChips(Options const &);
  void makeAsyncChips(U32 count);
  void makeVlans(Options const &);
  void makeAgent();
  void makeProgrammer(Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> const &);

  std::string const root_;
  Zet::Ptr<Zet::RealClock> clock_;
  Zet::Ptr<Brindle::Fabric> fabric_;
  std::vector<Zet::Ptr<CountingChip>> chips_;
  Zet::Ptr<Brindle::AsyncFabric> asyncFabric_;  // null if the chips answer at once
  std::vector<Zet::Ptr<AsyncCountingChip>> asyncChips_;
  Zet::Ptr<Brindle::MrouteTableColl> tables_;
  Zet::Ptr<Brindle::MrouteProgrammer> programmer_;
  Zet::Ptr<Brindle::AsyncMrouteProgrammer> asyncProgrammer_;
  Zet::Ptr<Brindle::Agent> agent_;
  Brindle::MiraRoot::Inputs inputs_;
  Zet::Ptr<Bridging::Topology::Config> topology_;
  Zet::Ptr<Routing::Multicast::Fib::Config> config_;
  std::shared_ptr<ZetShoal::ShoalWatch> watch_;
  Zet::Ptr<Shoal::Multicast::Fib::ShmStatusWriter> writer_;
  Zet::Ptr<Shoal::Multicast::Fib::ShmStatus> reader_;
  U32 const outputs_;
};

}  // namespace Bench
