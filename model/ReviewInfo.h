// Which reviews run at this time, for whoever waits for their end.
#pragma once

#include "platform/Entity.h"
#include "platform/RbTreeMap.h"
#include "platform/VrfName.h"

namespace Brindle {

// Of each VRF whose review is in a pass, the number of that pass, IPv4 and IPv6; that of L2 routes
// as "floodset".
class ReviewInfo : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<ReviewInfo, Zet::Entity> {
   public:
    virtual void onReview(L3::VrfName const &) {}
    virtual void onReview6(L3::VrfName const &) {}
  };

  auto const & review() const { return review_; }
  U32 review(L3::VrfName k) const { return lookup(review_, k); }
  void reviewIs(L3::VrfName k, U32 v) { put<&NotifieeConst::onReview>(review_, k, v); }
  void reviewDel(L3::VrfName k) { erase<&NotifieeConst::onReview>(review_, k); }

  auto const & review6() const { return review6_; }
  U32 review6(L3::VrfName k) const { return lookup(review6_, k); }
  void review6Is(L3::VrfName k, U32 v) { put<&NotifieeConst::onReview6>(review6_, k, v); }
  void review6Del(L3::VrfName k) { erase<&NotifieeConst::onReview6>(review6_, k); }

 private:
  Zet::RbTreeMap<L3::VrfName, U32> review_;
  Zet::RbTreeMap<L3::VrfName, U32> review6_;
};

}  // namespace Brindle
