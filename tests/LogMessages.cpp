// The messages to the operator, as they come out.
#include "model/LogMessages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/FailureReason.h"
#include "platform/ActivityManager.h"

namespace {

struct Seen final : Zet::LogSink {
  Seen() {
    Zet::activityManager()->clockIs(Zet::make<Zet::SimClock>());
    Zet::LogHandle::sinkIs(this);
  }
  ~Seen() {
    Zet::LogHandle::sinkIs(nullptr);
    Zet::activityManager()->clockIs(nullptr);
  }
  void onLog(Zet::LogHandle const & handle, std::string_view text) override {
    lines.push_back(std::string(handle.name().view()) + ": " + std::string(text));
  }
  std::vector<std::string> lines;
};

}  // namespace

// A handle's name is how it is looked for, so it must be the one that the code uses.
TEST(LogMessages, EachBearsItsOwnNameAndTakesItsArguments) {
  struct Case {
    Zet::LogHandle & handle;
    char const * name;
    std::vector<std::string_view> args;
  } const cases[] = {
#define CASE(name, ...)                   \
  {                                       \
    Brindle::name, #name, { __VA_ARGS__ } \
  }
      CASE(MROUTE_HW_RESOURCE_FULL, " (route entries)"),
      CASE(MROUTE_HW_RESOURCE_NORMAL),
      CASE(IGMPSNOOPING_HW_RESOURCE_FULL, " (MAC table)"),
      CASE(IGMPSNOOPING_HW_RESOURCE_NORMAL),
      CASE(ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED, "10", " (output sets)"),
      CASE(ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED, "10"),
      CASE(ETH_VLAN_FLOODSET_FORWARDING_DISABLED, "10", " (output sets)"),
      CASE(ETH_VLAN_FLOODSET_FORWARDING_RESUMED, "10"),
      CASE(ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED, "10", " (output sets)"),
      CASE(ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED, "10"),
      CASE(MROUTE_FASTDROP_LIMIT_EXCEEDED, "red"),
      CASE(MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED, "red"),
      CASE(BIDIR_RPA_RESOURCE_FULL),
      CASE(PREFIX_MROUTE_HW_RESOURCE_FULL),
      CASE(PREFIX_MROUTE_HW_RESOURCE_NORMAL),
#undef CASE
  };
  Seen seen;
  for (auto const & c : cases) {
    c.handle.log(0, c.args.data(), c.args.size());
    ASSERT_FALSE(seen.lines.empty());
    std::string const & line = seen.lines.back();
    EXPECT_EQ(line.find(c.name), 0u) << line;
    EXPECT_EQ(line.find('%'), line.npos) << line;
    for (auto arg : c.args) EXPECT_NE(line.find(arg), line.npos) << line;
    EXPECT_FALSE(c.handle.okToLog(0)) << "twice in a second";
  }
  EXPECT_EQ(seen.lines[4],
            "ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED: Multicast sent to a group with no local "
            "members will be discarded in VLAN 10:  (output sets).");
}

TEST(FailureReason, TellsWhatRanOutFromHowTheRouteStands) {
  using Reason = Brindle::MrouteFailureReason;
  Reason const both{0x108 | Reason::blockedBit};
  EXPECT_TRUE(both.hwFailure());
  EXPECT_EQ(both.logExplain(), " (output sets, route entries)");
  EXPECT_EQ(both.pretty(), "output sets 0x8, route entries 0x100, blocked");
  Reason const waits{Reason::inProgressBit | Reason::notInitedBit};
  EXPECT_FALSE(waits.hwFailure());
  EXPECT_EQ(waits.logExplain(), "");
  EXPECT_EQ(waits.pretty(), "notInited, inProgress");
}
