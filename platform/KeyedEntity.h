// Members of entity collections.
#pragma once

#include "platform/Entity.h"
#include "platform/HashMap.h"
#include "platform/Value.h"

namespace Zet {

// An entity that holds its own key in a collection; its name is the key's text.
template <class K> class KeyedEntity : public Entity, public HashLink {
 public:
  using Key = K;
  explicit KeyedEntity(K const & key) : key_(key) {}

  K const & key() const { return key_; }
  K const & fwkKey() const { return key_; }
  Name name() const override {
    if constexpr (TextValue<K>) {
      return Name(std::string_view(textOf(key_)));
    } else {
      return Name(std::string_view(valueToStrep(key_)));
    }
  }

 private:
  K const key_;
};

}  // namespace Zet
