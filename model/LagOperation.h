// How the expansion treats a LAG.
#pragma once

#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

enum LagOperation : U8 {
  lagPass,        // it stays one member of the set
  lagExpand,      // all its members take its place
  lagDesignated,  // one of its members does, chosen by VLAN and group
};
constexpr auto lagOperationNames =
    Zet::enumNames<lagDesignated>("lagPass", "lagExpand", "lagDesignated");
constexpr auto & zetNames(LagOperation) { return lagOperationNames; }

}  // namespace Brindle
