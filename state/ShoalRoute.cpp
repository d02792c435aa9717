#include "state/ShoalRoute.h"

namespace Shoal::Multicast::Fib {

std::string Route::shoalString() const {
  std::string text = key_.pretty();
  auto const intf = [&](char const * name, Nettle::IntfId id) {
    if (id) text.append(name).append(id.view());
  };
  auto const number = [&](char const * name, U32 value) {
    if (value) text.append(name).append(std::to_string(value));
  };
  intf(" iif ", iif_);
  intf(" iifFrr ", iifFrr_);
  intf(" notify ", notify_);
  if (notifyProgrammable_) text += " programmable";
  intf(" fastdrop ", staticFastdropIntf_);
  number(" flags ", flags_);
  number(" rpaId ", rpaId_);
  number(" priority ", priority_.value);
  text += " oifs {";
  char const * separator = "";
  for (auto i = oifIteratorConst(); i; i.advance()) {
    text.append(separator).append(std::to_string(i.index().value));
    separator = " ";
  }
  return text += '}';
}

}  // namespace Shoal::Multicast::Fib
