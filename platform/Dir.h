// A directory of entities of any type, by name.
#pragma once
#include "platform/Entity.h"
#include "platform/RbTreeMap.h"

namespace Zet {

// Who looks up a member casts it to the type that he expects; members need not have this directory
// as their parent.
class Dir : public Entity {
 public:
  class NotifieeConst : public NotifieeOf<Dir, Entity> {
   public:
    virtual void onEntityPtr(Name const &) {}
  };

  auto const & entityPtr() const { return entityPtr_; }
  // Null if there is none of this name.
  Ptr<Entity> entityPtr(Name const & name) const { return lookup(entityPtr_, name); }
  // Takes the place of what the name stood for; null takes the name away.
  void entityIs(Name const & name, Ptr<Entity> const & entity) {
    if (!entity) return entityDel(name);
    put<&NotifieeConst::onEntityPtr>(entityPtr_, name, entity);
  }
  void entityDel(Name const & name) { erase<&NotifieeConst::onEntityPtr>(entityPtr_, name); }

 private:
  RbTreeMap<Name, Ptr<Entity>> entityPtr_;
};

}  // namespace Zet
