// The switch by which an agent holds the programmer for chips that answer later, and its word on
// what waits: one record for all VRFs.
#pragma once

#include "platform/Entity.h"
#include "platform/Value.h"

namespace Brindle {

enum MrouteReviewFreq : U8 { mrouteReviewDisabled, mrouteReviewEnabled };
constexpr auto mrouteReviewFreqNames =
    Zet::enumNames<mrouteReviewEnabled>("mrouteReviewDisabled", "mrouteReviewEnabled");
constexpr auto & zetNames(MrouteReviewFreq) { return mrouteReviewFreqNames; }

class MrouteReviewConfig final : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MrouteReviewConfig, Zet::Entity> {
   public:
    virtual void onReviewFreq() {}
    virtual void onRouteBacklog() {}
  };

  // While it is disabled nothing is programmed: changes are kept back until it is enabled. The
  // agent's to set.
  MrouteReviewFreq reviewFreq() const { return reviewFreq_; }
  void reviewFreqIs(MrouteReviewFreq v) { assign(reviewFreq_, v, &NotifieeConst::onReviewFreq); }
  // Some route is kept back. Where several VRFs have routes the last change of one of them tells.
  bool routeBacklog() const { return routeBacklog_; }
  void routeBacklogIs(bool v) { assign(routeBacklog_, v, &NotifieeConst::onRouteBacklog); }

 private:
  MrouteReviewFreq reviewFreq_ = mrouteReviewDisabled;
  bool routeBacklog_ = false;
};

}  // namespace Brindle
