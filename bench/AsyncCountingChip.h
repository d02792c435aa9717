// The benchmarks' chip of the kind that answers later: its transactions have all succeeded when the
// calls return, so that what is measured is the library. What it does itself is not counted.
#pragma once

#include "fabric/AsyncFabric.h"

namespace Bench {

class AsyncCountingChip final : public Brindle::AsyncSwitchChip {
 public:
  using AsyncSwitchChip::AsyncSwitchChip;
  XactPtr doAllocateMtableOifSet(Brindle::RouteKeyInfo const &,
                                 Zet::Ptr<Brindle::OifSet const> const &, XactPtr const &, U32,
                                 bool) override;
  void doAllocateRoute(RouteKey const &, Bridging::VlanIdOrNone, bool, RpaIndex, L3::VrfName,
                       bool) override;
  XactPtr doSetMtableOifSet(Brindle::RouteHandle, Zet::Ptr<Brindle::MtableOifSet> const &,
                            XactPtr const &) override {
    return succeeded_;
  }
  void doDeleteRoute(Brindle::RouteHandle) override {}
  bool needIngressProgramming(RouteKeyType) const override { return true; }

  bool full = false;  // refuses all sets
  U64 refusals = 0;

 private:
  U32 next_ = 0;
  // One object stands for all sets, and one for all transactions.
  Zet::Ptr<Brindle::MtableOifSet> const set_ = Zet::make<Brindle::MtableOifSet>();
  Zet::Ptr<Keel::Xact> const succeeded_ = [] {
    auto xact = Zet::make<Keel::Xact>(1u);
    xact->resultIs(Keel::XactResult::success);
    return xact;
  }();
};

}  // namespace Bench
