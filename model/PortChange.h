// How the set of forwarding ports has changed.
#pragma once

#include "platform/Value.h"

namespace Brindle {

using Zet::operator<<;

enum PortChange : U8 { portChangeNone, portChangeAdd, portChangeDel };
constexpr auto portChangeNames =
    Zet::enumNames<portChangeDel>("portChangeNone", "portChangeAdd", "portChangeDel");
constexpr auto & zetNames(PortChange) { return portChangeNames; }

}  // namespace Brindle
