// brindle-publish as another process sees it: what a run leaves, and what the next makes of it.
#include "tests/SimTool.h"

namespace Brindle::Sim {

namespace {

using SimPublish = SimTool;

std::string const one = "route add 10.0.0.1 232.1.1.1 iif et1 oif et1=accept br100 br200\n";
std::string const two = "route add * 239.1.1.1 iif et2 oif br100 et2=accept\n";

TEST_F(SimPublish, NextRunTakesOver) {
  EXPECT_EQ(run("@brindle-publish --once " + file("a", one + two)).exit, 0);
  // Stands until the first pass of the next run is over, and indices keep their meaning.
  auto const half = run("@brindle-publish -", "show\n" + two + "show routes\nsync\nshow routes\n");
  EXPECT_EQ(half.text, "ok\npim.default: 2 routes, 4 outputs; of an earlier run: 2\nok\nok\n" +
                           one + two + "ok\ndeleted of an earlier run: 1\nok\n" + two + "ok\n");
  auto const last = run("@brindle-publish --once " + file("b", one)).text;
  EXPECT_NE(last.find("1 routes, 4 outputs"), std::string::npos) << last;
}

TEST_F(SimPublish, NothingOfAFileWithAnErrorIsPublished) {
  run("@brindle-publish --once " + file("a", one));
  auto const bad = run("@brindle-publish --once " + file("b", two + "\nroute ad * 239.1.1.2\n"));
  EXPECT_EQ(bad.exit, 1);
  EXPECT_EQ(bad.text,
            "brindle-publish: " + dir() + "/b:3: expected \"add\" or \"del\", found \"ad\"\n");
  EXPECT_EQ(run("@brindle-publish -", "show routes\n").text, "ok\n" + one + "ok\n");
}

TEST_F(SimPublish, BidirTablesAreTakenOverByWhoSpeaksOfThem) {
  std::string const six = "bidir group add ff3e::/32\nbidir df add et2 7 ipv6\n";
  std::string const four = "bidir group add 225.0.0.0/8\nbidir group add 239.1.0.0/16\n";
  run("@brindle-publish --vrf red --once " +
      file("a", one + six + four + "bidir df add et1 1 63\n"));
  run("@brindle-publish --vrf red --once " + file("b", one));
  EXPECT_EQ(run("@brindle-publish --vrf red --protocol static -", "show bidir\n").text,
            "ok\n" + four + "bidir df add et1 1 63\n" + six + "ok\n");
  auto const bad = run("@brindle-publish --vrf red --once " +
                       file("c", "bidir df del et2 ipv6\nbidir group add 224.0.0.0/3\n"));
  EXPECT_EQ(bad.text, "brindle-publish: " + dir() +
                          "/c:2: expected a prefix of nothing but multicast groups\n");
  std::string const kept = "bidir group add 225.0.0.0/8\n";
  std::string const changed = "bidir df add et1 2\n";
  EXPECT_EQ(
      run("@brindle-publish --vrf red --protocol igmp --withdraw -",
          kept + changed + "sync\nshow bidir\nbidir del all\nshow bidir\n")
          .text,
      "ok\nok\nok\ndeleted of an earlier run: 1\nok\n" + kept + changed + six + "ok\nok\nok\n");
  EXPECT_FALSE(std::filesystem::exists(dir() + "/tables/routing:multicast:bidirstatus:red"));
  EXPECT_TRUE(std::filesystem::exists(dir() + "/tables/pim.red"));
}

TEST_F(SimPublish, OneSeedGivesTheSameRoutes) {
  std::string const options = " --once --routes 40 --groups 7 --oifs 3 --star";
  auto const listed = [&](char const * seed) {
    run("@brindle-publish" + options + " --seed " + seed);
    return run("@brindle-publish -", "show routes\n").text;
  };
  auto const seven = listed("7");
  EXPECT_EQ(std::count(seven.begin(), seven.end(), '\n'), 49);
  EXPECT_NE(seven, listed("8"));
  EXPECT_EQ(seven, listed("7"));
}

}  // namespace

}  // namespace Brindle::Sim
