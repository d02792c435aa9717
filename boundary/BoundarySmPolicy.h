// What is decided of the machines of multicast boundaries.
#pragma once

#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

// Whether each linecard decides for itself, or all as one.
enum class BoundarySmPolicy : U8 { runPerLinecard, runPerSystem };
constexpr auto boundarySmPolicyNames =
    Zet::enumNames<BoundarySmPolicy::runPerSystem>("runPerLinecard", "runPerSystem");
constexpr auto & zetNames(BoundarySmPolicy) { return boundarySmPolicyNames; }

enum class BoundarySmRunState : U8 { start, stop };
constexpr auto boundarySmRunStateNames = Zet::enumNames<BoundarySmRunState::stop>("start", "stop");
constexpr auto & zetNames(BoundarySmRunState) { return boundarySmRunStateNames; }

// Whether a card's chips can hold boundaries.
enum class TcamBoundarySupport : U8 { tcamSupported, tcamNotSupported };
constexpr auto tcamBoundarySupportNames =
    Zet::enumNames<TcamBoundarySupport::tcamNotSupported>("tcamSupported", "tcamNotSupported");
constexpr auto & zetNames(TcamBoundarySupport) { return tcamBoundarySupportNames; }

}  // namespace Brindle
