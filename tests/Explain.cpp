// What a computation tells of itself: on random switches it says of each port of each output VLAN,
// once, what decided it, agrees with the set that stands, is borne out by the records, and changes
// nothing.
#include "mira/Explanation.h"

#include <random>
#include <set>

#include "mira/Expansion.h"
#include "mira/Mira.h"
#include "tests/FaultyChip.h"
#include "tests/Switch.h"

namespace Tests {

using namespace Brindle;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Routing::Multicast::Fib::PimIntf::PrefixKey;

namespace {

// A platform with logical interfaces, LAGs of its own and VTEPs.
struct Platform : MiraHelper {
  Platform(MiraRoot * root, U32 seed) : MiraHelper(root), seed_(seed) {}
  OutLif doGetOutLifValue(VlanId vid, IntfId port,
                          Routing::Multicast::Fib::RouteKeyType) const override {
    if (port.isSubIntf()) return seed_ % 2 ? OutLif() : OutLif(5000);
    return port == intf("Ethernet7") ? OutLif(6000u + vid.value()) : OutLif(vid);
  }
  bool passLag(PortVlanSet const &, PortVlanSet const &, L3::VrfName const &,
               Key const &) override {
    return seed_ % 3;
  }
  bool isIntfHwLag(IntfId lag) override { return lag != intf("Port-Channel2"); }
  bool floodToAllVteps() const override { return seed_ % 4 == 1; }

 private:
  U32 const seed_;
};

using Verdict = PortVerdict;

}  // namespace

class Explain : public Switch {
 protected:
  void SetUp() override {
    told_ = Zet::make<FaultyChip>("told", 1u);
    told_->routeTotalIs(1000);
    told_->pvTotalIs(100000);
    told_->pvNumFreeIs(100000);
    told_->calls = &calls_;
    static_cast<Fabric &>(*fabric).chipIs(told_);
  }

  // The explanation of a route; proves that the making of it has changed nothing.
  Zet::Ptr<Mroute const> explain(Key const & key, Explanation & explanation) {
    std::string const before = everything();
    calls_.clear();
    auto const copy = mira().explain(key, explanation);
    EXPECT_EQ(before, everything()) << key.pretty();
    EXPECT_TRUE(calls_.empty()) << key.pretty();
    return copy;
  }

  // All that a computation of a route may change anywhere.
  std::string everything() {
    MrouteTable & table = routes();
    std::ostringstream out;
    for (auto i = table.mroute().begin(); i; i.advance()) {
      Mroute const & m = *i;
      out << m.key().pretty() << " v" << m.version() << " d" << m.dirty() << m.held()
          << m.fastdropDirty() << " f" << m.vlanFilter() << "," << m.vlanPortFilter() << ","
          << m.vlanGroupFilter() << "," << m.lagFilter() << " seen "
          << m.lastSeenShoalRoute().shoalString() << " sets " << m.oifSet().get()
          << m.notifyOifSet().get() << m.staticFastdropOifSet().get() << m.frrOifSet().get()
          << " in " << m.acceptingVlanId() << m.notifyingVlanId() << m.staticFastdropVlanId()
          << m.frrVlanId() << m.prevFrr() << " review " << m.review() << m.optimizeStatus()
          << " cache " << m.oifIndexIntfIdCache().size() << " drops " << m.fastdropCount() << ","
          << m.rpfFailureCount().size() << "\n";
    }
    for (U8 bit = 0; bit < 32; ++bit) out << table.vlanFilterCounter(bit) << " ";
    out << table.recomputations() << " " << table.noChangeRecomputations() << " "
        << table.dirtyMroutes() << " " << table.heldMroutes() << " " << table.fastdropCount() << " "
        << table.dirtyInfo()->isDirty() << mira().dirtyInfo()->isDirty() << " "
        << mira().dirtyMrouteMetadata().tail << " " << mira().ignoredAccepting() << " "
        << mira().review() << mira().reviewPending() << " " << tables->oifSet().size() << " "
        << clock->earliest() << " " << entries();
    return out.str();
  }

  static std::set<PortVlan> membersOf(Explanation const & explanation) {
    std::set<PortVlan> out;
    for (auto const & port : explanation.ports()) {
      if (port.isIn()) out.insert({port.port, port.outLif, 0});
    }
    return out;
  }
  static std::set<PortVlan> membersOf(PortVlanSet const & set) {
    std::set<PortVlan> out;
    for (PortVlan const & pv : set.portVlan().items()) out.insert({pv.port, pv.outLif, 0});
    return out;
  }

  Explanation::Port const * portOf(Explanation const & explanation, U32 vlan, char const * name) {
    for (auto const & port : explanation.ports()) {
      if (port.vlan.value() == vlan && port.port == intf(name)) return &port;
    }
    return nullptr;
  }

  Zet::Ptr<FaultyChip> told_;
  std::vector<std::string> calls_;
};

TEST_F(Explain, ARouteThatIsNotComputedSaysWhyAndStaysAsItIs) {
  for (U32 vid : {10u, 20u, 30u}) vlan(vid, "Ethernet" + std::to_string(vid));
  Key const k = key("10.0.0.1", "239.1.1.1");
  auto const verdict = [&](RouteVerdict expected, std::string const & set) {
    Explanation explanation;
    auto const copy = explain(k, explanation);
    EXPECT_EQ(explanation.verdict(), expected);
    EXPECT_EQ(copy->oifSet()->portVlanSet().pretty(), set);
    EXPECT_TRUE(explanation.ports().empty() || expected == RouteVerdict::outputUnknown);
  };
  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan20");
  settle();
  ip->ipIntfStatusIs(intf("Vlan10"))->vrfIs(L3::VrfName("blue"));
  verdict(RouteVerdict::inputInOtherVrf, "vlan 20: Et20");
  ip->ipIntfStatusIs(intf("Vlan10"))->vrfIs(L3::VrfName("default"));

  Route route = record("10.0.0.1", "239.1.1.1", "", "Vlan30");
  route.iifFrrIs(intf("Vlan10"));
  publish(route);
  verdict(RouteVerdict::backupWithoutInput, "vlan 20: Et20");

  publish("10.0.0.1", "239.1.1.1", "Vlan10", "Vlan30");
  auto const index = oifIndex("Vlan30", "pim.default");
  table("pim.default").oifIndexIntfIs(index, {});
  verdict(RouteVerdict::outputUnknown, "vlan 20: Et20");
  table("pim.default").oifIndexIntfIs(index, {intf("Vlan30"), 1});

  withdraw("10.0.0.1", "239.1.1.1");
  verdict(RouteVerdict::markedForDeletion, "vlan 20: Et20");
}

TEST_F(Explain, ARouteThatIsNotInstalledIsExplainedByItsRecordAndASubnetByItsInterface) {
  vlan(10, "Ethernet1");
  vlan(20, "Ethernet2 Ethernet3");
  join(20, "239.1.1.1", "Ethernet3");
  publish(record("*", "239.1.1.1", "Vlan10", "Vlan20"));  // not to be installed
  settle();
  Explanation explanation;
  auto const copy = explain(key("*", "239.1.1.1"), explanation);
  EXPECT_EQ(outputs("*", "239.1.1.1"), "-");
  EXPECT_EQ(copy->oifSet()->portVlanSet().pretty(), "vlan 20: Et3");
  EXPECT_EQ(copy->acceptingVlanId().value(), 10);
  ASSERT_TRUE(portOf(explanation, 20, "Ethernet2"));
  EXPECT_EQ(portOf(explanation, 20, "Ethernet2")->verdict, PortVerdict::notWanted);
  EXPECT_EQ(portOf(explanation, 10, "Ethernet1")->verdict, PortVerdict::soleInputPort);

  PrefixKey const subnet{Nettle::IpGenPrefix("10.9.0.0/24"), "default"};
  pimIntf->srcToIntfMapIs(subnet, intf("Vlan20"));
  auto const connected = explain(key("10.9.0.0/24", "224.0.0.0/4"), explanation);
  EXPECT_EQ(connected->acceptingVlanId().value(), 20);
  EXPECT_TRUE(connected->oifSet()->portVlanSet().toCpu());
  pimIntf->srcToIntfMapDel(subnet);
}

// --- Random switches

// What has been told in all switches together: nothing that can be told never is.
struct Seen {
  std::set<OutputVerdict> outputs;
  std::set<SpecialVerdict> specials;
  std::set<VlanVerdict> vlans;
  std::set<PortVerdict> ports;
};

// One switch, made up from a seed.
class RandomExplain : public Explain {
 public:
  RandomExplain(U32 seed, Seen & seen) : seed_(seed), seen_(seen), random_(seed) {}
  void TestBody() override;
  using Explain::TearDown;

 protected:
  U32 below(U32 n) { return static_cast<U32>(random_()) % n; }
  bool oneIn(U32 n) { return below(n) == 0; }
  std::string some(std::vector<std::string> const & of, U32 n) {
    std::string out;
    for (auto const & one : of) {
      if (oneIn(n)) out += one + " ";
    }
    return out;
  }

  bool v6() const { return seed_ % 6 == 5; }
  std::string source() const { return v6() ? "2001:db8::1" : "10.0.0.1"; }
  std::string group(U32 n) const { return (v6() ? "ff0e::1:" : "239.1.1.") + std::to_string(n); }

  void make() {
    lagOperation = static_cast<LagOperation>(seed_ % 3);
    af = v6() ? Nettle::ipv6() : Nettle::ipv4();
    makeLags();
    for (U32 vid = 10; vid < 16; ++vid) makeVlan(vid);
    IntfId const down = IntfId::ofVlan(VlanId(16));
    intfVlans->internalVlanIdIs(down, VlanIdOrNone(16));
    ip->ipIntfStatusIs(down)->vrfIs(L3::VrfName("default"));
    start();
    if (oneIn(2)) root().miraHelperIs(Zet::make<Platform>(&root(), seed_));
    for (U32 vid = 10; vid < 16; ++vid) root().vxlanVlanIs(VlanId(vid), oneIn(3));
    auto const config = Zet::make<Lag::ConfigDir>();
    config->phyIntfIs(intf("Ethernet21"))->lagIs(intf("Port-Channel1"));
    root().lagConfigDirIs(config);
    root().configuredLagMembersInOifSetIs(oneIn(4));
  }

  void makeLags() {
    lag("Port-Channel1", "Ethernet20 Ethernet21 PeerEthernet20");
    lag("Port-Channel2", oneIn(2) ? "" : "PeerEthernet22");
    if (oneIn(2)) mlag->intfStatusIs(intf("Port-Channel3"))->localIntfIs(intf("Ethernet23"));
    if (oneIn(2)) mlag->peerLinkIntfIs(intf(oneIn(2) ? "Port-Channel1" : "Ethernet8"));
    mlag->activeIs(oneIn(2));
  }

  void makeVlan(U32 vid) {
    VlanId const v(vid);
    vlan(vid, oneIn(5) ? "Ethernet1" : some(pool_, 2));
    // A tree may hold ports of other VLANs, too.
    auto const tree = topology->topoConfigIs(Zet::String("vlan" + std::to_string(vid)));
    for (auto const & port : words(some(pool_, 4))) {
      tree->topoPortConfigIs(intf(port))->stateIs(Bridging::Topology::PortState::forwarding);
    }
    block(vid, some(pool_, 5));
    for (auto const & port : words(some(pool_, 3))) {
      bridging->vlanConfigIs(v)->intfIs(intf(port), true);
    }
    if (oneIn(8)) topology->vidToTopoMapDel(v);
    if (oneIn(3)) return;
    snoop(vid);
    for (U32 g = 1; g < 4; ++g) {
      if (!v6()) join(vid, group(g), some(pool_, 3));
    }
    for (auto const & port : words(some(pool_, 6))) {
      snooping->vlanStatusIs(v)->routerIntfIs(intf(port), true);
    }
    snooping->vlanStatusIs(v)->useVlanFloodsetIs(oneIn(5));
  }

  std::string someOutputs() {
    static char const * const kinds[] = {"",   ":f", ":af", ":a", ":n",
                                         ":p", ":b", ":fn", ":r", ":ar"};
    std::string out;
    for (U32 n = 1 + below(6); n > 0; --n) {
      std::string const to = oneIn(9) ? "Tunnel1" : "Vlan" + std::to_string(10 + below(7));
      out += to + kinds[oneIn(2) ? 0 : below(10)] + " ";
    }
    return out;
  }

  Route someRoute(U32 n) {
    bool const range = oneIn(6);
    std::string const g = range ? group(0) + (v6() ? "/112" : "/24") : group(n);
    std::string const iif = oneIn(6) ? "" : "Vlan" + std::to_string(10 + below(6));
    Route route = record(source(), g, iif, someOutputs());
    route.notifyProgrammableIs(oneIn(2));
    if (oneIn(3)) route.notifyIs(intf("Vlan11"));
    if (oneIn(3)) route.staticFastdropIntfIs(intf("Vlan12"));
    return route;
  }

  void expectTrue(Key const & key) {
    Explanation explanation;
    auto const copy = explain(key, explanation);
    Mroute const * const stands = routes().mroute(key);
    ASSERT_TRUE(stands) << key.pretty();
    ASSERT_EQ(explanation.verdict(), RouteVerdict::computed);
    EXPECT_EQ(copy->oifSet()->portVlanSet(), stands->oifSet()->portVlanSet()) << key.pretty();
    EXPECT_EQ(copy->acceptingVlanId(), stands->acceptingVlanId());
    EXPECT_EQ(copy->notifyingVlanId(), stands->notifyingVlanId());
    EXPECT_EQ(copy->staticFastdropVlanId(), stands->staticFastdropVlanId());
    EXPECT_EQ(copy->frrVlanId(), stands->frrVlanId());
    EXPECT_EQ(membersOf(explanation), membersOf(stands->oifSet()->portVlanSet())) << key.pretty();
    expectOutputs(explanation, *stands);
    expectSpecials(explanation, *stands);
    for (auto const & one : explanation.vlans()) expectVlan(explanation, one);
    for (auto const & port : explanation.ports()) expectPort(explanation, port, key);
  }

  void expectOutputs(Explanation const & explanation, Mroute const & route) {
    EXPECT_EQ(explanation.outputs().size(), route.lastSeenShoalRoute().oifs().count());
    IntfId input;
    for (auto const & output : explanation.outputs()) {
      if (output.isInput) input = output.intf;
      bool const told = std::any_of(explanation.vlans().begin(), explanation.vlans().end(),
                                    [&](auto const & one) { return one.vlan == output.vlan; });
      EXPECT_TRUE(told || output.verdict != OutputVerdict::expanded);
      seen_.outputs.insert(output.verdict);
    }
    EXPECT_EQ(input, route.acceptingIntfId());
  }

  // The last of a kind says what stands.
  void expectSpecials(Explanation const & explanation, Mroute const & route) {
    VlanIdOrNone stands[3];
    for (auto const & special : explanation.specials()) {
      auto & at = stands[static_cast<int>(special.kind)];
      seen_.specials.insert(special.verdict);
      if (special.verdict == SpecialVerdict::stands) at = special.vlan;
      bool const undone = special.kind == SpecialKind::backup && special.vlan == at;
      if (special.verdict >= SpecialVerdict::isInput && undone) at = {};
    }
    EXPECT_EQ(stands[0], route.notifyingVlanId());
    EXPECT_EQ(stands[1], route.staticFastdropVlanId());
    EXPECT_EQ(stands[2], route.frrVlanId());
  }

  // Each port of the VLAN has one decision, but as several logical interfaces of a set.
  void expectVlan(Explanation const & explanation, Explanation::Vlan const & one) {
    seen_.vlans.insert(one.verdict);
    auto const * up = vlans->vlanStatus(one.vlan);
    EXPECT_EQ(one.verdict == VlanVerdict::down, !up);
    if (!up) return;
    for (auto const & port : up->vlanPortStatus().items()) {
      U32 decisions = 0, members = 0;
      for (auto const & told : explanation.ports()) {
        if (told.vlan != one.vlan || told.port != port.key) continue;
        ++decisions;
        members += told.isIn();
      }
      EXPECT_TRUE(decisions == 1 || (decisions > 1 && members == decisions))
          << port.key.view() << " of " << one.vlan << ": " << decisions;
    }
  }

  // Of a change that has not been reviewed yet, what the review will make of it.
  void expectForetold(std::set<Key> const & keys) {
    std::vector<Zet::Ptr<Mroute const>> foretold;
    for (Key const & key : keys) {
      Explanation explanation;
      foretold.push_back(explain(key, explanation));
    }
    settle();
    for (auto const & copy : foretold) {
      EXPECT_EQ(copy->oifSet()->portVlanSet(),
                routes().mroute(copy->key())->oifSet()->portVlanSet());
    }
  }

  bool listens(Explanation::Port const & port, Key const & key) const {
    auto const * snooped = snooping->vlanStatus(port.vlan);
    auto const mac = ethAddrFromIpAddr(key.group().address());
    auto const * listeners = snooped ? snooped->ethGroup(mac) : nullptr;
    return listeners && listeners->intf(port.port);
  }
  bool isRouter(Explanation::Port const & port) const {
    auto const * snooped = snooping->vlanStatus(port.vlan);
    return snooped && snooped->routerIntf(port.port);
  }
  bool forwards(Explanation::Port const & port) const {
    auto const * topo = topology->vidToTopoMap(port.vlan);
    return topo && isForwarding(*topo, port.port);
  }

  // The records say what the verdict does.
  void expectPort(Explanation const & explanation, Explanation::Port const & port,
                  Key const & key) {
    std::string const where = std::string(port.port.view()) + " of " +
                              std::to_string(port.vlan.value()) + " for " + key.pretty();
    bool const inVlan = vlans->vlanStatus(port.vlan)->vlanPortStatus(port.port).mode !=
                        Bridging::VlanPortMode::none;
    EXPECT_TRUE(port.lag || port.wish != PortWish::listener || listens(port, key)) << where;
    EXPECT_TRUE(port.lag || port.wish != PortWish::router || isRouter(port)) << where;
    seen_.ports.insert(port.verdict);
    switch (port.verdict) {
      case Verdict::notWanted:
        EXPECT_FALSE(listens(port, key) || isRouter(port)) << where;
        break;
      case Verdict::notForwarding:
        EXPECT_FALSE(forwards(port)) << where;
        break;
      case Verdict::notInVlan:
        EXPECT_FALSE(inVlan) << where;
        break;
      case Verdict::notConfigured:
        EXPECT_FALSE(bridging->vlanConfigIs(port.vlan)->intf(port.port)) << where;
        break;
      case Verdict::noSpanningTree:
        EXPECT_FALSE(topology->vidToTopoMap(port.vlan)) << where;
        break;
      case Verdict::soleInputPort:
        EXPECT_EQ(fwdPortsInIif(root(), port.vlan), 1u) << where;
        break;
      case Verdict::replaced:
        EXPECT_TRUE(std::any_of(explanation.ports().begin(), explanation.ports().end(),
                                [&](auto const & other) {
                                  return other.vlan == port.vlan && other.isIn() &&
                                         (other.lag == port.port || !other.lag);
                                }))
            << where;
        break;
      case Verdict::member:
      case Verdict::noMember:
      case Verdict::notHere:
      case Verdict::notDesignated:
      case Verdict::notAnOutput:
        break;
    }
  }

  std::vector<std::string> const pool_{"Ethernet1",     "Ethernet2",
                                       "Ethernet3",     "Ethernet4",
                                       "Ethernet7",     "Ethernet8",
                                       "Ethernet9.5",   "Port-Channel1",
                                       "Port-Channel2", "Port-Channel3",
                                       "PeerEthernet4", "VxlanTunnel7",
                                       "Vxlan1",        "Cpu"};
  U32 const seed_;
  Seen & seen_;
  std::mt19937 random_;
};

void RandomExplain::TestBody() {
  make();
  for (int round = 0; round < 4; ++round) {
    std::set<Key> keys;
    for (U32 n = 1; n < 4; ++n) {
      Route const route = someRoute(n);
      publish(route);
      keys.insert(route.key());
    }
    settle();
    for (Key const & key : keys) {
      if (oneIn(3)) routes().mroute(key)->fastdropIs(VlanId(10 + below(6)), nullptr);
    }
    reviewAll();
    for (Key const & key : keys) expectTrue(key);
    makeVlan(10 + below(6));
    expectForetold(keys);
    if (HasFailure()) return;
  }
}

TEST(ExplainOfRandomSwitches, EachPortHasOneDecisionWhichTheSetAndTheRecordsBearOut) {
  Seen seen;
  for (U32 seed = 0; seed < 60 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomExplain one(seed, seen);
    one.TestBody();
    one.TearDown();
  }
  EXPECT_EQ(seen.outputs.size(), static_cast<U32>(OutputVerdict::notSent) + 1);
  EXPECT_EQ(seen.specials.size(), static_cast<U32>(SpecialVerdict::isNotify) + 1);
  EXPECT_EQ(seen.vlans.size(), static_cast<U32>(VlanVerdict::snooped) + 1);
  EXPECT_EQ(seen.ports.size(), static_cast<U32>(PortVerdict::noSpanningTree) + 1);
}

}  // namespace Tests
