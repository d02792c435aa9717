#include "fabric/Fabric.h"

#include "platform/Exception.h"

namespace Brindle {

namespace {

template <class C> void orphan(Fabric::Chips<C> const & chips) {
  for (auto const & chip : chips.items()) chip.value->parentIs(nullptr);
}

}  // namespace

// Chips may outlive their fabric in other hands.
Fabric::~Fabric() {
  orphan(chip_);
  orphan(bidirGroupChip_);
  orphan(bidirDfChip_);
}

template <auto callback, class C>
void Fabric::add(Chips<C> & chips, Zet::Ptr<C> const & chip, char const * attribute) {
  if (!chip) Zet::throwNullParameter(attribute);
  C * old = find(chips, chip->name());
  if (old == chip.get()) return;
  if (old) Zet::throwNameInUseException(chip->name().view());
  chip->parentIs(this);
  put<callback>(chips, chip->name(), chip);
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
