// What the process says: messages to the operator, traces, the flight recorder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "model/FailureReason.h"
#include "model/LogMessages.h"
#include "platform/ActivityManager.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "platform/Xact.h"
#include "tests/LogLines.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using Lines = std::vector<std::string>;

Zet::TraceHandle traceHandle("LogTraceTest", false);

struct TraceLines final : Zet::TraceSink {
  void onTrace(Zet::TraceRecord const & r) override {
    lines.push_back(std::string(r.facility) + '/' + std::to_string(r.level) + ' ' + r.function +
                    ' ' + std::string(r.text));
  }
  Lines lines;
};

class Messages : public ::testing::Test {
 protected:
  Messages() {
    Zet::activityManager()->clockIs(clock);
    Zet::TraceHandle::sinkIs(&trace);
  }
  ~Messages() override {
    Zet::TraceHandle::levelsIs("");
    Zet::TraceHandle::sinkIs(nullptr);
    Zet::activityManager()->clockIs(nullptr);
  }
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(50);
  Tests::LogLines log;
  TraceLines trace;
};

Zet::LogHandle handle(char const * name, char const * format, double min = 0, double max = 1) {
  return {name, Zet::LogSeverity(4), format, "why", Zet::NoActionRequired, min, max, 0};
}

Lines recordsSince(U64 number) {
  Lines lines;
  U64 n = Skein::written() - std::min<U64>(Skein::written(), Skein::capacity);
  Skein::print([&](std::string_view line) {
    if (n++ >= number) lines.emplace_back(line);
  });
  return lines;
}

}  // namespace

TEST_F(Messages, OneMessageIsLoggedAtMostOnceASecond) {
  auto full = handle("FULL", "No room%s.");
  EXPECT_TRUE(full.okToLog(0));
  full.log();
  EXPECT_FALSE(full.okToLog(0));
  clock->nowIs(50.75);
  full.log();
  full.log({" for vlan 7"});  // another one
  EXPECT_EQ(full.suppressed(), 2u);
  clock->nowIs(51);
  full.log();
  full.log({" for vlan 7"});
  EXPECT_THAT(log.lines,
              ElementsAre("FULL: No room.", "FULL: No room for vlan 7.", "FULL: No room."));

  auto spaced = handle("SPACED", "%s", 2, 4);
  spaced.log({"a"});
  spaced.log({"b"});
  clock->nowIs(53);
  spaced.log({"a"});
  spaced.log({"b"});
  clock->nowIs(55);
  spaced.log({"a"});
  log.lines.erase(log.lines.begin(), log.lines.begin() + 3);
  EXPECT_THAT(log.lines, ElementsAre("SPACED: a", "SPACED: b", "SPACED: a"));

  Tests::LogLines fresh;
  spaced.log({"a"});
  EXPECT_THAT(fresh.lines, ElementsAre("SPACED: a")) << "a new sink has seen nothing";
}

TEST_F(Messages, TheLimitHoldsForAnyNumberOfMessages) {
  auto many = handle("MANY", "%d");
  auto round = [&] {
    for (int i = 0; i < 1000; ++i) many.log({std::to_string(i)});
    auto n = log.lines.size();
    log.lines.clear();
    return n;
  };
  EXPECT_EQ(round(), 1000u);
  clock->nowIs(50.5);
  EXPECT_EQ(round(), 0u);
  clock->nowIs(51.5);
  EXPECT_EQ(round(), 1000u);
}

TEST_F(Messages, FormatsTakeTextsAndNothingElse) {
  auto odd = handle("ODD", "vlan %d: %s 100%% %n%x %s%");
  odd.log({"7", "%s%n"});
  EXPECT_THAT(log.lines, ElementsAre("ODD: vlan 7: %s%n 100% %n%x %"));
  Zet::LogHandle * last = nullptr;
  for (auto * h = Zet::LogHandle::first(); h; h = h->next()) last = h;
  EXPECT_EQ(last, &odd) << "all handles can be listed";
}

// A handle's name is how it is looked for, so it must be the one that the code uses.
TEST_F(Messages, EachOfTheLibraryBearsItsOwnNameAndTakesItsArguments) {
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
  for (auto const & c : cases) {
    c.handle.log(0, c.args.data(), c.args.size());
    ASSERT_FALSE(log.lines.empty());
    std::string const & line = log.lines.back();
    EXPECT_EQ(line.find(c.name), 0u) << line;
    EXPECT_EQ(line.find('%'), line.npos) << line;
    for (auto arg : c.args) EXPECT_NE(line.find(arg), line.npos) << line;
    EXPECT_FALSE(c.handle.okToLog(0)) << "twice in a second";
  }
  EXPECT_EQ(log.lines[4],
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

TEST_F(Messages, TracesAreSetByPattern) {
  int evaluated = 0;
  auto say = [&] {
    ZET_TRACE(0, "zero " << ++evaluated);
    ZET_TRACE(8, "eight " << ++evaluated);
  };
  auto said = [&](char const * setting) {
    Zet::TraceHandle::levelsIs(setting);
    auto before = trace.lines.size();
    say();
    return trace.lines.size() - before;
  };
  say();
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(said("Log*/7"), 1u);
  EXPECT_EQ(said("*T*e*t/8"), 2u);
  EXPECT_EQ(said("LogTraceTest/9,Other/0"), 2u);
  EXPECT_EQ(said("Log*/9,*Test/0"), 1u) << "the last one that matches counts";
  EXPECT_EQ(said("LogTrace/9,*Tests/9,ogTraceTest/9"), 0u);
  EXPECT_EQ(said("*/9"), 2u);
  for (char const * bad : {"Log", "Log*/10", "Log*/x", "Log*8", "*/9,,", "/9"}) {
    EXPECT_THROW(Zet::TraceHandle::levelsIs(bad), Zet::RangeException) << bad;
  }
  say();
  EXPECT_EQ(trace.lines.back(), "LogTraceTest/8 operator() eight 10")
      << "a refusal changes nothing";
  Zet::TraceHandle late("LateTest", false), on("Own", true);
  EXPECT_TRUE(late.enabled(9)) << "the setting holds for those that come later";
  Zet::TraceHandle::levelsIs("");
  EXPECT_FALSE(late.enabled(0));
  EXPECT_TRUE(on.enabled(9));
}

TEST_F(Messages, RecordsKeepWhatTheyWereGiven) {
  U64 const first = Skein::written();
  auto prefix = Zet::parse<Nettle::IpGenPrefix>("ff3e:30:2001:db8::/64");
  {
    std::string text = "sixteen letters!", longText = "more letters than there is room for";
    char buffer[] = "buffer";
    U8 small = 200;
    SKEIN("only text");
    SKEIN("key ", prefix, Nettle::IntfId("Ethernet4"), " on ", small, -5, 0.5, false);
    SKEIN(text, longText, buffer, " and ", Keel::XactResult::success, Zet::Name("name"));
    text = longText = buffer[0] = 'x';
  }
  EXPECT_THAT(
      recordsSince(first),
      ElementsAre(EndsWith(" only text"),
                  EndsWith(" key ff3e:30:2001:db8::/64 Ethernet4 on 200 -5 0.5 False"),
                  EndsWith(" sixteen letters! more letters than there buffer and success name")));
}

TEST_F(Messages, TheRingKeepsTheNewestRecordsWithTheTimeOfTheirTurn) {
  struct Turn : Zet::Clock::NotifieeConst {
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      BlockTimerMsg timer("the turn");
      SKEIN("in the turn");
      Zet::Ptr<Zet::SimClock>(static_cast<Zet::SimClock *>(const_cast<Zet::Clock *>(clock())))
          ->nowIs(62.25);
    }
  };
  for (U32 i = 0; i < Skein::capacity; ++i) SKEIN("old ", i);
  auto turn = Zet::make<Turn>();
  turn->notifierIs(clock.get());
  turn->timeMinIs(60);
  clock->nowIs(60);
  turn->detach();
  Lines all = recordsSince(0);
  ASSERT_EQ(all.size(), Skein::capacity);
  EXPECT_THAT(all.front(), EndsWith(" old 2"));
  all.erase(all.begin(), all.end() - 2);
  EXPECT_THAT(all,
              ElementsAre(::testing::ContainsRegex("^60.000000 LogTrace.cpp:[0-9]+ in the turn$"),
                          EndsWith(" the turn took 2.25 sec")));
}

TEST(MessagesDeathTest, ACrashPrintsTheLastRecords) {
  U32 const chips = 17;
  auto crash = [&] {
    Skein::printOnCrash(STDERR_FILENO);
    SKEIN("last words, chips ", chips);
    ZET_ASSERT(chips < 16, "chips() < 16");
  };
  EXPECT_DEATH(crash(), "chips\\(\\) < 16(.|\n)* last words, chips 17\n$");
}
