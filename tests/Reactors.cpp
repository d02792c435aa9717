// What a notifier promises its reactors: order, idempotence, and survival of callbacks that
// delete, re-enter and throw.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <vector>

#include "platform/Reactor.h"

namespace {

class Lamp : public Zet::Entity, public Zet::HashLink {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Lamp, Zet::Entity> {
   public:
    virtual void onLevel() {}
  };
  explicit Lamp(U32 id) : id_(id) {}
  U32 const & fwkKey() const { return id_; }
  U32 level() const { return level_; }
  void levelIs(U32 v) { assign(level_, v, &NotifieeConst::onLevel); }

 private:
  U32 const id_;
  U32 level_ = 0;
};

// A lamp with a callback of its own, so that depths differ on one notifier.
class ColouredLamp : public Lamp {
 public:
  class NotifieeConst : public Zet::NotifieeOf<ColouredLamp, Lamp> {
   public:
    virtual void onColour() {}
  };
  using Lamp::Lamp;
  void colourIs(U32 v) { assign(colour_, v, &NotifieeConst::onColour); }

 private:
  U32 colour_ = 0;
};

class Street : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Street, Zet::Entity> {
   public:
    virtual void onLamp(U32 const &) {}
  };
  auto const & lamp() const { return lamp_; }
  Zet::Ptr<Lamp> lamp(U32 k) const { return lamp_.find(k); }
  Zet::Ptr<Lamp> lampIs(U32 k) { return create<&NotifieeConst::onLamp>(lamp_, k); }
  void lampDel(U32 k) { erase<&NotifieeConst::onLamp>(lamp_, k); }
  void lampDelAll() { eraseAll<&NotifieeConst::onLamp>(lamp_); }

 private:
  Zet::HashMap<U32, Lamp> lamp_;
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
  auto lamp = Zet::make<Lamp>(1u);
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
  auto lamp = Zet::make<Lamp>(1u);
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
  auto street = Zet::make<Street>();
  auto a = spy(street->lampIs(7).get(), [&](Spy & s) {
    street->lampDelAll();
    s.detach();
  });
  auto b = spy(street->lamp(7).get(), [](Spy & s) { s.detach(); });
  street->lamp(7)->levelIs(1);
  EXPECT_EQ(a->calls + b->calls, 2);
  EXPECT_EQ(street->lamp(7), nullptr);
}

TEST(Reactors, ADeeperClassHearsItsOwnAndItsBaseCallbacks) {
  struct ColourSpy : ColouredLamp::NotifieeConst {
    void onLevel() override { ++levels; }
    void onColour() override { ++colours; }
    int levels = 0, colours = 0;
  };
  auto lamp = Zet::make<ColouredLamp>(1u);
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

namespace {

class LampSm : public Zet::Sm {
 public:
  struct ZetLamp : Zet::KeyedReactor<U32, Lamp const, LampSm> {
    using KeyedReactor::KeyedReactor;
    void onLevel() override { sm()->handleLevel(key()); }
    void immediatePass() override {
      if (target()) sm()->handleLevel(key());
    }
  };
  struct ZetStreet : Zet::Reactor<Street const, LampSm> {
    using Reactor::Reactor;
    void onLamp(U32 const & k) override { sm()->handleLamp(k); }
    void immediatePass() override { sm()->handleStreet(); }
  };
  explicit LampSm(Zet::Ptr<Street const> const & s) { zetStreet_.attach(s); }
  void streetIs(Zet::Ptr<Street const> const & s) { zetStreet_.attach(s); }
  std::map<U32, U32> seen;

 private:
  void handleStreet() {
    auto * s = zetStreet_.target();
    Zet::replay(s ? &s->lamp() : nullptr, zetLamp_, [this](U32 k) { handleLamp(k); });
  }
  void handleLamp(U32 k) {
    auto * s = zetStreet_.target();
    if (auto l = s ? s->lamp(k) : nullptr) {
      zetLamp_.attach(k, l);
    } else {
      zetLamp_.del(k);
      seen.erase(k);
    }
  }
  void handleLevel(U32 k) { seen[k] = zetLamp_.find(k)->target()->level(); }

  Zet::ReactorPtr<ZetStreet> zetStreet_{this};
  Zet::ReactorMap<U32, ZetLamp> zetLamp_{this};
};

}  // namespace

TEST(Reactors, AMachineSeesTheStateItMeetsAsEvents) {
  auto street = Zet::make<Street>(), other = Zet::make<Street>();
  street->lampIs(1)->levelIs(10);
  street->lampIs(2);
  auto sm = Zet::make<LampSm>(Zet::Ptr<Street const>(street));
  EXPECT_EQ(sm->seen, (std::map<U32, U32>{{1, 10}, {2, 0}}));
  street->lampDel(2);
  street->lampIs(3)->levelIs(30);
  EXPECT_EQ(sm->seen, (std::map<U32, U32>{{1, 10}, {3, 30}}));
  other->lampIs(3)->levelIs(31);
  sm->streetIs(other);
  EXPECT_EQ(sm->seen, (std::map<U32, U32>{{3, 31}}));
  street->lamp(3)->levelIs(99);
  EXPECT_EQ(sm->seen.at(3), 31u);
  sm->streetIs(Zet::Ptr<Street const>());
  EXPECT_TRUE(sm->seen.empty());
  sm->streetIs(other);
  sm = nullptr;  // detaches everything: the next change must reach nobody
  other->lamp(3)->levelIs(32);
  EXPECT_FALSE(other->lamp(3)->hasReactors());
}

// Reactors that do random things to each other and to the notifier, under the sanitizers.
TEST(Reactors, RandomDeedsLeaveTheListWhole) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    auto lamp = Zet::make<Lamp>(1u);
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
