// What the generation of the hardware on each card can do.
#pragma once

#include "platform/KeyedEntity.h"
#include "platform/String.h"

namespace HwEpoch {

// Features that not every generation has.
enum class EpochFeature : U8 {
  tcamBoundary = 2,  // deny entries at multicast boundaries
};

// The name under which a card tells of a feature.
inline Zet::String stringValue(EpochFeature feature) {
  switch (feature) {
    case EpochFeature::tcamBoundary:
      return "tcamBoundary";
  }
  return {};
}

// How far a card has a feature.
class RestrictionStatus : public Zet::KeyedEntity<Zet::Name> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<RestrictionStatus, Zet::Entity> {
   public:
    virtual void onMode() {}
  };
  using KeyedEntity::KeyedEntity;

  static constexpr U8 supported = 1;
  U8 mode() const { return mode_; }
  void modeIs(U8 v) { assign(mode_, v, &NotifieeConst::onMode); }

 private:
  U8 mode_ = 0;
};

class StatusBase : public Zet::KeyedEntity<Zet::Name> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<StatusBase, Zet::Entity> {
   public:
    virtual void onFeature(Zet::Name const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & feature() const { return feature_; }
  RestrictionStatus const * feature(Zet::Name k) const { return feature_.find(k); }
  Zet::Ptr<RestrictionStatus> featureIs(Zet::Name k) {
    return create<&NotifieeConst::onFeature>(feature_, k);
  }
  void featureDel(Zet::Name k) { erase<&NotifieeConst::onFeature>(feature_, k); }

 private:
  Zet::HashMap<Zet::Name, RestrictionStatus> feature_;
};

// One card.
class CardStatus final : public StatusBase {
 public:
  class NotifieeConst : public Zet::NotifieeOf<CardStatus, StatusBase> {};
  using StatusBase::StatusBase;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onCard(Zet::Name const &) {}
  };

  auto const & card() const { return card_; }
  CardStatus const * card(Zet::Name k) const { return card_.find(k); }
  Zet::Ptr<CardStatus> cardIs(Zet::Name k) { return create<&NotifieeConst::onCard>(card_, k); }
  // One that says at once what it can do. REQUIRES: none of its name stands.
  void cardIs(Zet::Ptr<CardStatus> const & card) {
    card->parentIs(this);
    card_.insert(card);
    notify<&NotifieeConst::onCard>(card->key());
  }
  void cardDel(Zet::Name k) { erase<&NotifieeConst::onCard>(card_, k); }

 private:
  Zet::HashMap<Zet::Name, CardStatus> card_;
};

}  // namespace HwEpoch
