// Profiles of the designated forwarder in chips that answer later: what stands, what is tried
// again, and what changes while chips are at work.
#include "bidir/AsyncBidirDfRoot.h"
#include "sim/BidirTables.h"
#include "tests/BidirWorld.h"

namespace {

using namespace Tests;
using namespace Brindle;
using Keel::XactResult;
using Reason = BidirDfFailureReason;

// Answers at once, or when it is told to.
class LateChip final : public Sim::LateProfileTable {
 public:
  LateChip(Zet::Name name, U32 index) : LateProfileTable(name, index) { lateIs(false); }
  void lateIs(bool v) {
    answering().answersIs({.when = v ? Sim::Answers::onCommand : Sim::Answers::atOnce});
  }
  void answer() { answering().endAll(XactResult::success); }

  XactPtr doAddDfProfile(Bridging::VlanIdOrNone vlan, RpaBitmap bitmap,
                         XactPtr const & blocking) override {
    ++asked;
    if (!refuses) return LateProfileTable::doAddDfProfile(vlan, bitmap, blocking);
    dfProfileFailureReasonIs(refuses);
    return nullptr;
  }

  Reason refuses;
  int asked = 0;
};

class AsyncBidir : public BidirWorld {
 protected:
  AsyncBidir() {
    for (auto const & chip : chips) fabric->bidirDfChipIs(chip);
    sm = Zet::make<AsyncBidirDfSm>("default", table, fabric, clock, vlans);
  }
  std::string inChips() {
    auto const text = textOf(chips[0]->profiles());
    return text == textOf(chips[1]->profiles()) ? text : "differ";
  }
  void late(bool v = true) {
    for (auto const & chip : chips) chip->lateIs(v);
  }
  void answer() {
    for (auto const & chip : chips) chip->answer();
  }
  U32 reasonOf(std::string_view intf) {
    return sm->dfProfileInfo(Nettle::IntfId(intf))->reason().value;
  }
  int asked() const { return chips[0]->asked; }

  Zet::Ptr<SimAsyncFabricBidir> const fabric = simAsyncFabricBidirFactory("fabric");
  Zet::Ptr<LateChip> const chips[2] = {Zet::make<LateChip>("c0", 0u),
                                       Zet::make<LateChip>("c1", 1u)};
  Zet::Ptr<AsyncBidirDfSm> sm;
};

}  // namespace

TEST_F(AsyncBidir, WhatIsAnsweredAtOnceIsNotAskedAgain) {
  table->profile("Vlan10", 3);
  table->profile("et1", 5);
  EXPECT_EQ(inChips(), "10=3") << "et1 has no VLAN";
  EXPECT_EQ(reasonOf("et1"), Reason::notInitedBit);
  vlan("et1", 1006);
  vlan("et1", 1007);
  table->profile("Vlan10", 2);
  EXPECT_EQ(inChips(), "10=2 1007=5");
  EXPECT_TRUE(sm->failedDfProfile().empty());
  int const before = asked();
  pass(60);
  EXPECT_EQ(asked(), before);
  table->profile("et1", 0);
  EXPECT_EQ(inChips(), "10=2");
  vlan("Vlan10", 0);
  table->profile("Vlan10", 0);
  EXPECT_EQ(inChips(), "");
}

TEST_F(AsyncBidir, WaitsUntilAllChipsHaveAnswered) {
  late();
  table->profile("Vlan10", 3);
  pass(5);
  EXPECT_EQ(asked(), 1) << "what is out is not asked again";
  EXPECT_EQ(reasonOf("Vlan10"), Reason::inProgressBit);
  chips[0]->answer();
  EXPECT_EQ(reasonOf("Vlan10"), Reason::inProgressBit);
  chips[1]->answer();
  EXPECT_EQ(reasonOf("Vlan10"), 0u);
  EXPECT_EQ(inChips(), "10=3");
  EXPECT_TRUE(sm->failedDfProfile().empty());
  pass(5);
  EXPECT_EQ(asked(), 1);
}

TEST_F(AsyncBidir, AFailureOnOneChipTakesItOutOfAllAndIsTriedEachSecond) {
  late();
  chips[1]->dfTblSizeIs(0);
  table->profile("Vlan10", 3);
  answer();
  EXPECT_EQ(inChips(), "");
  EXPECT_EQ(reasonOf("Vlan10"), Reason::blockedBit);
  late(false);
  pass(0.001);  // at once, and then each second
  EXPECT_EQ(asked(), 2);
  pass(3);
  EXPECT_EQ(asked(), 5);
  late();
  for (int i = 0; i < 1000; ++i) {
    answer();
    pass(0.001);
  }
  EXPECT_EQ(asked(), 6) << "however fast the chips fail";
  EXPECT_TRUE(reasonOf("Vlan10") & Reason::blockedBit);
  late(false);
  pass(1);
  chips[0]->refuses = {Reason::timeoutBit};
  pass(1);
  EXPECT_EQ(reasonOf("Vlan10"), Reason::timeoutBit);
  EXPECT_EQ(Zet::valueToStrep(*sm->failedDfProfile().find(Nettle::IntfId("Vlan10"))),
            "Value('Brindle::AsyncBidirDfSm::FailedDfProfile', ** {'intf': 'Vlan10', "
            "'dfProfileInfo': 'Vlan10'})");
  chips[0]->refuses = {};
  chips[1]->dfTblSizeIs(1);
  pass(1);
  EXPECT_EQ(inChips(), "10=3");
  EXPECT_TRUE(sm->failedDfProfile().empty());
}

TEST_F(AsyncBidir, WhatChangesWhileChipsAreAtWorkComesAfterwards) {
  late();
  vlan("et1", 1006);
  table->profile("et1", 1);
  table->profile("et1", 2);
  EXPECT_EQ(asked(), 1);
  answer();
  EXPECT_EQ(inChips(), "1006=1");
  answer();
  EXPECT_EQ(inChips(), "1006=2");
  // Its VLAN
  table->profile("et1", 3);
  vlan("et1", 1007);
  answer();
  EXPECT_EQ(inChips(), "1007=3");
  // A chip that comes, and one that goes without an answer
  table->profile("et1", 4);
  auto const added = Zet::make<LateChip>("c2", 2u);
  fabric->bidirDfChipIs(added);
  chips[0]->answer();
  fabric->bidirDfChipDel("c1");
  pass(3);
  EXPECT_EQ(textOf(chips[0]->profiles()) + " " + textOf(added->profiles()), "1007=4 1007=4");
  chips[0]->answer();
  pass(3);
  EXPECT_EQ(reasonOf("et1"), 0u);
  // Its end
  table->profile("et1", 5);
  table->profile("et1", 0);
  chips[0]->answer();
  EXPECT_EQ(textOf(chips[0]->profiles()) + textOf(added->profiles()), "");
  EXPECT_TRUE(sm->failedDfProfile().empty());
}

TEST_F(AsyncBidir, AChipThatComesLaterIsAskedAlone) {
  table->profile("Vlan10", 3);
  auto const added = Zet::make<LateChip>("c2", 2u);
  fabric->bidirDfChipIs(added);
  EXPECT_EQ(textOf(added->profiles()), "10=3");
  EXPECT_EQ(asked(), 1);
}

TEST_F(AsyncBidir, InProgressWithNothingOutIsTriedAgain) {
  table->profile("Vlan10", 3);
  sm->dfProfileInfo(Nettle::IntfId("Vlan10"))->reasonIs({Reason::inProgressBit});
  pass(0.001);
  EXPECT_EQ(asked(), 2);
  EXPECT_EQ(reasonOf("Vlan10"), 0u);
}

TEST_F(AsyncBidir, TheSimulatedChipHasRoomForTwo) {
  auto const chip = simAsyncFabricBidirFactory("other")->bidirDfChipIs("c", 0);
  for (U32 vid : {1u, 2u, 3u}) {
    auto const xact = chip->doAddDfProfile(Bridging::VlanIdOrNone(vid), {1}, nullptr);
    EXPECT_EQ(xact->result(), vid < 3 ? XactResult::success : XactResult::failure) << vid;
    EXPECT_EQ(xact->statusVersion(), 1u);
    EXPECT_TRUE(chip->doGetBidirDfXactFailureReason(xact).blocked());
  }
  EXPECT_FALSE(chip->dfProfile(Bridging::VlanIdOrNone(3)));
}
