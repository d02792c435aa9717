#include "mira/MfibDirSm.h"

#include <exception>
#include <string>

#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MfibDirSm", false);

constexpr char const * tableType = "Shoal::Multicast::Fib::Status";

// The VRF of a table's name. Throws RangeException if there is none in it.
L3::VrfName vrfOf(Zet::Name const & name) {
  auto const point = name.view().find('.');
  if (point >= name.view().size() - 1) Zet::throwRangeException("there is no VRF in its name");
  return L3::VrfName(name.view().substr(point + 1));
}

}  // namespace

MfibDirSm::MfibDirSm(Zet::Ptr<Zet::Dir const> const & mfibDir, Zet::Name root,
                     Zet::Ptr<MfibShoalDir> const & shoalDir)
    : info_{root.empty() ? ZetShoal::shoalRoot() : std::string(root.view())},
      shoalDir_(shoalDir),
      mount_(Zet::make<ZetShoal::Mount>()) {
  zetMfibDir_.attach(mfibDir);
}

void MfibDirSm::ZetMfibDir::immediatePass() {
  replay(target() ? &target()->entityPtr() : nullptr, sm()->mounted_,
         [this](Zet::Name const & name) { sm()->handleEntity(name); });
}

void MfibDirSm::handleEntity(Zet::Name const & name) {
  SKEIN("MfibDirSm::handleEntity ", name);
  auto const * dir = zetMfibDir_.target();
  bool const present = dir && dir->entityPtr().contains(name);
  if (present == mounted_.contains(name)) return;
  if (present) {
    doMount(name);
  } else {
    doUnmount(name);
  }
}

void MfibDirSm::doMount(Zet::Name const & name) {
  try {
    L3::VrfName const vrf = vrfOf(name);
    mount_->doMount(name.view(), tableType, info_);
    Zet::Ptr<MfibStatus> const table =
        dynamic_cast<MfibStatus *>(mount_->getEntity(name.view()).get());
    mounted_.at(name) = table;
    ZET_TRACE(5, "Mounted " << name);
    shoalDir_->shoalCollIs(vrf)->shoalPtrIs(table.get(), table);
  } catch (std::exception const & e) {
    // The other tables go on.
    ZetShoal::SHOAL_TABLE_REFUSED.log({std::string(name.view()) + ": " + e.what()});
  }
}

void MfibDirSm::doUnmount(Zet::Name const & name) {
  Zet::Ptr<MfibStatus> const table = *mounted_.find(name);
  mounted_.del(name);
  L3::VrfName const vrf = vrfOf(name);
  // Whoever reads the table takes its routes out while it can be read.
  if (auto * tables = shoalDir_->shoalColl(vrf)) {
    tables->shoalPtrDel(table.get());
    if (tables->shoalPtr().empty()) shoalDir_->shoalCollDel(vrf);
  }
  mount_->doUnmount(name.view());
  ZET_TRACE(5, "Unmounted " << name);
}

}  // namespace Brindle
