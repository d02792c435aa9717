// Which machine of multicast boundaries runs, by what the cards can do and what the agent has.
#include <cstdlib>
#include <sstream>

#include "boundary/BoundaryConfigSm.h"
#include "fabric/SimFabric.h"
#include "tests/BoundaryWorld.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using namespace Brindle;

constexpr char const * kFixed = "FixedSystem";
constexpr char const * kSupervisor = "";

// Cards, what is set of them at first and then, and what runs after each.
struct Case {
  char const * what;
  char const * system;
  char const * inputs;  // of "tcam", "fastdrop"
  bool simulated;       // SIMULATION_VMID
  struct Step {
    char const * cards;
    char const * runs;
  };
  std::vector<Step> steps;
};

class BoundaryConfig : public BoundaryWorld {
 protected:
  BoundaryConfig() {
    unsetenv("SIMULATION_VMID");
    fabric->chipIs("chip0", 0)->routeTotalIs(10);
    configure("default");
    boundary(1, "239.1.0.0/16");
  }
  ~BoundaryConfig() override { unsetenv("SIMULATION_VMID"); }

  // "L1+ L2- L3? L4! L5x": can, cannot, has no word on it, another mode, gone.
  void setCards(std::string const & text) {
    std::istringstream in(text);
    for (std::string word; in >> word;) {
      Zet::Name const card(std::string_view(word).substr(0, word.size() - 1));
      auto const feature = HwEpoch::stringValue(HwEpoch::EpochFeature::tcamBoundary);
      Zet::Name const name(feature.view());
      switch (word.back()) {
        case 'x':
          epoch->cardDel(card);
          break;
        case '?':
          epoch->cardIs(card)->featureDel(name);
          break;
        default:
          epoch->cardIs(card)->featureIs(name)->modeIs(word.back() == '+'   ? 1
                                                       : word.back() == '-' ? 0
                                                                            : 2);
      }
    }
  }
  void build(char const * system, std::string const & has) {
    BoundaryConfigSmIs in{.epochStatus = epoch,
                          .myLinecardName = system,
                          .vrfConfig = vrfConfig,
                          .mfibStatus = mfib,
                          .newPam = &QueuePam::make};
    if (has.find("tcam") != has.npos) {
      in.pimIntfStatus = pimIntf;
      in.fabric = fabric;
      in.intfVlanIdTable = vlans;
    }
    if (has.find("fastdrop") != has.npos) {
      in.allVrfStatusLocal = vrfs;
      in.kernelMfibStatusColl = vifs;
      in.routingHwStatus = routingHw;
    }
    config = boundaryConfigSmFactory(in);
  }
  // What runs, seen from outside: a boundary in the chip, a machine that reads messages.
  std::string runs() {
    bool const inChip = !fabric->chip("chip0")->simRoute().empty();
    auto const & learner = config->fastdropBoundarySm();
    bool const learns = learner && learner->boundaryFastdropSm("default");
    EXPECT_EQ(learns, static_cast<bool>(config->fastdropStatusColl()));
    EXPECT_EQ(inChip, static_cast<bool>(config->tcamBoundarySm()));
    return std::string(inChip ? "tcam" : "") + (learns ? "fastdrop" : "");
  }

  Zet::Ptr<HwEpoch::Status> const epoch = Zet::make<HwEpoch::Status>();
  Zet::Ptr<SimFabric> const fabric = simFabricFactory("fabric");
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> const pimIntf =
      Zet::make<Routing::Multicast::Fib::PimIntf::Status>();
  Zet::Ptr<IntfVlanId::Table> const vlans = Zet::make<IntfVlanId::Table>();
  Zet::Ptr<BoundaryConfigSm> config;
};

}  // namespace

TEST_F(BoundaryConfig, WhatRunsFollowsTheCards) {
  constexpr char const * both = "tcam fastdrop";
  Case const cases[] = {
      {"a fixed system that can",
       kFixed,
       both,
       false,
       {{"FixedSystem+", "tcam"},
        {"FixedSystem-", "fastdrop"},
        {"FixedSystem+", "tcam"},
        {"FixedSystem?", "fastdrop"},
        {"FixedSystem+", "tcam"},
        {"FixedSystem!", "fastdrop"}}},
      {"nothing known",
       kFixed,
       both,
       false,
       {{"", "fastdrop"}, {"FixedSystem+", "tcam"}, {"FixedSystemx", "fastdrop"}}},
      {"nothing known and no hardware",
       kFixed,
       both,
       true,
       {{"", "tcam"}, {"FixedSystem?", "fastdrop"}, {"FixedSystemx", "tcam"}}},
      {"inputs for chips alone: what runs goes on",
       kFixed,
       "tcam",
       false,
       {{"FixedSystem-", ""}, {"FixedSystem+", "tcam"}, {"FixedSystem-", "tcam"}}},
      {"inputs for messages alone: what runs goes on",
       kFixed,
       "fastdrop",
       false,
       {{"FixedSystem+", ""}, {"FixedSystem-", "fastdrop"}, {"FixedSystem+", "fastdrop"}}},
      {"no inputs", kFixed, "", false, {{"FixedSystem+", ""}, {"FixedSystem-", ""}}},
      {"a supervisor learns for the whole system",
       kSupervisor,
       both,
       false,
       {{"", ""},
        {"L1+", ""},
        {"L2-", "fastdrop"},
        {"L3-", "fastdrop"},
        {"L3x", "fastdrop"},
        {"L2+", ""},
        {"L2?", "fastdrop"},
        {"L2x", ""}}},
      {"a supervisor without hardware", kSupervisor, both, true, {{"", ""}, {"L1-", "fastdrop"}}},
      {"a supervisor without inputs for messages", kSupervisor, "tcam", false, {{"L1-", ""}}},
      {"a linecard",
       "L1",
       "tcam",
       false,
       {{"L1+ L2+", "tcam"},
        {"L2-", ""},
        {"L2+", "tcam"},
        {"L2!", ""},
        {"L2x", "tcam"},
        {"L1-", ""},
        {"L1+", "tcam"}}},
      {"a linecard of which nothing is known any more goes on",
       "L1",
       "tcam",
       false,
       {{"L1+", "tcam"}, {"L1x", "tcam"}}},
      {"a linecard that was never known", "L1", "tcam", false, {{"L2+", ""}, {"L2x", ""}}},
      {"a linecard without hardware", "L1", "tcam", true, {{"", "tcam"}, {"L1-", ""}}},
      {"a linecard without inputs", "L1", "", false, {{"L1+ L2-", ""}, {"L2+", ""}}},
  };
  for (auto const & one : cases) {
    SCOPED_TRACE(one.what);
    if (one.simulated) setenv("SIMULATION_VMID", "", 1);
    for (auto const & step : one.steps) {
      SCOPED_TRACE(step.cards);
      setCards(step.cards);
      if (!config) build(one.system, one.inputs);
      EXPECT_EQ(runs(), step.runs);
    }
    config = nullptr;
    EXPECT_TRUE(fabric->chip("chip0")->simRoute().empty()) << "the end takes boundaries out";
    unsetenv("SIMULATION_VMID");
    for (auto const * card : {"FixedSystemx", "L1x", "L2x", "L3x"}) setCards(card);
  }
}

TEST_F(BoundaryConfig, ALinecardThatWouldLearnEndsTheProcess) {
  setCards("L2-");
  EXPECT_DEATH(build("L1", "fastdrop"), "fastdropSmRunState\\(\\) == stop\\(\\)");
  setCards("L2+");
  build("L1", "tcam fastdrop");
  EXPECT_DEATH(setCards("L2-"), "fastdropSmRunState\\(\\) == stop\\(\\)");
}

TEST_F(BoundaryConfig, WithoutBoundariesThereIsNothingToPutIntoChips) {
  setCards("FixedSystem+");
  config = boundaryConfigSmFactory({.epochStatus = epoch,
                                    .myLinecardName = kFixed,
                                    .pimIntfStatus = pimIntf,
                                    .fabric = fabric,
                                    .intfVlanIdTable = vlans});
  ASSERT_TRUE(config->tcamBoundarySm());
  vlans->internalVlanIdIs(vlan(1), Bridging::VlanIdOrNone(1001));
}

TEST_F(BoundaryConfig, EachLinecardForItselfIsNotBuilt) {
  build("L1", "tcam");
  config->boundarySmPolicyIs(BoundarySmPolicy::runPerLinecard);
  EXPECT_DEATH(config->resolveBoundarySmPolicy(), "assertion failed: 0");
  build(kFixed, "tcam");
  config->boundarySmPolicyIs(BoundarySmPolicy::runPerLinecard);
  config->resolveBoundarySmPolicy();
}

TEST_F(BoundaryConfig, TheRecordsLastAsLongAsTheMachineAndWhoHoldsThemIsTold) {
  struct Holder final : Zet::Sm {
    struct ZetConfig final : Zet::Reactor<BoundaryConfigSm, Holder> {
      using Reactor::Reactor;
      void onFastdropStatusColl() override {
        sm()->seen += target()->fastdropStatusColl() ? "+" : "-";
      }
    };
    std::string seen;
    Zet::ReactorPtr<ZetConfig> zetConfig{this};
  };
  build(kSupervisor, "fastdrop");
  auto const holder = Zet::make<Holder>();
  holder->zetConfig.attach(config);
  setCards("L1-");
  auto const coll = config->fastdropStatusColl();
  auto const machine = config->fastdropBoundarySm();
  EXPECT_EQ(machine->mode(), BoundaryFastdrop::BoundarySmMode::system);
  setCards("L2- L1+");
  EXPECT_EQ(config->fastdropStatusColl(), coll);
  EXPECT_EQ(config->fastdropBoundarySm(), machine);
  setCards("L2+");
  setCards("L2-");
  EXPECT_NE(config->fastdropStatusColl(), coll);
  EXPECT_EQ(holder->seen, "+-+");
}

TEST_F(BoundaryConfig, SpeaksOfItsValuesByName) {
  using Mode = BoundaryFastdrop::BoundarySmMode;
  EXPECT_EQ(Zet::stringValue(BoundarySmPolicy::runPerSystem), "runPerSystem");
  EXPECT_EQ(Zet::strepToValue<BoundarySmPolicy>("runPerLinecard"), BoundarySmPolicy{0});
  EXPECT_EQ(Zet::strepToValue<BoundarySmRunState>("1"), BoundarySmRunState::stop);
  EXPECT_EQ(Zet::valueToStrep(TcamBoundarySupport::tcamNotSupported), "tcamNotSupported");
  std::ostringstream out;
  out << Mode::linecard << " " << Mode{1};
  EXPECT_EQ(out.str(), "linecard system");
  build(kFixed, "");
  setCards("FixedSystem+");
  EXPECT_EQ(thrown([&] { config->cardStatusIs(nullptr); }),
            "null _cardStatus parameter to mutator for Brindle::BoundaryConfigSm::cardStatus "
            "not allowed");
  EXPECT_EQ(thrown([&] { config->cardStatus("FixedSystem")->featureIs(nullptr); }),
            "null _feature parameter to mutator for "
            "Brindle::BoundaryConfigSm::ZetCardStatus::feature not allowed");
}
