// Marks of changes: in the table's DirtyInfo, with a review where they are news, and in the
// journal.
#include <functional>

#include "tests/MiraFixture.h"

namespace {

using namespace Tests;
using Brindle::DirtyInfo;
using Brindle::Mira;

class MiraMarks : public MiraFixture {
 protected:
  MiraMarks() {
    configure("default");
    start();
    table("default");
    run();
  }
  DirtyInfo const & marks() { return *mira()->mrouteTable()->dirtyInfo(); }
};

}  // namespace

TEST_F(MiraMarks, EachMarkAsksForAReviewOnceAndIsCountedAlways) {
  Nettle::EthAddr const mac("01:00:5e:01:00:01");
  IntfId const port("Ethernet1"), lag("Port-Channel1");
  VlanIdOrNone const vid(10);
  struct Mark {
    char const * name;
    std::function<void(Mira &)> set;
    std::function<bool(DirtyInfo const &)> stands;
    std::function<U32(Brindle::DirtyChangeSet const &)> counted;
  };
  for (Mark const & mark : {
           Mark{"VLAN", [&](Mira & m) { m.doMarkVlanDirty(vid); },
                [](auto & d) { return d.marks().vlan == 1u << 10; },
                [](auto & c) { return c.dirtyVlanCount(); }},
           Mark{"VLAN port", [&](Mira & m) { m.doMarkVlanPortDirty(vid, port); },
                [&](auto & d) { return d.marks().vlanPort == Brindle::vlanPortBit(vid, port); },
                [](auto & c) { return c.dirtyVlanPortCount(); }},
           Mark{"VLAN group", [&](Mira & m) { m.doMarkVlanGroupDirty(vid, mac); },
                [&](auto & d) { return d.marks().vlanGroup == Brindle::vlanGroupBit(vid, mac); },
                [](auto & c) { return c.dirtyVlanGroupCount(); }},
           Mark{"LAG", [&](Mira & m) { m.doMarkLagDirty(lag); },
                [&](auto & d) { return d.marks().lag == Brindle::lagBit(lag); },
                [](auto & c) { return c.dirtyLagCount(); }},
           Mark{"all VLANs", [&](Mira & m) { m.doMarkAllVlansDirty(); },
                [](auto & d) { return d.allVlansDirty(); },
                [](auto & c) { return c.allVlansDirtyCount(); }},
       }) {
    SCOPED_TRACE(mark.name);
    auto const & journal = *mira()->dirtyChangeSet();
    U32 const before = mark.counted(journal);
    mark.set(*mira());
    EXPECT_TRUE(mark.stands(marks()));
    EXPECT_TRUE(mira()->reviewPending());
    mark.set(*mira());
    EXPECT_EQ(mark.counted(journal), before + 2);
    run();
  }
}

TEST_F(MiraMarks, AMarkThatStandsAsksForNothing) {
  mira()->reviewDisabledIs(true);
  mira()->doMarkVlanDirty(VlanIdOrNone(10));
  mira()->reviewDisabledIs(false);
  mira()->doMarkVlanDirty(VlanIdOrNone(42));  // the same bit
  EXPECT_FALSE(mira()->reviewPending());
  EXPECT_EQ(mira()->dirtyChangeSet()->dirtyVlanCount(), 2u);
  mira()->doMarkGroupSetDirty(Nettle::IpGenAddr("224.1.1.1"));
  EXPECT_TRUE(mira()->reviewPending());
  EXPECT_TRUE(marks().dirtyGroupSet(Nettle::IpGenAddr("224.1.1.1")));
}
