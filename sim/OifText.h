// The text of one output of a published route: "br100" for one that is only sent out of, or the
// interface with its properties, "et1=accept+forward".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "state/ShoalRoute.h"

namespace Brindle::Sim {

// No interface name is longer, or else it could not be published.
constexpr std::size_t maxIntfName = 31;
bool isIntfName(std::string_view text);

// Nothing if the text is no output.
std::optional<Shoal::Multicast::Fib::OifIndexIntf> oifFromText(std::string_view text);
std::string oifToText(Shoal::Multicast::Fib::OifIndexIntf const & oif);

}  // namespace Brindle::Sim
