// The steps of one programming on chips that answer later.
#pragma once

#include "fabric/AsyncSwitchChip.h"
#include "platform/RbTreeMap.h"

namespace Brindle {

// Steps that are issued one behind the other. A chip that refuses one at once, or has failed it
// before it returned, ends the chain.
class BRINDLE_API XactChain {
 public:
  using Xact = Zet::Ptr<Keel::Xact const>;

  // `forRoute`: a refusal without a reason is a fault of the chip that ends the process.
  explicit XactChain(bool forRoute, Xact first = nullptr)
      : forRoute_(forRoute),
        last_(std::move(first)) {}

  // What the next step is to wait for; null at the start.
  Xact const & last() const { return last_; }
  // Why the chain has ended.
  MrouteFailureReason failure() const { return failure_; }

  // The chip's answer to a step. False if the chain ends.
  bool oifSetIs(AsyncSwitchChip & chip, Xact xact);
  bool ingressIs(AsyncSwitchChip & chip, Xact xact);
  // The same for an entry.
  bool entryIs(AsyncSwitchChip & chip, RouteHandle handle);
  // Keeps a set alive that an entry points at until it has been told another one, or has gone.
  void keep(Zet::Ptr<MtableOifSet> set) {
    if (set) kept_.push_back(std::move(set));
  }

 private:
  using ReasonOf = MrouteFailureReason (AsyncSwitchChip::*)(Xact const &);
  bool stepIs(AsyncSwitchChip & chip, Xact xact, ReasonOf);

  bool const forRoute_;
  Xact last_;
  MrouteFailureReason failure_;
  Zet::CompactVector<Zet::Ptr<MtableOifSet>> kept_;
};

}  // namespace Brindle
