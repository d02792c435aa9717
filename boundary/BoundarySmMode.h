// What a machine of multicast boundaries runs for.
#pragma once

#include "platform/Value.h"

namespace Brindle::BoundaryFastdrop {

using Zet::operator<<;

enum class BoundarySmMode : U8 { linecard, system };
constexpr auto boundarySmModeNames = Zet::enumNames<BoundarySmMode::system>("linecard", "system");
constexpr auto & zetNames(BoundarySmMode) { return boundarySmModeNames; }

}  // namespace Brindle::BoundaryFastdrop
