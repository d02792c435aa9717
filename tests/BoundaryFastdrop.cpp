// Boundaries that are learned from the kernel's messages: what is recorded, and how it is
// withdrawn.
#include <algorithm>
#include <fstream>
#include <random>

#include "boundary/IgmpMsg.h"
#include "tests/BoundaryWorld.h"
#include "tests/Thrown.h"

namespace {

using namespace Tests;
using Brindle::BoundaryFastdrop::IgmpMsg;
using Brindle::BoundaryFastdrop::MrtPam;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;

class BoundaryFastdrop : public BoundaryWorld {
 protected:
  BoundaryFastdrop() { configure("default"); }
  void settle() { Zet::activityManager()->runFor(30); }
  void deliver(U32 n, char const * source, char const * group) {
    pam().deliver(noCache(n, source, group));
  }
};

std::string unhex(std::string const & text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

}  // namespace

// --- Messages

TEST_F(BoundaryFastdrop, ADeniedGroupIsRecordedWhereItIsDenied) {
  boundary(1, "239.1.0.0/16");
  boundary(2, "239.2.0.0/16");
  start();
  EXPECT_TRUE(pam().on);
  EXPECT_EQ(pam().maxRxPktData(), 8124u);
  deliver(1, "10.0.0.1", "239.1.1.1");
  deliver(1, "10.0.0.2", "239.1.1.1");
  deliver(1, "10.0.0.1", "239.1.1.1");
  EXPECT_EQ(recorded(), "Vlan1: 239.1.1.1 (10.0.0.1 10.0.0.2)");
  deliver(2, "10.0.0.1", "239.1.1.1");
  EXPECT_EQ(machine().noCacheCounter(), 4u) << "what is not denied counts too";
  deliver(3, "10.0.0.1", "239.1.1.1");
  deliver(700, "10.0.0.1", "239.1.1.1");
  EXPECT_EQ(machine().noCacheCounter(), 4u) << "but not without a boundary";
  boundary(3, "239.0.0.0/8");
  deliver(3, "10.0.0.9", "239.9.9.9");
  EXPECT_EQ(recorded(), "Vlan1: 239.1.1.1 (10.0.0.1 10.0.0.2); Vlan3: 239.9.9.9 (10.0.0.9)");
}

TEST_F(BoundaryFastdrop, OfRecordedMessagesTheNoCacheOnesCount) {
  // Every virtual interface is known, and everything is denied.
  for (U32 vif = 0; vif <= 0xffff; ++vif) {
    vifs->vrfStatusIs("default")->intfIdCollIs(static_cast<U16>(vif), vlan(1));
  }
  boundary(1, "0.0.0.0/0");
  start();
  std::ifstream file(BRINDLE_SOURCES "/tests/data/igmpmsg-upcalls.hex");
  int messages = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    pam().deliver(unhex(line));
    ++messages;
  }
  EXPECT_EQ(messages, 7);
  EXPECT_EQ(recorded(), "Vlan1: 239.1.1.1 (10.0.1.2) 239.1.1.2 (10.0.1.2) 239.1.1.3 (10.0.3.2)");
}

TEST_F(BoundaryFastdrop, MessagesOfAnyLengthAndContentHarmNothing) {
  boundary(1, "239.1.0.0/16");
  boundary(2, "0.0.0.0/0");
  start();
  std::mt19937 random(63);
  auto const upTo = [&](U32 n) { return static_cast<U32>(random() % n); };
  std::set<std::tuple<U32, U32, U32>> expected;
  for (U32 i = 0; i < 4000; ++i) {
    U32 const source = static_cast<U32>(random()), group = 0xef000000u + (upTo(4) << 16) + upTo(9);
    std::string message = noCache(upTo(4), source, group);
    message.resize(i <= 8192 && i % 8 == 0 ? i % 64 == 0 ? upTo(8193) : upTo(24) : 28);
    for (U32 n = upTo(3); n > 0 && !message.empty(); --n) {
      message[upTo(static_cast<U32>(message.size()))] = static_cast<char>(random() % 3);
    }
    auto const byte = [&](std::size_t at) {
      return static_cast<U32>(static_cast<U8>(message[at]));
    };
    auto const word = [&](std::size_t at) {
      return byte(at) << 24 | byte(at + 1) << 16 | byte(at + 2) << 8 | byte(at + 3);
    };
    if (message.size() >= 20 && byte(8) == 1 && byte(9) == 0 && word(16) >> 28 == 14) {
      U32 const vif = byte(10) | byte(11) << 8;
      if (vif == 2 || (vif == 1 && word(16) >> 16 == 0xef01)) {
        expected.insert({vif, word(16), word(12)});
      }
    }
    pam().deliver(message);
  }
  decltype(expected) found;
  for (auto & fastdrop : records->vrfStatus("default")->fastdrop()) {
    for (auto & group : fastdrop.group()) {
      for (auto & source : group.source()) {
        found.insert({fastdrop.key() == vlan(1) ? 1 : 2, group.key().v4(), source.key().v4()});
      }
    }
  }
  EXPECT_EQ(found, expected);
  EXPECT_GT(found.size(), 500u);
}

TEST_F(BoundaryFastdrop, AStormIsReadInTurnsOfBoundedTime) {
  boundary(1, "239.1.0.0/16");
  start();
  machine().loopQuantumIs(0.5);
  clock->readCostIs(0.001);
  for (U32 i = 0; i < 1200; ++i) pam().queue.push_back(noCache(1, i, 0xef010101u));
  U64 turns = 0;
  for (; !pam().queue.empty(); ++turns) pam().deliver();
  EXPECT_EQ(turns, 3u);
  EXPECT_EQ(machine().noCacheCounter(), 1200u);
}

TEST_F(BoundaryFastdrop, WhatHasAgedOutIsForgotten) {
  boundary(1, "239.0.0.0/8");
  start();
  auto & fastdrop = *records->vrfStatus("default")->fastdrop(vlan(1));
  constexpr U32 recorded = 100;
  for (U32 i = 0; i < 20 * recorded; ++i) {
    pam().deliver(noCache(1, 0x0a000001u, 0xef000000u + i));
    if (i >= recorded) fastdrop.groupDel(IpGenAddr(0xef000000u + i - recorded));
  }
  EXPECT_EQ(fastdrop.group().size(), recorded);
  auto const & known = machine().trieUserMap(vlan(1))->trieEntryInfo(IpGenPrefix("239.0.0.0/8"));
  EXPECT_GE(known->group().size(), recorded);
  EXPECT_LE(known->group().size(), 3 * recorded);
  boundary(1, "239.0.0.0/8", false);
  settle();
  EXPECT_EQ(fastdrop.group().size(), 0u) << "what stands was kept";
}

TEST_F(BoundaryFastdrop, PrefixesThatAreNotIpv4DenyNothing) {
  boundary(1, "ff00::/8");
  boundary(1, "239.1.0.0/16");
  start();
  boundary(1, "ff05::/16");
  deliver(1, "10.0.0.1", "239.2.1.1");
  EXPECT_EQ(recorded(), "");
  boundary(1, "ff00::/8", false);
  deliver(1, "10.0.0.1", "239.1.1.1");
  settle();
  EXPECT_EQ(recorded(), "Vlan1: 239.1.1.1 (10.0.0.1)");
}

// --- Withdrawal

TEST_F(BoundaryFastdrop, WithAPrefixGoesWhatItMatchedAndNothingElse) {
  for (auto const * prefix : {"239.0.0.0/8", "239.1.0.0/16", "239.2.0.0/16"}) boundary(1, prefix);
  start();
  for (auto const * group : {"239.1.1.1", "239.1.1.2", "239.2.1.1", "239.3.1.1"}) {
    deliver(1, "10.0.0.1", group);
  }
  boundary(1, "239.1.0.0/16", false);
  EXPECT_EQ(recorded(),
            "Vlan1: 239.1.1.1 (10.0.0.1) 239.1.1.2 (10.0.0.1) 239.2.1.1 (10.0.0.1) "
            "239.3.1.1 (10.0.0.1)")
      << "that takes a review";
  settle();
  EXPECT_EQ(recorded(), "Vlan1: 239.2.1.1 (10.0.0.1) 239.3.1.1 (10.0.0.1)");
  deliver(1, "10.0.0.1", "239.1.1.1");
  EXPECT_EQ(recorded(), "Vlan1: 239.1.1.1 (10.0.0.1) 239.2.1.1 (10.0.0.1) 239.3.1.1 (10.0.0.1)")
      << "a shorter prefix denies it still";
  boundary(1, "239.0.0.0/8", false);
  settle();
  EXPECT_EQ(recorded(), "Vlan1: 239.2.1.1 (10.0.0.1)");
}

TEST_F(BoundaryFastdrop, AnInterfaceWhoseBoundaryComesBackStartsAnew) {
  boundary(1, "239.1.0.0/16");
  boundary(2, "239.1.0.0/16");
  start();
  deliver(1, "10.0.0.1", "239.1.1.1");
  deliver(2, "10.0.0.1", "239.1.1.1");
  noBoundary(1);
  noBoundary(2);
  boundary(1, "239.2.0.0/16");
  auto const * status = records->vrfStatus("default");
  auto const trie = status->fastdrop(vlan(1))->denyPrefixTrie();
  settle();
  EXPECT_EQ(recorded(), "");
  ASSERT_TRUE(status->fastdrop(vlan(1)));
  EXPECT_EQ(status->fastdrop(vlan(1))->denyPrefixTrie(), trie);
  EXPECT_FALSE(status->fastdrop(vlan(2)));
  EXPECT_FALSE(machine().boundaryDelReviewTimer()->reviewPending()) << "it rests when it is done";
}

namespace {

using Status = Brindle::BoundaryFastdrop::Status;
using Fastdrop = Brindle::BoundaryFastdrop::Fastdrop;
using GroupInfo = Brindle::BoundaryFastdrop::GroupInfo;

// Proves the order of a withdrawal: no group goes with sources in it, no interface with groups.
class OrderWatch final : public Zet::Sm {
 public:
  explicit OrderWatch(Status * status) { zetStatus_.attach(status); }

 private:
  struct ZetFastdrop final : Zet::KeyedReactor<Nettle::IntfId, Fastdrop, OrderWatch> {
    using KeyedReactor::KeyedReactor;
    void onGroup(IpGenAddr const & k) override {
      Zet::Ptr<GroupInfo> const before = std::exchange(group.at(k), target()->group(k));
      if (before && before != group.at(k)) {
        EXPECT_TRUE(before->source().empty());
      }
    }
    Zet::HashMap2018<IpGenAddr, Zet::Ptr<GroupInfo>> group;
  };
  struct ZetStatus final : Zet::Reactor<Status, OrderWatch> {
    using Reactor::Reactor;
    void onFastdrop(Nettle::IntfId const & k) override {
      auto * const before = sm()->zetFastdrop_.find(k);
      Fastdrop * const now = target()->fastdrop(k);
      if (before && before->target() != now) {
        EXPECT_TRUE(before->target()->group().empty());
      }
      sm()->zetFastdrop_.follow(k, now);
    }
  };

  Zet::ReactorPtr<ZetStatus> zetStatus_{this};
  Zet::ReactorMap<Nettle::IntfId, ZetFastdrop> zetFastdrop_{this};
};

}  // namespace

TEST_F(BoundaryFastdrop, AReviewStopsAtEachSourceGroupAndInterfaceAndLosesNone) {
  start();
  auto const watch = Zet::make<OrderWatch>(records->vrfStatus("default"));
  machine().boundaryDelReviewQuantumIs(0);
  for (U32 n : {1u, 2u, 3u}) {
    boundary(n, "239.1.0.0/16");
    boundary(n, "239.2.0.0/16");
    for (auto const * group : {"239.1.1.1", "239.1.1.2", "239.2.1.1"}) {
      for (auto const * source : {"10.0.0.1", "10.0.0.2"}) deliver(n, source, group);
    }
  }
  noBoundary(1);
  boundary(2, "239.1.0.0/16", false);
  noBoundary(3);
  auto const sources = [&] {
    std::string const text = recorded();
    return std::count(text.begin(), text.end(), '(') + std::count(text.begin(), text.end(), ' ');
  };
  auto const & review = machine().boundaryDelReview();
  for (auto left = sources(); recorded() != "Vlan2: 239.2.1.1 (10.0.0.1 10.0.0.2)";) {
    machine().handleBoundaryDelClock();
    ASSERT_LT(sources(), left) << "each slice gets on";
    left = sources();
    bool const within = !review.sourceDelBookmark().isNull();
    if (within) {
      EXPECT_FALSE(review.groupDelBookmark().isNull());
    }
    // What comes meanwhile waits for the next review.
    if (within) noBoundary(2);
  }
  EXPECT_EQ(review.boundaryDelReviewSet()->intf().size(), 0u);
  EXPECT_EQ(review.boundaryDelPendingSet()->intf().size(), 1u);
  settle();
  EXPECT_EQ(recorded(), "");
  EXPECT_EQ(records->vrfStatus("default")->fastdrop().size(), 0u);
}

// Marks, messages and records that age out come between the slices, also at the bookmarks, and
// what is recorded in the end is what is denied.
TEST_F(BoundaryFastdrop, WhateverComesBetweenTheSlicesOfAReviewItEnds) {
  start();
  char const * const prefixes[] = {"239.0.0.0/8", "239.1.0.0/16", "239.1.1.0/24", "239.2.0.0/16"};
  for (U32 seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    auto const upTo = [&](U32 n) { return static_cast<U32>(random() % n); };
    Status & status = *records->vrfStatus("default");
    auto const watch = Zet::make<OrderWatch>(&status);
    auto const & review = machine().boundaryDelReview();
    clock->readCostIs(1);
    for (int step = 0; step < 150; ++step) {
      U32 const n = 1 + upTo(3);
      switch (upTo(8)) {
        case 0:
          boundary(n, prefixes[upTo(4)], upTo(2));
          break;
        case 1:
          if (upTo(3) == 0) noBoundary(n);
          break;
        case 2:
          if (auto * fastdrop = status.fastdrop(review.intfDelBookmark())) {
            if (auto * group = fastdrop->group(review.groupDelBookmark())) {
              group->sourceDel(review.sourceDelBookmark());
              if (group->source().empty()) fastdrop->groupDel(review.groupDelBookmark());
            }
          }
          break;
        case 3:
        case 4:
          machine().boundaryDelReviewQuantumIs(upTo(6));
          machine().handleBoundaryDelClock();
          break;
        default:
          for (U32 i = 0; i < 6; ++i) {
            U32 const group = 0xef000000u + ((1 + upTo(2)) << 16) + (upTo(2) << 8) + upTo(3);
            pam().deliver(noCache(n, 0x0a000000u + upTo(20), group));
          }
      }
    }
    clock->readCostIs(0);
    settle();
    ASSERT_FALSE(machine().boundaryDelReviewTimer()->reviewPending());
    for (auto & fastdrop : status.fastdrop()) {
      auto const * status1 = mfib->intfBoundaryStatus(fastdrop.key().name());
      ASSERT_TRUE(status1) << fastdrop.key();
      for (auto & group : fastdrop.group()) {
        bool denied = false;
        for (auto const & one : status1->boundary().items()) denied |= one.contains(group.key());
        EXPECT_TRUE(denied) << group.key();
      }
    }
    for (U32 n : {1u, 2u, 3u}) noBoundary(n);
    settle();
    ASSERT_EQ(status.fastdrop().size(), 0u);
  }
}

// --- VRFs

TEST_F(BoundaryFastdrop, AVrfNeedsItsNamespaceItsConfigurationAndItsVirtualInterfaces) {
  start();
  configure("red");
  boundary(1, "239.1.0.0/16");
  EXPECT_FALSE(root->boundaryFastdropSm("red")) << "it has no namespace yet";
  vrfs->vrfIs("red")->networkNamespaceIs("ns-red");
  ASSERT_TRUE(root->boundaryFastdropSm("red"));
  EXPECT_EQ(pam("red").netNs(), "ns-red");
  EXPECT_EQ(pam().netNs(), Nettle::NamespaceName::defaultNamespace());
  pam("red").deliver(noCache(1, "10.0.0.1", "239.1.1.1"));
  EXPECT_EQ(recorded("red"), "Vlan1: 239.1.1.1 (10.0.0.1)");
  EXPECT_EQ(recorded(), "") << "the default one is another";
  auto const * const socket = &pam("red");
  root->handleVrf("red");
  EXPECT_EQ(&pam("red"), socket) << "made anew, it listens on without a gap";
  auto const without = [&](auto const & take, auto const & give) {
    take();
    EXPECT_FALSE(root->boundaryFastdropSm("red"));
    EXPECT_EQ(recorded("red"), "-") << "its records went at once";
    EXPECT_EQ(root->mrtPam().size(), 1u) << "and its socket";
    give();
    EXPECT_TRUE(root->boundaryFastdropSm("red"));
  };
  without([&] { vrfConfig->configIs("red")->routingIs(false); },
          [&] { vrfConfig->configIs("red")->routingIs(true); });
  without([&] { vrfConfig->configDel("red"); },
          [&] { vrfConfig->configIs("red")->routingIs(true); });
  without([&] { vifs->vrfStatusDel("red"); }, [&] { vifs->vrfStatusIs("red"); });
  without([&] { vrfs->vrfIs("red")->networkNamespaceIs(""); },
          [&] { vrfs->vrfIs("red")->networkNamespaceIs("ns-other"); });
  EXPECT_EQ(pam("red").netNs(), "ns-other");
  without([&] { vrfs->vrfDel("red"); }, [&] { vrfs->vrfIs("red")->networkNamespaceIs("ns-red"); });
  root = nullptr;
  EXPECT_EQ(records->vrfStatus().size(), 0u);
}

TEST_F(BoundaryFastdrop, RefusesWhatMayNotBe) {
  start();
  EXPECT_EQ(thrown([&] { machine().intfBoundaryStatusIs(nullptr); }),
            "null _intfBoundaryStatus parameter to mutator for "
            "Brindle::BoundaryFastdrop::BoundaryFastdropSm::intfBoundaryStatus not allowed");
  EXPECT_THROW(root->vrfStatusLocalIs(nullptr), Zet::RangeException);
  EXPECT_THROW(root->mfibConfigSmIs(nullptr), Zet::RangeException);
  EXPECT_DEATH(routingHw->hwMulticastStarGSupportedIs(true), "assertion failed: 0");
  EXPECT_DEATH(MrtPam({Nettle::ipv6(), "default"}), "IPv6 is not supported.");
  EXPECT_DEATH(MrtPam({Nettle::AddressFamily::none, "default"}), "Unknown address family");
}
