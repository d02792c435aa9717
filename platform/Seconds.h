// Time as the logic counts it.
#pragma once

namespace Zet {

// A count of seconds; only differences mean something.
using Seconds = double;

}  // namespace Zet
