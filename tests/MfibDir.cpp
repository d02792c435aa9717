// Tables that show up in the directory reach the Mira of their VRF through shared memory.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "state/ShmStatus.h"
#include "tests/LogLines.h"
#include "tests/MiraFixture.h"

namespace {

using namespace Tests;
using Shoal::Multicast::Fib::ShmStatusWriter;

class MfibDir : public MiraFixture {
 protected:
  MfibDir() {
    char path[] = "/dev/shm/brindle-test-XXXXXX";
    place = ::mkdtemp(path);
    configure("default");
    configure("red.one");
    auto in = inputs();
    in.mfibDirName = Zet::Name(std::string_view(place));
    root = Zet::make<Brindle::MiraRoot>(in);
    start();
  }
  ~MfibDir() override {
    root = nullptr;
    std::filesystem::remove_all(place);
  }
  void announce(char const * name) { mfibDir->entityIs(name, Zet::make<Zet::Dir>()); }
  void publish(ShmStatusWriter & table, RouteKey const & k) {
    Route r(k);
    r.iifIs(IntfId("Vlan10"));
    table.routeIs(r);
    table.commit();
  }
  std::string place;
  RouteKey const first = key("10.0.0.1/32", "224.1.1.1/32");
  RouteKey const second = key("10.0.0.2/32", "224.1.1.1/32");
};

}  // namespace

TEST_F(MfibDir, ATableIsMountedAsLongAsItsEntryStands) {
  auto const pim = Zet::make<ShmStatusWriter>(place, "pim.red.one");
  publish(*pim, first);
  EXPECT_FALSE(mira("red.one")) << "there is no table";
  announce("pim.red.one");
  ASSERT_TRUE(mira("red.one"));
  EXPECT_EQ(mira("red.one")->mfibShoalSm().begin()->fullName(), "/mira/red.one/pim.red.one");
  announce("static.red.one");  // not made yet
  run();
  EXPECT_TRUE(mroute(first, "red.one"));
  publish(*pim, second);
  auto const fixed = Zet::make<ShmStatusWriter>(place, "static.red.one");
  RouteKey const third = key("10.0.0.3/32", "224.1.1.1/32");
  publish(*fixed, third);
  run();
  EXPECT_EQ(mroutes("red.one"), 3u);

  Zet::Ptr<Zet::Entity const> const mounted =
      root->shoalDir()->shoalColl("red.one")->shoalPtr().begin()->value;
  mfibDir->entityDel("pim.red.one");
  run();
  EXPECT_EQ(mounted->references(), 1u);
  EXPECT_EQ(mroutes("red.one"), 1u);
  EXPECT_TRUE(mroute(third, "red.one"));
  mfibDir->entityDel("static.red.one");
  run();
  EXPECT_FALSE(mira("red.one"));
}

TEST_F(MfibDir, NamesOfNoTableAreLeftAloneAndTheOthersGoOn) {
  std::string const longVrf = "pim." + std::string(101, 'x');
  std::string const longName = std::string(200, 'x') + ".red.one";
  auto const names = {"pim", "pim.", longVrf.c_str(), longName.c_str()};
  LogLines log;
  for (char const * name : names) announce(name);
  EXPECT_THAT(log.lines, testing::Each(testing::StartsWith("SHOAL_TABLE_REFUSED: ")));
  EXPECT_EQ(log.lines.size(), names.size());
  auto const pim = Zet::make<ShmStatusWriter>(place, "pim.default");
  publish(*pim, first);
  announce("pim.default");
  run();
  EXPECT_EQ(mroutes(), 1u);
  EXPECT_EQ(root->shoalDir()->shoalColl().size(), 1u);
  for (char const * name : names) mfibDir->entityDel(name);
  mfibDir->entityDel("pim.default");
  run();
  EXPECT_EQ(mroutes(), 0u);
  EXPECT_TRUE(mira());
}
