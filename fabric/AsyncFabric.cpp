#include "fabric/AsyncFabric.h"

namespace Brindle {

AsyncFabric::~AsyncFabric() {
  orphan(chip_);
  orphan(bidirDfChip_);
}

void AsyncFabric::chipIs(Zet::Ptr<AsyncSwitchChip> const & chip) {
  add<&NotifieeConst::onChip>(chip_, chip, "Brindle::AsyncFabric::chip");
}

void AsyncFabric::bidirDfChipIs(Zet::Ptr<AsyncBidirDfChip> const & chip) {
  add<&NotifieeConst::onBidirDfChip>(bidirDfChip_, chip, "Brindle::AsyncFabric::bidirDfChip");
}

}  // namespace Brindle
