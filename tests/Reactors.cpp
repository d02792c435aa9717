// What a notifier promises its reactors: order, idempotence, and survival of callbacks that
// delete, re-enter and throw.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <stdexcept>
#include <vector>

#include "platform/Entity.h"

namespace {

class Lamp : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Lamp, Zet::Entity> {
   public:
    virtual void onLevel() {}
  };
  U32 level() const { return level_; }
  void levelIs(U32 v) { assign(level_, v, &NotifieeConst::onLevel); }

 private:
  U32 level_ = 0;
};

// A lamp with a callback of its own, so that depths differ on one notifier.
class ColouredLamp : public Lamp {
 public:
  class NotifieeConst : public Zet::NotifieeOf<ColouredLamp, Lamp> {
   public:
    virtual void onColour() {}
  };
  void colourIs(U32 v) { assign(colour_, v, &NotifieeConst::onColour); }

 private:
  U32 colour_ = 0;
};

// Calls what the test says for each event that reaches it.
struct Spy : Lamp::NotifieeConst {
  template <class F> Spy(Lamp * l, F f) : act(std::move(f)) { notifierIs(l); }
  ~Spy() override { zetDoZombieReactors(true); }
  void onLevel() override {
    ++calls;
    if (act) act(*this);
  }
  void onNotificationException(char const *) noexcept override { ++exceptions; }
  std::function<void(Spy &)> act;
  int calls = 0;
  int exceptions = 0;
};

Zet::Ptr<Spy> spy(Lamp * l, std::function<void(Spy &)> f = {}) {
  return Zet::make<Spy>(l, std::move(f));
}

}  // namespace

TEST(Reactors, EqualValuesFireNothingAndOrderIsThatOfRegistration) {
  auto lamp = Zet::make<Lamp>();
  std::string order;
  auto a = spy(lamp.get(), [&](Spy &) { order += 'a'; });
  auto b = spy(lamp.get(), [&](Spy &) { order += 'b'; });
  lamp->levelIs(0);
  lamp->levelIs(3);
  lamp->levelIs(3);
  EXPECT_EQ(order, "ab");
  lamp->hasNotificationActiveIs(false);
  lamp->levelIs(4);
  lamp->hasNotificationActiveIs(true);
  lamp->levelIs(5);
  EXPECT_EQ(order, "abab");
}

TEST(Reactors, CallbacksMayDeleteReenterAndThrow) {
  auto lamp = Zet::make<Lamp>();
  Zet::Ptr<Spy> first, victim, thrower, last, late;
  first = spy(lamp.get(), [&](Spy & s) {
    victim->detach();  // another one
    if (lamp->level() < 5) lamp->levelIs(lamp->level() + 1);
    if (!late) late = spy(lamp.get());
    s.detach();  // itself
  });
  victim = spy(lamp.get());
  thrower = spy(lamp.get(), [](Spy &) { throw std::runtime_error("no"); });
  last = spy(lamp.get());
  lamp->levelIs(1);
  EXPECT_EQ(lamp->level(), 5u);
  EXPECT_EQ(victim->calls, 0);
  EXPECT_EQ(thrower->exceptions, 5);
  EXPECT_EQ(last->calls, 5);
  EXPECT_EQ(late->calls, 0) << "added at level 5, after the last change";
  lamp->levelIs(6);
  EXPECT_EQ(first->calls, 5);
  EXPECT_EQ(late->calls, 1);
}

TEST(Reactors, TheNotifierMayGoInItsOwnCallback) {
  auto lamp = Zet::make<Lamp>();
  auto a = spy(lamp.get(), [&](Spy & s) {
    lamp = nullptr;
    s.detach();
  });
  auto b = spy(lamp.get(), [](Spy & s) { s.detach(); });
  lamp->levelIs(1);
  EXPECT_EQ(a->calls + b->calls, 2);
}

TEST(Reactors, ADeeperClassHearsItsOwnAndItsBaseCallbacks) {
  struct ColourSpy : ColouredLamp::NotifieeConst {
    void onLevel() override { ++levels; }
    void onColour() override { ++colours; }
    int levels = 0, colours = 0;
  };
  auto lamp = Zet::make<ColouredLamp>();
  auto plain = spy(lamp.get());
  auto deep = Zet::make<ColourSpy>();
  deep->notifierIs(lamp.get());
  lamp->levelIs(1);
  lamp->colourIs(1);
  EXPECT_EQ(plain->calls, 1);
  EXPECT_EQ(deep->levels, 1);
  EXPECT_EQ(deep->colours, 1);
  plain->detach();
  deep->detach();
}

// Reactors that do random things to each other and to the notifier, under the sanitizers.
TEST(Reactors, RandomDeedsLeaveTheListWhole) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    auto lamp = Zet::make<Lamp>();
    std::vector<Zet::Ptr<Spy>> spies(6);
    int depth = 0;
    auto deed = [&](Spy & s) {
      switch (random() % 6) {
        case 0:
          s.detach();
          break;
        case 1:
          if (auto & o = spies[random() % spies.size()]) o->detach();
          break;
        case 2:
          spies[random() % spies.size()] = nullptr;
          break;
        case 3:
          throw std::runtime_error("deed");
        case 4:
          if (depth < 3) {
            ++depth;
            lamp->levelIs(lamp->level() + 1);
            --depth;
          }
          break;
        default:
          s.notifierIs(nullptr);
          s.notifierIs(lamp.get());
          break;
      }
    };
    for (auto & s : spies) s = spy(lamp.get(), deed);
    for (int i = 0; i < 20; ++i) lamp->levelIs(lamp->level() + 1);
    auto probe = spy(lamp.get());
    lamp->levelIs(lamp->level() + 1);
    EXPECT_GE(probe->calls, 1);
    for (auto & s : spies) s = nullptr;
    probe = nullptr;
    EXPECT_FALSE(lamp->hasReactors());
  }
}
