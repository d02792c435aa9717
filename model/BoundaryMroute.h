// A route whose only job is to drop traffic that crosses a multicast boundary.
#pragma once

#include "model/RouteBase.h"

namespace Brindle {

class BRINDLE_API BoundaryMroute final : public RouteBase {
 public:
  class NotifieeConst : public Zet::NotifieeOf<BoundaryMroute, RouteBase> {};
  explicit BoundaryMroute(Key const & key) : RouteBase(key) {}

 private:
  void handleFastdropCount(int change) override;
};

}  // namespace Brindle
