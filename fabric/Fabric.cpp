#include "fabric/Fabric.h"

namespace Brindle {

Fabric::~Fabric() {
  orphan(chip_);
  orphan(bidirGroupChip_);
  orphan(bidirDfChip_);
}

void Fabric::chipIs(Zet::Ptr<SwitchChip> const & chip) {
  add<&NotifieeConst::onChip>(chip_, chip, "Brindle::Fabric::chip");
}

void Fabric::bidirGroupChipIs(Zet::Ptr<BidirGroupChip> const & chip) {
  add<&NotifieeConst::onBidirGroupChip>(bidirGroupChip_, chip, "Brindle::Fabric::bidirGroupChip");
}

void Fabric::bidirDfChipIs(Zet::Ptr<BidirDfChip> const & chip) {
  add<&NotifieeConst::onBidirDfChip>(bidirDfChip_, chip, "Brindle::Fabric::bidirDfChip");
}

}  // namespace Brindle
