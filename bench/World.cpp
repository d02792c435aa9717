#include "bench/World.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "bench/Measure.h"
#include "bench/Uncounted.h"
#include "platform/EntityManager.h"
#include "state/Bridging.h"
#include "state/IntfVlanId.h"
#include "state/Ip.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/MulticastFib.h"
#include "state/PimIntf.h"
#include "state/Routing.h"
#include "state/Snooping.h"
#include "state/Topology.h"

namespace Bench {

using namespace Brindle;
using Bridging::VlanId;
using Nettle::IntfId;
using Shoal::Multicast::Fib::OifIndex;

namespace {

constexpr U32 kFirstVlan = 100;
constexpr U32 kInputVlan = 10;
// No route has a bit of this VLAN in its filter when there are few outputs.
constexpr U32 kUnusedVlan = 30;
L3::VrfName const kVrf("default");

std::string newRoot() {
  static U32 worlds = 0;
  return "/dev/shm/brindle-bench." + std::to_string(getpid()) + "." + std::to_string(worlds++);
}

Zet::String treeName(U32 vid) { return Zet::String("tree" + std::to_string(vid)); }

IntfId svi(U32 vid) { return IntfId::ofVlan(VlanId(vid)); }

}  // namespace

void CountingChip::doAllocateMtableOifSet(Zet::Ptr<OifSet const> const &) {
  Uncounted uncounted;
  ++setAllocations;
  mtableOifSetIs(set_);
}

void CountingChip::doAllocateRoute(Key const &, Bridging::VlanIdOrNone, bool,
                                   Zet::Ptr<MtableOifSet> const &, bool, bool,
                                   Shoal::Multicast::Fib::RpaIndex, L3::VrfName) {
  Uncounted uncounted;
  ++routeAllocations;
  routeHandleIs(RouteHandle{++next_});
}

World::World(Options const & options)
    : root_(newRoot()),
      clock_(Zet::make<Zet::RealClock>()),
      tables_(Zet::make<MrouteTableColl>()),
      programmer_(Zet::make<MrouteProgrammer>(Zet::Name("programmer"))),
      asyncProgrammer_(Zet::make<AsyncMrouteProgrammer>(Zet::Name("programmer"))),
      agent_(Zet::make<Agent>(Zet::Name("agent"))),
      watch_(std::make_shared<ZetShoal::ShoalWatch>()),
      writer_(Zet::make<Shoal::Multicast::Fib::ShmStatusWriter>(root_, "pim.default")),
      reader_(Zet::make<Shoal::Multicast::Fib::ShmStatus>(watch_, root_, "pim.default")),
      outputs_(options.vlans) {
  if (options.async) {
    makeAsyncChips(options.chips);
  } else {
    makeChips(options);
  }
  makeVlans(options);
  makeAgent();
}

World::~World() {
  agent_->miraDel();
  programmer_->rootSmDel();
  asyncProgrammer_->rootSmDel();
  reader_ = nullptr;
  writer_->remove();
  writer_ = nullptr;
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void World::makeChips(Options const & options) {
  auto sim = Zet::make<SimFabric>(Zet::Name("fabric"));
  fabric_ = sim;
  for (U32 i = 0; i < options.chips; ++i) {
    Zet::Name name("chip" + std::to_string(i));
    if (options.simulatedChips) {
      auto chip = sim->chipIs(name, i);
      chip->routeTotalIs(~0u);
      chip->pvTotalIs(1u << 30);
      chip->pvNumFreeIs(1u << 30);
      for (U32 p = 1; p <= options.portsPerVlan; ++p) {
        chip->portIs(IntfId("Ethernet" + std::to_string(p)), true);
      }
    } else {
      chips_.push_back(Zet::make<CountingChip>(name, i));
      fabric_->chipIs(chips_.back());
    }
  }
}

void World::makeAsyncChips(U32 count) {
  asyncFabric_ = Zet::make<AsyncFabric>(Zet::Name("fabric"));
  for (U32 i = 0; i < count; ++i) {
    asyncChips_.push_back(Zet::make<AsyncCountingChip>(Zet::Name("chip" + std::to_string(i)), i));
    asyncFabric_->chipIs(asyncChips_.back());
  }
}

void World::makeProgrammer(Zet::Ptr<Routing::Multicast::Fib::Hardware::Status> const & status) {
  if (!asyncFabric_) {
    programmer_->rootSmIs({.clock = clock_,
                           .fabric = fabric_,
                           .mrouteTableColl = tables_,
                           .mfib = status,
                           .intfVlanIdTable = inputs_.intfVlanIdTable});
    return;
  }
  auto review = Zet::make<MrouteReviewConfig>();
  review->reviewFreqIs(mrouteReviewEnabled);
  asyncProgrammer_->rootSmIs({.clock = clock_,
                              .fabric = asyncFabric_,
                              .mrouteTableColl = tables_,
                              .mfib = status,
                              .intfVlanIdTable = inputs_.intfVlanIdTable,
                              .reviewConfig = review,
                              .pimIntfStatus = inputs_.pimIntfStatus,
                              .mcastGroupStatus = nullptr});
}

void World::makeVlans(Options const & options) {
  topology_ = Zet::make<Bridging::Topology::Config>();
  auto vlans = Zet::make<Bridging::VlanStatusDir>();
  auto ip = Zet::make<Ip::Status>();
  auto intfVlans = Zet::make<IntfVlanId::Table>();
  auto addVlan = [&](U32 vid, U32 ports) {
    auto vlan = vlans->vlanStatusIs(VlanId(vid));
    auto topo = topology_->topoConfigIs(treeName(options.treePerVlan ? vid : 0));
    topology_->vidToTopoMapIs(VlanId(vid), topo);
    for (U32 p = 1; p <= ports; ++p) {
      IntfId port("Ethernet" + std::to_string(p));
      vlan->vlanPortStatusIs(port, {Bridging::VlanPortMode::tagged});
      topo->topoPortConfigIs(port)->stateIs(Bridging::Topology::PortState::forwarding);
    }
    ip->ipIntfStatusIs(svi(vid))->vrfIs(kVrf);
    intfVlans->internalVlanIdIs(svi(vid), VlanId(vid));
  };
  addVlan(kInputVlan, 1);
  for (U32 i = 0; i < options.vlans; ++i) addVlan(kFirstVlan + i, options.portsPerVlan);
  inputs_.brTopo = topology_;
  inputs_.vlanStatusDir = vlans;
  inputs_.ipStatus = ip;
  inputs_.intfVlanIdTable = intfVlans;

  writer_->oifIndexIntfIs(OifIndex{0}, {svi(kInputVlan), Shoal::Multicast::Fib::oifAccept});
  for (U32 i = 0; i < options.vlans; ++i) {
    writer_->oifIndexIntfIs(OifIndex{static_cast<U16>(i + 1)},
                            {svi(kFirstVlan + i), Shoal::Multicast::Fib::oifForward});
  }
  writer_->commit();
}

void World::makeAgent() {
  auto config = Zet::make<Routing::Multicast::Fib::VrfConfig>();
  config_ = config->configIs(kVrf);
  config_->routingIs(true);
  auto info = Zet::make<Routing::RoutingGenInfo>(Zet::Name("default"));
  info->routingIs(true);
  auto infos = Zet::make<Zet::Dir>();
  infos->entityIs(Zet::Name("default"), info);
  auto status = Zet::make<Routing::Multicast::Fib::Hardware::Status>();
  status->hwRoutingIs(true);
  auto vrfs = Zet::make<Ip::AllVrfStatusLocal>();
  vrfs->vrfIs(kVrf);

  inputs_.mrouteTableColl = tables_;
  inputs_.clock = inputs_.fastdropClock = inputs_.fastdropLogClock = clock_;
  inputs_.lagStatusDir = Zet::make<Interface::EthLagIntfStatusDir>();
  inputs_.snoopingStatus = Zet::make<Bridging::IgmpSnooping::Status>();
  inputs_.mfibVrfConfig = config;
  inputs_.status = status;
  inputs_.lagOperation = lagExpand;
  inputs_.pimEnabled = Zet::make<PimEnabled>();
  inputs_.routingInfoDir = infos;
  inputs_.mlagStatus = Zet::make<Mlag::Status>();
  inputs_.brConfig = Zet::make<Bridging::Config>();
  inputs_.staticNatInfo = Zet::make<StaticNatInfo>();
  inputs_.reviewInfo = Zet::make<ReviewInfo>();
  inputs_.allVrfStatusLocal = vrfs;
  inputs_.pimIntfStatus = Zet::make<Routing::Multicast::Fib::PimIntf::Status>();
  inputs_.mbrIntf = Zet::make<Routing::Multicast::Fib::MbrIntf>();
  inputs_.sparseModeStatus = Zet::make<Routing::Multicast::Fib::SparseModeStatus>();

  makeProgrammer(status);
  agent_->miraIs(inputs_);
  auto entities = Zet::make<Quay::EntityManager>();
  entities->entityIs("interface/config/subintf", Zet::make<Interface::SubIntfConfigDir>());
  agent_->mira()->entityManagerIs(entities);
  agent_->mira()->shoalDir()->shoalCollIs(kVrf)->shoalPtrIs(reader_.get(), reader_);
  drain();
}

Key World::key(U32 i) {
  return Key(Nettle::IpGenPrefix(Nettle::IpGenAddr(0x0a000000u + i)),
             Nettle::IpGenPrefix(Nettle::IpGenAddr(0xef000000u + i % 1000 + 1)));
}

void World::publish(U32 first, U32 count, U32 outs) {
  Route route;
  route.iifIs(svi(kInputVlan));
  for (U32 i = 0; i <= std::min(outputs_, outs); ++i) {
    route.oifIs(OifIndex{static_cast<U16>(i)}, true);
  }
  for (U32 i = first; i < first + count; ++i) {
    route.keyIs(key(i));
    writer_->routeIs(route);
  }
  writer_->commit();
}

void World::publishInTurn(U32 first, U32 count) {
  for (U32 i = first; i < first + count; ++i) {
    Route route(key(i));
    route.iifIs(svi(kInputVlan));
    route.oifIs(OifIndex{0}, true);
    route.oifIs(OifIndex{static_cast<U16>(1 + i % outputs_)}, true);
    writer_->routeIs(route);
  }
  writer_->commit();
}

void World::block(U32 vlan, U32 port, bool blocked) {
  using Bridging::Topology::PortState;
  topology_->topoConfigIs(treeName(kFirstVlan + vlan))
      ->topoPortConfigIs(IntfId("Ethernet" + std::to_string(port + 1)))
      ->stateIs(blocked ? PortState::discarding : PortState::forwarding);
}

void World::withdraw(U32 first, U32 count) {
  for (U32 i = first; i < first + count; ++i) writer_->routeDel(key(i));
  writer_->commit();
}

double World::drain() {
  double longest = 0;
  for (bool busy = true; busy;) longest = std::max(longest, step(busy));
  return longest;
}

double World::step(bool & busy) {
  return seconds([&] {
    watch_->collect();
    busy = reader_->due();
    if (busy) reader_->turn(256);
    bool const due = clock_->earliest() <= clock_->now();
    if (due) clock_->doRunDue();
    busy = busy || due;
  });
}

void World::ingest() {
  watch_->collect();
  while (reader_->due()) reader_->turn(256);
}

void World::review() {
  while (clock_->earliest() <= clock_->now()) clock_->doRunDue();
}

void World::walk() {
  mira().doMarkVlanDirty(VlanId(kUnusedVlan));
  review();
}

VlanId World::outputVlan(U32 i) { return VlanId(kFirstVlan + i); }

Mira & World::mira() { return *agent_->mira()->mira(kVrf); }

AsyncMrouteSm & World::asyncMrouteSm() { return *asyncProgrammer_->rootSm()->asyncMrouteSm(kVrf); }

MrouteTable & World::table() { return *tables_->vrfMrouteTable(kVrf); }

}  // namespace Bench
