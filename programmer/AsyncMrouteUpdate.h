// One programming of a route on all chips that answer later; an object that lives for the call.
//
// It issues every step and waits for none. What has become wrong goes before anything is asked for.
// An old set or entry stays until all chips have confirmed the new one.
#pragma once

#include "programmer/AsyncMrouteSm.h"
#include "programmer/XactChain.h"

namespace Brindle {

class AsyncZetMroute::Update {
 public:
  explicit Update(AsyncZetMroute & route);
  void run();

 private:
  bool needsEntry() const;
  bool isInputChanged() const;
  bool hasLostInput() const;

  void removeObsolete();
  void removeLost();
  void succeedWithoutEntry();
  // False if a chip has refused one that is tried again.
  bool issueSideEntries();
  // False if a chip has refused.
  bool issue();
  bool issue(U32 position, AsyncSwitchChip &);
  bool allocateEntry(ChipInfo &);
  RouteHandle takeOverFrr(ChipInfo &, AsyncVlanInfo * frr);

  AsyncZetMroute & route_;
  Mroute const & mroute_;
  AsyncMrouteSm & sm_;
  XactChain chain_{true};
};

}  // namespace Brindle
