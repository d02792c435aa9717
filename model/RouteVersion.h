// What the programmers watch of a route.
#pragma once

#include "platform/Entity.h"

namespace Brindle {

// Lies below all other attributes of a route, so that a change of any of those passes the
// programmers' reactors by for the price of a comparison: a route has one of these reactors and
// sets a dozen attributes at each computation.
class BRINDLE_API RouteVersion : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<RouteVersion, Zet::Entity> {
   public:
    virtual void onVersion() {}
  };

  // Rises, past 0, each time the resolver has finished a change of this route; 0: not computed yet.
  // The programmers act on this attribute only.
  U32 version() const { return version_; }
  void versionIs(U32 v) { assign(version_, v, &NotifieeConst::onVersion); }

 private:
  U32 version_ = 0;
};

}  // namespace Brindle
