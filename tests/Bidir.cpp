// Bidirectional PIM in chips that answer at once: group prefixes and profiles, each in all chips or
// in none, what waits for room, and VRFs that come and go.
#include <filesystem>

#include "bidir/McastBidirRoot.h"
#include "sim/BidirTables.h"
#include "state/ShmBidirStatus.h"
#include "tests/BidirWorld.h"
#include "tests/LogLines.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using namespace Brindle;
using Nettle::IpGenPrefix;

// May refuse for another reason than want of room.
class GroupChip final : public Sim::GroupTable {
 public:
  using GroupTable::GroupTable;
  void doAddBidirGroup(L3::VrfName vrf, IpGenPrefix const & prefix) override {
    ++asked;
    if (isBroken) return bidirGroupHandleIs(RouteHandle());
    GroupTable::doAddBidirGroup(vrf, prefix);
  }
  std::string text() const {
    std::string out;
    for (auto const & [handle, group] : entries()) {
      out += (out.empty() ? "" : " ") + Zet::textOf(group.prefix);
    }
    return out;
  }

  int asked = 0;
  bool isBroken = false;
};

using DfChip = Sim::PromptProfileTable;

class Bidir : public BidirWorld {
 protected:
  Bidir() {
    for (auto const & chip : groupChips) fabric->bidirGroupChipIs(chip);
    for (auto const & chip : groupChips) chip->totalIs(100);
    for (auto const & chip : dfChips) fabric->bidirDfChipIs(chip);
  }
  Zet::Ptr<McastGroupBidirSm> groups() {
    return Zet::make<McastGroupBidirSm>("default", table, fabric, clock);
  }
  Zet::Ptr<BidirDfSm> profiles() {
    return Zet::make<BidirDfSm>("default", table, fabric, clock, vlans);
  }
  // What is in both chips; "differ" if that is not the same.
  std::string inGroupChips() {
    auto const text = groupChips[0]->text();
    return text == groupChips[1]->text() ? text : "differ";
  }
  std::string inDfChips() {
    auto const text = textOf(dfChips[0]->profiles());
    return text == textOf(dfChips[1]->profiles()) ? text : "differ";
  }

  Zet::Ptr<SimFabricBidir> const fabric = simFabricBidirFactory("fabric");
  Zet::Ptr<GroupChip> const groupChips[2] = {Zet::make<GroupChip>("c0", 0u),
                                             Zet::make<GroupChip>("c1", 1u)};
  Zet::Ptr<DfChip> const dfChips[2] = {Zet::make<DfChip>("c0", 0u), Zet::make<DfChip>("c1", 1u)};
};

}  // namespace

// --- Group prefixes

TEST_F(Bidir, AGroupStandsInAllChipsOrInNone) {
  table->group("225.0.0.0/8");
  auto const sm = groups();
  EXPECT_EQ(inGroupChips(), "225.0.0.0/8");
  table->group("226.0.0.0/8");
  table->group("226.0.0.0/8");
  EXPECT_EQ(groupChips[0]->handles(), 2u) << "what stands is not added again";
  groupChips[1]->totalIs(2);
  table->group("227.0.0.0/8");
  EXPECT_EQ(inGroupChips(), "225.0.0.0/8 226.0.0.0/8");
  EXPECT_TRUE(sm->unprogrammedPrefix().contains(IpGenPrefix("227.0.0.0/8")));
  table->group("225.0.0.0/8", false);  // makes room
  pass(0.001);
  EXPECT_EQ(inGroupChips(), "226.0.0.0/8 227.0.0.0/8");
  EXPECT_TRUE(sm->unprogrammedPrefix().empty());
}

TEST_F(Bidir, APassEndsAtTheFirstThatFindsNoRoom) {
  auto const sm = groups();
  groupChips[1]->totalIs(0);
  for (auto const * group : {"225.0.0.0/8", "226.0.0.0/8", "227.0.0.0/8"}) table->group(group);
  EXPECT_EQ(sm->unprogrammedPrefix().size(), 3u);
  table->group("226.0.0.0/8", false);
  EXPECT_EQ(sm->unprogrammedPrefix().size(), 2u) << "who has gone waits no longer";
  int const before = groupChips[0]->asked;
  groupChips[1]->mcastGroupTcamFreeIs(true);
  groupChips[1]->mcastGroupTcamFreeIs(false);
  pass(0.00005);
  EXPECT_EQ(groupChips[0]->asked, before) << "several words bring one pass, a little later";
  pass(1);
  EXPECT_EQ(groupChips[0]->asked, before + 1);
  EXPECT_EQ(sm->unprogrammedPrefix().size(), 2u);
  EXPECT_EQ(inGroupChips(), "");
  groupChips[1]->totalIs(2);
  groupChips[1]->mcastGroupTcamFreeIs(true);
  pass(1);
  EXPECT_EQ(inGroupChips(), "225.0.0.0/8 227.0.0.0/8");
}

TEST_F(Bidir, WhatFailsWithRoomLeftIsTriedAgainAtOnce) {
  auto const sm = groups();
  groupChips[0]->isBroken = true;
  table->group("225.0.0.0/8");
  pass(0.00105);
  EXPECT_GE(groupChips[0]->asked, 10);
  groupChips[0]->isBroken = false;
  pass(0.001);
  EXPECT_EQ(inGroupChips(), "225.0.0.0/8");
}

TEST_F(Bidir, ChipsComeAndGo) {
  auto const sm = groups();
  auto const dfs = profiles();
  table->group("225.0.0.0/8");
  table->profile("Vlan10", 3);
  groupChips[1]->totalIs(1);
  dfChips[1]->dfTblSizeIs(1);
  table->group("226.0.0.0/8");
  table->profile("Vlan20", 1);
  EXPECT_EQ(inGroupChips() + " " + inDfChips(), "225.0.0.0/8 10=3");
  fabric->bidirGroupChipDel("c1");
  fabric->bidirDfChipDel("c1");
  pass(1);
  EXPECT_EQ(groupChips[0]->text(), "225.0.0.0/8 226.0.0.0/8") << "its room is not missed";
  EXPECT_EQ(textOf(dfChips[0]->profiles()), "10=3 20=1");
  dfChips[0]->dfTblSizeIs(2);  // full to the last entry, and not asked again
  groupChips[1]->doDelBidirGroup(RouteHandle{1});
  table->group("225.0.0.0/8");  // who has gone is not asked what it holds
  auto const freshGroups = Zet::make<GroupChip>("c1", 1u);
  freshGroups->totalIs(9);
  fabric->bidirGroupChipIs(freshGroups);
  auto const freshProfiles = Zet::make<DfChip>("c1", 1u);
  fabric->bidirDfChipIs(freshProfiles);
  EXPECT_EQ(freshGroups->text(), "225.0.0.0/8 226.0.0.0/8");
  EXPECT_EQ(textOf(freshProfiles->profiles()), "10=3 20=1");
  EXPECT_EQ(textOf(dfChips[0]->profiles()), "10=3 20=1");
  auto const tiny = Zet::make<DfChip>("c2", 2u);
  tiny->dfTblSizeIs(1);
  fabric->bidirDfChipIs(tiny);
  EXPECT_EQ(textOf(dfChips[0]->profiles()) + " " + textOf(tiny->profiles()), "10=3 10=3");
}

TEST_F(Bidir, ACorruptTableIsHandedItsCorruption) {
  auto const sm = groups();
  table->group("225.0.0.0/8");
  table->corrupt = IpGenPrefix("226.0.0.0/8");
  table->group("226.0.0.0/8");
  EXPECT_TRUE(table->refused);
  EXPECT_EQ(inGroupChips(), "225.0.0.0/8");
  table->group("225.0.0.0/8", false);
  EXPECT_EQ(inGroupChips(), "") << "a refused table tells each key as gone";
}

// --- Profiles

TEST_F(Bidir, AProfileFollowsItsInterfacesVlan) {
  vlan("et1", 1006);
  table->profile("et1", 5);
  table->profile("et2", 6);
  auto const sm = profiles();
  EXPECT_EQ(inDfChips(), "1006=5") << "et2 has no VLAN";
  vlan("et2", 1007);
  EXPECT_EQ(inDfChips(), "1006=5 1007=6");
  vlan("et1", 1008);
  table->profile("et2", 7);
  EXPECT_EQ(inDfChips(), "1007=7 1008=5");
  vlan("et1", 0);
  table->profile("et2", 0);
  EXPECT_EQ(inDfChips(), "");
  vlan("et1", 1006);
  EXPECT_EQ(inDfChips(), "1006=5");
}

TEST_F(Bidir, MachinesOfOtherVrfsLeaveAProfileAlone) {
  auto const elsewhere = Zet::make<BidirTable>();
  auto const before = Zet::make<BidirDfSm>("red", elsewhere, fabric, clock, vlans);
  vlan("et1", 1006);
  table->profile("et1", 5);
  auto const sm = profiles();
  auto const after = Zet::make<BidirDfSm>("blue", elsewhere, fabric, clock, vlans);
  vlan("et1", 1007);
  EXPECT_EQ(inDfChips(), "1007=5");
  vlan("et1", 0);
  vlan("et1", 1008);
  EXPECT_EQ(inDfChips(), "1008=5");
}

TEST_F(Bidir, AProfileWaitsForRoom) {
  auto const sm = profiles();
  dfChips[1]->dfTblSizeIs(1);
  table->profile("Vlan10", 1);
  EXPECT_EQ(inDfChips(), "10=1");
  for (auto const * intf : {"Vlan20", "Vlan30"}) table->profile(intf, 2);
  EXPECT_EQ(inDfChips(), "10=1");
  EXPECT_EQ(sm->unprogrammedDf().size(), 2u);
  table->profile("Vlan30", 0);
  pass(1);
  EXPECT_EQ(inDfChips(), "10=1");
  EXPECT_EQ(sm->unprogrammedDf().size(), 1u);
  table->profile("Vlan10", 0);
  pass(1);
  EXPECT_EQ(inDfChips(), "20=2");
  // A change where the table is full to the last entry takes the profile out, until the next word.
  table->profile("Vlan20", 3);
  pass(1);
  EXPECT_EQ(inDfChips(), "");
  dfChips[1]->dfProfileTblFreeIs(false);
  dfChips[1]->dfProfileTblFreeIs(true);
  pass(1);
  EXPECT_EQ(inDfChips(), "20=3");
}

// --- VRFs

TEST_F(Bidir, VrfsComeAndGoWithTheirTables) {
  using Shoal::Multicast::Fib::ShmBidirStatusWriter;
  char place[] = "/dev/shm/brindle-test-XXXXXX";
  ASSERT_NE(::mkdtemp(place), nullptr);
  auto const run = [] {
    while (Zet::activityManager()->runOnce(false)) {}
  };
  {
    LogLines log;
    auto const red = Zet::make<ShmBidirStatusWriter>(place, "routing:multicast:bidirstatus:red");
    auto const blue = Zet::make<ShmBidirStatusWriter>(place, "routing6:multicast:bidirstatus:blue");
    auto const vrfset = Zet::make<Routing::Multicast::Fib::BidirStatus>();
    red->bidirGroupIs(IpGenPrefix("225.0.0.0/8"));
    red->dfProfileIs(Nettle::IntfId("Vlan10"), {1});
    red->commit();
    blue->bidirGroupIs(IpGenPrefix("ff3e::/16"));
    blue->commit();
    vrfset->bidirEnabledVrfIs("red", true);
    BidirRoot::Inputs in{.vrfset = vrfset,
                         .clock = clock,
                         .intfVlanIdTable = vlans,
                         .tables = Zet::Name(std::string_view(place))};
    auto const v4 = mcastBidirRootFactory(in, fabric);
    in.af = Nettle::ipv6();
    auto const v6 = mcastBidirRootFactory(in, fabric);
    std::string const tooLong(100, 'x');
    vrfset->bidirEnabledVrfIs(L3::VrfName(tooLong.c_str()), true);
    vrfset->bidirEnabledVrfIs("a/../b", true);
    vrfset->bidirEnabledVrfIs("blue", true);
    run();
    EXPECT_EQ(inGroupChips(), "225.0.0.0/8 ff3e::/16");
    EXPECT_EQ(inDfChips(), "10=1");
    vrfset->bidirEnabledVrfIs("red", false);
    red->bidirGroupIs(IpGenPrefix("226.0.0.0/8"));
    red->commit();
    run();
    EXPECT_FALSE(v4->mcastGroupBidirSm("red"));
    EXPECT_FALSE(v4->bidirDfSm("red"));
    EXPECT_EQ(inGroupChips(), "225.0.0.0/8 ff3e::/16") << "the end takes nothing out";
    blue->remove();
    run();
    EXPECT_EQ(inGroupChips(), "225.0.0.0/8");
    EXPECT_EQ(log.lines, std::vector<std::string>());
  }
  std::filesystem::remove_all(place);
}

// --- The simulated chips

TEST_F(Bidir, SimulatedChipsCountTheirTables) {
  auto const groupChip = Zet::make<SimBidirGroupChip>("g", 2u);
  groupChip->doAddBidirGroup("default", IpGenPrefix("225.0.0.0/8"));
  EXPECT_TRUE(groupChip->bidirGroupHandle().isNull()) << "no room until it is set up";
  EXPECT_FALSE(groupChip->mcastGroupTcamFree());
  EXPECT_DEATH(groupChip->doVerifyBidirGroup(RouteHandle{1}, "default", IpGenPrefix()),
               "handle\\( hd \\) && \" handle exits \"");
  auto const df = Zet::make<SimBidirDfChip>("d", 2u);
  for (U32 vid = 1; vid <= 32; ++vid) df->doAddDfProfile(Bridging::VlanIdOrNone(vid), 1);
  EXPECT_TRUE(df->dfProfileTblFree());
  df->doAddDfProfile(Bridging::VlanIdOrNone(33), 1);
  EXPECT_FALSE(df->dfProfileTblFree());
  EXPECT_FALSE(df->dfProfile(Bridging::VlanIdOrNone(33)));
  auto const made = simFabricBidirFactory("other");
  auto const chip = made->bidirDfChipIs("d", 1);
  EXPECT_EQ(made->bidirDfChipIs("d", 1), chip);
  EXPECT_NE(thrown([&] { made->bidirDfChipIs("d", 2); }).find("index"), std::string::npos);
  EXPECT_NE(thrown([&] {
              made->bidirGroupChipIs("d", 1);
              made->bidirGroupChipIs("d", 2);
            }).find("index"),
            std::string::npos);
}
