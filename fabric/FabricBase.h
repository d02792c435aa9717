// What the fabrics of both kinds of chips share: named collections of chips.
#pragma once

#include <string>

#include "platform/Entity.h"
#include "platform/Exception.h"
#include "platform/RbTreeMap.h"

namespace Brindle {

class FabricBase : public Zet::Entity {
 public:
  // By the chip's own name, in its order.
  template <class C> using Chips = Zet::RbTreeMap<Zet::Name, Zet::Ptr<C>>;

  Zet::Name name() const override { return name_; }
  virtual bool hasBackupSupport() const { return false; }

 protected:
  explicit FabricBase(Zet::Name name) : name_(name) {}

  template <class C> static C * find(Chips<C> const & chips, Zet::Name name) {
    auto * c = chips.find(name);
    return c ? c->get() : nullptr;
  }
  template <auto callback, class C>
  void add(Chips<C> & chips, Zet::Ptr<C> const & chip, char const * attribute) {
    if (!chip) Zet::throwNullParameter(attribute);
    C * old = find(chips, chip->name());
    if (old == chip.get()) return;
    if (old) Zet::throwNameInUseException(chip->name().view());
    chip->parentIs(this);
    put<callback>(chips, chip->name(), chip);
  }
  template <auto callback, class C> void remove(Chips<C> & chips, Zet::Name name) {
    Zet::Ptr<C> chip = find(chips, name);
    if (!chip) return;
    chip->parentIs(nullptr);
    erase<callback>(chips, name);
  }
  template <auto callback, class C> void removeAll(Chips<C> & chips) {
    Zet::Ptr<FabricBase> self(this);
    for (auto i = chips.begin(); i; i.advance()) remove<callback>(chips, i.key());
  }
  // The chip that a simulated fabric is to make, if it stands; null if it does not. Throws
  // RangeException if it stands with another index.
  template <class C> static Zet::Ptr<C> standing(C * old, U32 index) {
    if (old && old->index() != index) {
      Zet::throwReinstantiatingEntity(old->fullName(), "index", std::to_string(index),
                                      std::to_string(old->index()));
    }
    return old;
  }
  // Chips may outlive their fabric in other hands.
  template <class C> static void orphan(Chips<C> const & chips) {
    for (auto const & chip : chips.items()) chip.value->parentIs(nullptr);
  }

 private:
  Zet::Name const name_;
};

}  // namespace Brindle
