// The process's handle on the central state database: entities by path.
#pragma once
#include "platform/Entity.h"
#include "platform/RbTreeMap.h"

namespace Quay {

// The agent that hosts the library puts in what it has mounted, such as
// "interface/config/subintf"; who looks up a path casts the entity to the type that he expects.
class EntityManager : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EntityManager, Zet::Entity> {
   public:
    virtual void onEntity(Zet::Name const &) {}
  };

  // Null if nothing stands at the path.
  Zet::Ptr<Zet::Entity> getEntity(Zet::Name const & path) const { return lookup(entity_, path); }
  // Null takes the path away.
  void entityIs(Zet::Name const & path, Zet::Ptr<Zet::Entity> const & entity) {
    if (!entity) {
      erase<&NotifieeConst::onEntity>(entity_, path);
    } else {
      put<&NotifieeConst::onEntity>(entity_, path, entity);
    }
  }

 private:
  Zet::RbTreeMap<Zet::Name, Zet::Ptr<Zet::Entity>> entity_;
};

}  // namespace Quay
