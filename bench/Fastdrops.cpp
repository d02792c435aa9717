#include "bench/Fastdrops.h"

#include <algorithm>
#include <array>

#include "bench/Measure.h"
#include "bench/World.h"
#include "mira/RpfMessage.h"

namespace Bench {

namespace {

using Brindle::RpfMessage;

constexpr U32 kRoutes = 100000;
constexpr U32 kVlans = 8;
constexpr U32 kRate = 10000;  // failures a second
constexpr double kStorm = 5;  // seconds

class Storm {
 public:
  explicit Storm(World & world) : mira_(world.mira()) {}

  // A packet of the i-th stream comes in on the n-th of the VLANs that routes go out of.
  void fail(U32 i, U32 n) {
    Key const key = World::key(i);
    put(RpfMessage::sourceOffset, key.source().address().v4());
    put(RpfMessage::groupOffset, key.group().address().v4());
    put(RpfMessage::vlanOffset, World::outputVlan(n).value());
    mira_.handleRpfFailure(message_.data(), RpfMessage::minBytes);
  }
  // Of each of so many streams, one in each of so many VLANs, again and again. Nanoseconds a
  // failure in the best round.
  double each(U32 streams, U32 vlans, int rounds = 1) {
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
      best = std::min(best, seconds([&] {
                        for (U32 n = 0; n < vlans; ++n) {
                          for (U32 i = 0; i < streams; ++i) fail(i, n);
                        }
                      }));
    }
    return best / streams / vlans * 1e9;
  }

 private:
  void put(U32 offset, U32 word) {
    for (U32 i = 0; i < 4; ++i) message_[offset + i] = static_cast<char>(word >> 8 * (3 - i));
  }
  Brindle::Mira & mira_;
  std::array<char, RpfMessage::minBytes> message_{};
};

void limitIs(World & world, U32 limit) { world.config().maxFastdropsIs(limit); }

// Failures of all routes come at the rate while one review follows the other: the longest turn of
// the loop, in seconds.
double turnBesideReview(World & world, Storm & storm) {
  double longest = 0, elapsed = 0;
  for (U32 failures = 0; elapsed < kStorm;) {
    double const turn = seconds([&] {
      if (!world.mira().reviewPending()) world.mira().doMarkAllVlansDirty();
      world.turn();
      for (; failures < elapsed * kRate; ++failures) {
        storm.fail(failures * 7919u % kRoutes, failures % kVlans);
      }
    });
    longest = std::max(longest, turn);
    elapsed += turn;
  }
  return longest;
}

}  // namespace

void fastdrops() {
  World world({.vlans = kVlans});
  Storm storm(world);
  report("fastdrop no-route", storm.each(kRoutes, 1, 5), "ns/failure");
  world.publish(0, kRoutes);
  world.drain();
  limitIs(world, 0);
  double const before = privateBytes();
  report("fastdrop counted-first", storm.each(kRoutes, 1), "ns/failure");
  double const one = privateBytes();
  storm.each(kRoutes, kVlans);
  report("fastdrop count-first", (one - before) / kRoutes, "bytes/route");
  report("fastdrop count", (privateBytes() - before) / kRoutes / kVlans, "bytes");
  report("fastdrop counted", storm.each(kRoutes, 1, 5), "ns/failure");
  limitIs(world, 1024);
  report("fastdrop made", storm.each(1024, 1), "ns/failure");
  report("fastdrop stands", storm.each(1024, 1, 50), "ns/failure");
  report("fastdrop turn", turnBesideReview(world, storm) * 1e3, "ms");
  report("fastdrop entries", world.table().fastdropCount(), "fastdrops");
  report("fastdrop poll", seconds([&] { world.mira().handleFastdropClock(); }) * 1e3, "ms");
}

}  // namespace Bench
