// Routing as such: whether a VRF routes, and what the hardware can do.
#pragma once

#include "platform/KeyedEntity.h"

namespace Routing {

// One VRF, under its name in a directory.
class RoutingGenInfo : public Zet::KeyedEntity<Zet::Name> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<RoutingGenInfo, Zet::Entity> {
   public:
    virtual void onRouting() {}
  };
  using KeyedEntity::KeyedEntity;

  bool routing() const { return routing_; }
  void routingIs(bool v) { assign(routing_, v, &NotifieeConst::onRouting); }

 private:
  bool routing_ = false;
};

namespace Hardware {

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onHwMulticastStarGSupported() {}
  };

  bool hwMulticastStarGSupported() const { return hwMulticastStarGSupported_; }
  void hwMulticastStarGSupportedIs(bool v) {
    assign(hwMulticastStarGSupported_, v, &NotifieeConst::onHwMulticastStarGSupported);
  }

 private:
  bool hwMulticastStarGSupported_ = false;
};

}  // namespace Hardware
}  // namespace Routing
