#include "bench/Boundaries.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "bench/Measure.h"
#include "bench/World.h"
#include "boundary/BoundaryFastdropSm.h"
#include "platform/ActivityManager.h"
#include "tests/QueuePam.h"

namespace Bench {

namespace {

using Brindle::BoundaryFastdrop::BoundaryFastdropSm;
using Brindle::BoundaryFastdrop::MrtPam;
using Brindle::BoundaryFastdrop::MrtPamKey;
using Brindle::BoundaryFastdrop::Status;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;
using Nettle::Prefix;

// --- Longest-prefix match

constexpr U32 kLookUps = 200000;

// The plain way: prefixes by length, then address, and a binary search for each length in use.
class SortedPrefixes {
 public:
  explicit SortedPrefixes(std::vector<Prefix> const & prefixes) {
    for (auto const & one : prefixes) of_[one.length()].push_back(one.address());
    for (auto & addresses : of_) std::sort(addresses.begin(), addresses.end());
  }
  IpGenPrefix longestMatch(U32 address) const {
    for (U32 length = 33; length-- > 0;) {
      U32 const masked = length == 0 ? 0 : address >> (32 - length) << (32 - length);
      auto const & addresses = of_[length];
      if (std::binary_search(addresses.begin(), addresses.end(), masked)) {
        return {IpGenAddr(masked), length};
      }
    }
    return {};
  }

 private:
  std::array<std::vector<U32>, 33> of_;
};

std::vector<Prefix> anyPrefixes(U32 count, std::mt19937 & random) {
  std::vector<Prefix> prefixes;
  for (U32 i = 0; i < count; ++i) {
    U32 const group = 0xe0000000u | static_cast<U32>(random() >> 4);
    prefixes.push_back(
        IpGenPrefix::around(IpGenAddr(group), static_cast<U32>(12 + random() % 21)).v4Prefix());
  }
  return prefixes;
}

// Groups, of which every other one lies in a prefix.
std::vector<U32> anyGroups(std::vector<Prefix> const & prefixes, std::mt19937 & random) {
  std::vector<U32> groups;
  for (U32 i = 0; i < kLookUps; ++i) {
    Prefix const & near = prefixes[random() % prefixes.size()];
    U32 const any = static_cast<U32>(random() >> 4);
    groups.push_back(i % 2 ? near.address() | any >> near.length() : 0xe0000000u | any);
  }
  return groups;
}

// Nanoseconds a look-up in the best of some rounds; every answer goes into `sum`.
template <class F> double lookUps(std::vector<U32> const & groups, U64 & sum, F const & match) {
  double best = 1e9;
  for (int round = 0; round < 5; ++round) {
    sum = 0;
    best = std::min(best, seconds([&] {
                      for (U32 group : groups) {
                        IpGenPrefix const found = match(group);
                        sum = sum * 31 + found.address().v4() + found.length();
                      }
                    }));
  }
  return best / double(groups.size()) * 1e9;
}

void longestMatches() {
  for (U32 count : {10u, 1000u, 100000u}) {
    std::mt19937 random(count);
    auto const prefixes = anyPrefixes(count, random);
    auto const groups = anyGroups(prefixes, random);
    auto const trie = Zet::make<Routing::TrieGen>("bench", Nettle::ipv4());
    double const before = privateBytes();
    for (auto const & one : prefixes) trie->routeIs(one, true);
    double const bytes = privateBytes() - before;
    SortedPrefixes const sorted(prefixes);
    U64 byTrie = 0, bySearch = 0;
    std::string const name = std::to_string(count);
    report("trie " + name,
           lookUps(groups, byTrie,
                   [&](U32 group) { return trie->longestMatch(IpGenPrefix(IpGenAddr(group))); }),
           "ns/look-up");
    report("trie search " + name,
           lookUps(groups, bySearch, [&](U32 group) { return sorted.longestMatch(group); }),
           "ns/look-up");
    if (byTrie != bySearch) std::abort();
    if (count == 100000) report("trie bytes", bytes / trie->routes(), "bytes/prefix");
  }
}

// --- Records

// Bytes that are in use: what is freed goes to the allocator, not to the system.
double allocated() { return static_cast<double>(mallinfo2().uordblks); }

constexpr U32 kGroups = 100;
constexpr U32 kSources = 1000;

// One machine with a boundary on one interface.
class Learner {
 public:
  Learner(std::string name, Nettle::IntfId intf, Zet::Ptr<Status> status)
      : name_(std::move(name)),
        status_(std::move(status)) {
    vifs_->intfIdCollIs(0, intf);
    mfib_->intfBoundaryStatusIs(intf.name())->boundaryIs(IpGenPrefix("239.0.0.0/8"), true);
    sm_ = Zet::make<BoundaryFastdropSm>(
        L3::VrfName::defaultVrf(),
        BoundaryFastdropSm::Inputs{.mrtPam = Zet::make<MrtPam>(MrtPamKey{Nettle::ipv4(), "default"},
                                                               &Tests::QueuePam::make),
                                   .status = status_,
                                   .mfibStatus = mfib_,
                                   .vifStatus = vifs_});
  }
  // Records come, come again, and go.
  void measure() {
    double const before = allocated();
    report(name_ + " learn", learn(), "ns/message");
    report(name_ + " record", (allocated() - before) / kGroups / kSources, "bytes/source");
    report(name_ + " known", learn(), "ns/message");
    withdraw();
    report(name_ + " left", (allocated() - before) / kGroups / kSources, "bytes/source");
  }

 private:
  // Nanoseconds a message, of each source to each group.
  double learn() {
    auto & pam = static_cast<Tests::QueuePam &>(*sm_->mrtPam()->pam());
    double spent = 0;
    for (U32 g = 0; g < kGroups; ++g) {
      for (U32 s = 0; s < kSources; ++s) {
        pam.queue.push_back(Tests::noCache(0, 0x0a000000u + s * 97, 0xef010000u + g * 31));
      }
      while (!pam.queue.empty()) spent += seconds([&] { pam.deliver(); });
    }
    return spent / kGroups / kSources * 1e9;
  }
  // The boundary goes, and with it the records: a slice after the other.
  void withdraw() {
    mfib_->intfBoundaryStatusDel(vifs_->intfIdColl(0).name());
    double total = 0, longest = 0;
    U32 slices = 0;
    for (; status_->fastdrop().size() > 0; ++slices) {
      double const slice = seconds([&] { sm_->handleBoundaryDelClock(); });
      total += slice;
      longest = std::max(longest, slice);
    }
    report(name_ + " withdraw", total * 1e3, "ms");
    report(name_ + " withdraw slices", slices, "slices");
    report(name_ + " withdraw slice", longest * 1e3, "ms");
  }

  std::string const name_;
  Zet::Ptr<Routing::KernelMfib::Status> vifs_ =
      Zet::make<Routing::KernelMfib::Status>(L3::VrfName::defaultVrf());
  Zet::Ptr<Routing::Multicast::Fib::Status> mfib_ = Zet::make<Routing::Multicast::Fib::Status>();
  Zet::Ptr<Status> const status_;
  Zet::Ptr<BoundaryFastdropSm> sm_;
};

}  // namespace

void boundaries() {
  longestMatches();
  Learner("boundary", Nettle::IntfId("Vlan1"), Zet::make<Status>(L3::VrfName::defaultVrf()))
      .measure();
  World world({});
  auto const records = Zet::make<Brindle::BoundaryFastdrop::StatusColl>();
  auto const status = records->vrfStatusIs(L3::VrfName::defaultVrf());
  world.miraRoot().boundaryFastdropStatusCollIs(records);
  Learner("boundary drop", Nettle::IntfId::ofVlan(World::outputVlan(0)), status).measure();
  if (world.chip().deletions != kGroups * kSources) std::abort();
}

}  // namespace Bench
