// What paces reviews: credits, walks that resume.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "platform/Budget.h"
#include "platform/Clock.h"
#include "platform/HashMap.h"
#include "platform/ReviewTimer.h"

namespace {

// A machine that asks for a review, and in each review for the next one.
struct Reviewer {
  struct ZetClock : Zet::Clock::NotifieeConst {
    explicit ZetClock(Reviewer * r) : reviewer(r) {}
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      EXPECT_FALSE(reviewer->timer->reviewPending());
      reviewer->reviews.push_back(reviewer->clock->now());
      if (reviewer->again) reviewer->timer->doUpdateNextReview();
    }
    Reviewer * reviewer;
  };
  Reviewer(float fill, unsigned credits, float min, float max) {
    reactor->notifierIs(clock.get());
    timer = Zet::make<Keel::ReviewTimer>(reactor.get(), fill, credits, min, max);
  }
  ~Reviewer() { reactor->zetDoZombieReactors(true); }
  int reviewsUntil(double time) {
    auto const before = reviews.size();
    clock->nowIs(time);
    return static_cast<int>(reviews.size() - before);
  }
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>();
  Zet::Ptr<ZetClock> reactor = Zet::make<ZetClock>(this);
  Zet::Ptr<Keel::ReviewTimer> timer;
  std::vector<double> reviews;
  bool again = true;
};

}  // namespace

TEST(ReviewTimer, ASteadyStreamIsServedAtTheRateOfTheCredits) {
  struct {
    float fill;
    unsigned credits;
    float min, max;
    int soon;         // reviews by the time credits * min
    double interval;  // in the long run
  } const rows[] = {
      {1.0f, 4, 0.1f, 1.0f, 4, 1.0},     {1.0f, 4, 0.01f, 0.05f, 4, 0.05},
      {0.5f, 4, 0.01f, 0.2f, 4, 0.2},    {1.0f, 4, 0.1f, 30.0f, 4, 1.0},
      {0.25f, 1, 0.5f, 2.0f, 1, 0.5},    {2.0f, 0, 0.1f, 5.0f, 0, 2.0},
      {0.0f, 3, 0.125f, 1.0f, 3, 0.125},
  };
  for (auto const & row : rows) {
    SCOPED_TRACE(row.fill);
    Reviewer r(row.fill, row.credits, row.min, row.max);
    r.timer->doUpdateNextReview();
    EXPECT_EQ(r.reviewsUntil(row.credits * static_cast<double>(row.min) + 1e-6), row.soon);
    r.clock->nowIs(100);
    EXPECT_NEAR(r.reviewsUntil(200), 100 / row.interval, 1);
    for (std::size_t i = row.credits + 1; i + 1 < r.reviews.size() && r.reviews[i] < 100; ++i) {
      double const gap = r.reviews[i] - r.reviews[i - 1];
      EXPECT_LE(gap, r.reviews[i + 1] - r.reviews[i] + 1e-6) << "delays grow, review " << i;
    }
  }
}

TEST(ReviewTimer, CreditsComeBackInIdleTimesUpToTheMost) {
  Reviewer r(1.0f, 4, 0.1f, 0.25f);
  r.timer->doUpdateNextReview();
  r.clock->nowIs(20);  // at four times the rate that the credits pay for
  r.again = false;
  auto burst = [&] {  // how many requests in a row are served after minDelay
    int soon = -1;
    do {
      ++soon;
      r.timer->doUpdateNextReview();
    } while (r.reviewsUntil(r.clock->now() + 0.1));
    return soon;
  };
  r.clock->nowIs(24.5);
  EXPECT_EQ(burst(), 4);
  r.clock->nowIs(r.clock->now() + 3.5);
  EXPECT_EQ(burst(), 3);
}

TEST(ReviewTimer, OneRequestIsPendingAtATimeAndMayBeCancelledOrBroughtForward) {
  Reviewer r(1.0f, 4, 0.1f, 1.0f);
  r.again = false;
  r.timer->doUpdateNextReview();
  r.clock->nowIs(0.0625);
  r.timer->doUpdateNextReview();  // changes nothing
  EXPECT_TRUE(r.timer->reviewPending());
  EXPECT_EQ(r.reviewsUntil(0.1), 1);
  EXPECT_FALSE(r.timer->reviewPending());

  r.timer->doUpdateNextReview();
  r.reactor->timeMinIs(Zet::Clock::never);
  EXPECT_FALSE(r.timer->reviewPending());
  EXPECT_EQ(r.reviewsUntil(5), 0);

  for (int i = 0; i < 20; ++i) {
    if (i % 2) r.timer->doUpdateNextReview();
    r.timer->doUpdateNextReviewImmediately();
    EXPECT_EQ(r.reviewsUntil(r.clock->now()), 1) << "whatever the credits say";
  }
  r.timer->doUpdateNextReview();
  r.timer->minDelayIs(0.5f);
  r.timer->maxDelayIs(0.5f);
  r.timer->fillIntervalIs(0.5f);
  r.timer->maxCreditsIs(1);
  r.clock->nowIs(50);
  r.again = true;
  r.timer->doUpdateNextReview();
  EXPECT_EQ(r.reviewsUntil(60), 20) << "a new configuration applies to the next request";
}

namespace {

struct Member : Zet::RefCounted, Zet::HashLink {
  explicit Member(U32 k) : key(k) {}
  U32 const & fwkKey() const { return key; }
  U32 key;
};

}  // namespace

// A ring walk in slices, while members come and go and a change moves its start to where it stands.
TEST(WrapIterator, APassSeesEachMemberThatStaysExactlyOnce) {
  std::mt19937 random(5);
  auto draw = [&](U32 n) { return static_cast<U32>(random() % n); };
  using Map = Zet::HashMap<U32, Member>;
  EXPECT_FALSE(Keel::WrapIterator<Map>(Map(), 1));
  for (int round = 0; round < 300; ++round) {
    Map map;
    U32 next = 1;
    std::map<U32, int> seen;  // of those that were there when the pass began
    auto add = [&] { map.insert(Zet::make<Member>(next++)); };
    for (U32 n = draw(30); n; --n) add();
    U32 startKey = 1 + draw(40), currentKey = startKey;
    auto begin = [&] {
      seen.clear();
      for (auto & m : map) seen[m.key] = 0;
    };
    begin();
    bool done = false, moved = false;
    for (int slices = 0; !done; ++slices) {
      ASSERT_LT(slices, 1000) << "the walk never ends";
      Keel::WrapIterator<Map> start(map, startKey), current(map, currentKey);
      if (!current) break;
      if (!moved && draw(4) == 0) {
        moved = true;
        start = current;
        begin();
      }
      for (U32 n = 1 + draw(4); n && !done; --n) {
        U32 const key = current.key();
        ++seen[key];
        bool const wasStart = current == start;
        if (draw(5) == 0) {
          start.leave(key);
          current.leave(key);
          map.del(key);
          seen.erase(key);
          done = !current || (current == start && !wasStart);
        } else {
          current.advance();
          done = current == start;
        }
      }
      if (!done) {
        startKey = start.key();
        currentKey = current.key();
        if (draw(3) == 0) add();
      }
    }
    for (auto [key, times] : seen) {
      if (!map.contains(key)) continue;
      EXPECT_EQ(times, 1) << "member " << key << " in round " << round;
    }
  }
}
