#include "fabric/SimAsyncFabric.h"

#include <string>

#include "platform/Assert.h"
#include "platform/Exception.h"

namespace Brindle {

SimAsyncSwitchChip * SimAsyncFabric::chip(Zet::Name name) const {
  return dynamic_cast<SimAsyncSwitchChip *>(AsyncFabric::chip(name));
}

Zet::Ptr<SimAsyncSwitchChip> SimAsyncFabric::chipIs(Zet::Name name, U32 index,
                                                    bool multicastFloodsetNeedsIngress) {
  if (auto const old = standing(SimAsyncFabric::chip(name), index)) {
    if (old->multicastFloodsetNeedsIngress() != multicastFloodsetNeedsIngress) {
      Zet::throwReinstantiatingEntity(old->fullName(), "multicastFloodsetNeedsIngress",
                                      Zet::valueToStrep(multicastFloodsetNeedsIngress),
                                      Zet::valueToStrep(old->multicastFloodsetNeedsIngress()));
    }
    return old;
  }
  auto chip = Zet::make<SimAsyncSwitchChip>(name, index, multicastFloodsetNeedsIngress);
  AsyncFabric::chipIs(chip);
  return chip;
}

Zet::Ptr<MrouteReviewConfig> const & SimAsyncFabric::reviewConfigIs() {
  if (!reviewConfig_) reviewConfig_ = Zet::make<MrouteReviewConfig>();
  return reviewConfig_;
}

}  // namespace Brindle
