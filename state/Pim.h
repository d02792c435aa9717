// In which VRFs PIM runs.
#pragma once

#include "platform/Entity.h"
#include "platform/RbTreeMap.h"
#include "platform/VrfName.h"

namespace Routing::Multicast::Pim {

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onPimEnabledSparseModeVrf(L3::VrfName const &) {}
    virtual void onPimEnabledBidirVrf(L3::VrfName const &) {}
  };

  // Sparse mode, RFC 7761.
  auto const & pimEnabledSparseModeVrf() const { return pimEnabledSparseModeVrf_; }
  bool pimEnabledSparseModeVrf(L3::VrfName k) const { return pimEnabledSparseModeVrf_.contains(k); }
  void pimEnabledSparseModeVrfIs(L3::VrfName k, bool v) {
    flag<&NotifieeConst::onPimEnabledSparseModeVrf>(pimEnabledSparseModeVrf_, k, v);
  }
  void pimEnabledSparseModeVrfDel(L3::VrfName k) { pimEnabledSparseModeVrfIs(k, false); }

  // Bidirectional, RFC 5015.
  auto const & pimEnabledBidirVrf() const { return pimEnabledBidirVrf_; }
  bool pimEnabledBidirVrf(L3::VrfName k) const { return pimEnabledBidirVrf_.contains(k); }
  void pimEnabledBidirVrfIs(L3::VrfName k, bool v) {
    flag<&NotifieeConst::onPimEnabledBidirVrf>(pimEnabledBidirVrf_, k, v);
  }
  void pimEnabledBidirVrfDel(L3::VrfName k) { pimEnabledBidirVrfIs(k, false); }

 private:
  Zet::OrderedSet<L3::VrfName> pimEnabledSparseModeVrf_;
  Zet::OrderedSet<L3::VrfName> pimEnabledBidirVrf_;
};

}  // namespace Routing::Multicast::Pim
