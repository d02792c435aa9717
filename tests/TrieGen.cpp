// Longest-prefix match against a plain search.
#include "state/TrieGen.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "tests/Thrown.h"

namespace {

using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;
using Nettle::Prefix;
using Routing::TrieGen;

IpGenPrefix searched(std::set<Prefix> const & prefixes, IpGenPrefix const & what) {
  IpGenPrefix best;
  for (auto const & prefix : prefixes) {
    IpGenPrefix const one = prefix.genPrefix();
    if (one.contains(what) && (best.isNull() || one.length() > best.length())) best = one;
  }
  return best;
}

// Few bits vary, so that prefixes lie in each other and part late.
IpGenPrefix anyPrefix(std::mt19937 & random) {
  U32 const length = static_cast<U32>(random() % 33);
  U32 const bits = static_cast<U32>(random());
  U32 const address = 0x6f000000u | (bits & 0x80000007u) | (bits >> 8 & 3) << 14;
  return IpGenPrefix::around(IpGenAddr(address), length);
}

}  // namespace

TEST(TrieGen, MatchesWhatAPlainSearchFinds) {
  for (U32 seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    auto const trie = Zet::make<TrieGen>("trie", Nettle::ipv4());
    std::set<Prefix> prefixes;
    for (int step = 0; step < 600; ++step) {
      Prefix const prefix = anyPrefix(random).v4Prefix();
      bool const stands = random() % (1 + seed % 3) == 0;
      trie->routeIs(prefix, stands);
      if (stands) {
        prefixes.insert(prefix);
      } else {
        prefixes.erase(prefix);
      }
      ASSERT_EQ(trie->routes(), prefixes.size());
      ASSERT_EQ(trie->route(prefix), stands);
      for (int look = 0; look < 5; ++look) {
        IpGenPrefix const what = anyPrefix(random);
        ASSERT_EQ(trie->longestMatch(what), searched(prefixes, what)) << what;
      }
    }
  }
}

TEST(TrieGen, KnowsNothingOfOtherFamilies) {
  auto const trie = Zet::make<TrieGen>("trie", Nettle::ipv4());
  trie->routeIs(Prefix(), true);
  EXPECT_TRUE(trie->longestMatch(IpGenPrefix("ff00::/8")).isNull());
  EXPECT_TRUE(trie->longestMatch(IpGenPrefix()).isNull());
  EXPECT_EQ(trie->longestMatch(IpGenPrefix("1.2.3.4/32")), IpGenPrefix("0.0.0.0/0"));
  EXPECT_EQ(Tests::thrown([] { Zet::make<TrieGen>("trie", Nettle::ipv6()); }),
            "TrieGen::af != ipv4 not allowed");
}
