// The records that do more than hold values: dense maps, the two-way table of internal VLANs,
// parents of sub-interfaces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "state/Fjord.h"
#include "state/IntfVlanId.h"
#include "state/Topology.h"

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using testing::ElementsAre;

TEST(DenseMap, FindsWhatATreeFinds) {
  Bridging::Topology::TopoConfig topo("mst0");
  std::map<IntfId, Bridging::Topology::TopoPortConfig const *> model;
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    IntfId const intf("Ethernet" + std::to_string(random() % 50));
    if (random() % 2) {
      auto const port = topo.topoPortConfigIs(intf);
      auto const [at, isNew] = model.try_emplace(intf, port.get());
      EXPECT_EQ(at->second, port.get());
    } else {
      topo.topoPortConfigDel(intf);
      model.erase(intf);
    }
    EXPECT_EQ(topo.topoPortConfig().size(), model.size());
  }
  for (U32 n = 0; n < 60; ++n) {
    IntfId const intf("Ethernet" + std::to_string(n));
    auto const at = model.find(intf);
    EXPECT_EQ(topo.topoPortConfig(intf), at == model.end() ? nullptr : at->second);
  }
  std::map<IntfId, Bridging::Topology::TopoPortConfig const *> walked;
  for (auto i = topo.topoPortConfig().begin(); i; i.advance()) walked.emplace(i.key(), &*i);
  EXPECT_EQ(walked, model);
}

TEST(IntfVlanId, EntriesDecideInBothDirections) {
  IntfVlanId::Table table;
  IntfId const et1("Ethernet1"), et2("Ethernet2"), vlan10("Vlan10"), vlan20("Vlan20");
  VlanIdOrNone const v10(10), v1006(1006), none;

  EXPECT_EQ(table.intfIdToVlanId(IntfId()), none);
  EXPECT_EQ(table.intfIdToVlanId(et1), none);
  EXPECT_EQ(table.vlanIdToIntfId(none), IntfId());
  table.internalVlanIdIs(et1, v1006);
  EXPECT_EQ(table.intfIdToVlanId(et1), v1006);
  EXPECT_EQ(table.vlanIdToIntfId(v1006), et1);
  EXPECT_EQ(table.intfIdToVlanId(IntfId("Vlan1006")), none);  // another's internal VLAN

  // By its name alone, and back only with IP on it.
  EXPECT_EQ(table.intfIdToVlanId(vlan10), v10);
  EXPECT_EQ(table.vlanIdToIntfId(v10), IntfId());
  auto const ip = Zet::make<Ip::Status>();
  table.ipStatusIs(ip);
  EXPECT_EQ(table.vlanIdToIntfId(v10), IntfId());
  ip->ipIntfStatusIs(vlan10);
  EXPECT_EQ(table.vlanIdToIntfId(v10), vlan10);
  table.internalVlanIdIs(vlan10, v1006);  // moves on, and takes the VLAN over
  EXPECT_EQ(table.vlanIdToIntfId(v10), IntfId());
  EXPECT_EQ(table.vlanIdToIntfId(v1006), vlan10);
  table.internalVlanIdDel(vlan10);
  EXPECT_EQ(table.vlanIdToIntfId(v1006), et1);  // which has had it all the time
  EXPECT_EQ(table.vlanIdToIntfId(v10), vlan10);

  table.internalVlanIdIs(et1, v10);
  EXPECT_EQ(table.vlanIdToIntfId(v1006), IntfId());
  EXPECT_EQ(table.vlanIdToIntfId(v10), et1);
  EXPECT_EQ(table.intfIdToVlanId(vlan10), none);
  table.internalVlanIdIs(et1, none);
  EXPECT_EQ(table.intfIdToVlanId(et1), none);
  EXPECT_TRUE(table.internalVlanId().empty());
  EXPECT_EQ(table.vlanIdToIntfId(v10), vlan10);
}

std::vector<IntfId> subIntfs(Fjord::ParentIntfToSubIntfDir const & dir, IntfId parent) {
  auto const * intfs = dir.subIntf(parent);
  if (!intfs) return {};
  return {intfs->items().begin(), intfs->items().end()};
}

TEST(SubIntfMapping, FollowsTheConfiguration) {
  IntfId const et1("Ethernet1"), et2("Ethernet2"), sub1("Ethernet1.1"), sub2("Ethernet1.2");
  auto const config = Zet::make<Interface::SubIntfConfigDir>();
  auto const dir = Zet::make<Fjord::ParentIntfToSubIntfDir>();
  config->parentIntfIs(sub1, et1);
  auto sm = Zet::make<Fjord::SubIntfMappingSm>(config, dir);
  config->parentIntfIs(sub2, et1);
  EXPECT_THAT(subIntfs(*dir, et1), ElementsAre(sub1, sub2));

  config->parentIntfIs(sub1, et2);
  EXPECT_THAT(subIntfs(*dir, et1), ElementsAre(sub2));
  EXPECT_THAT(subIntfs(*dir, et2), ElementsAre(sub1));
  config->parentIntfDel(sub2);
  EXPECT_FALSE(dir->subIntf(et1));
  sm = nullptr;
  config->parentIntfDel(sub1);
  EXPECT_TRUE(dir->subIntf(et2));  // nobody follows any more
}

}  // namespace
