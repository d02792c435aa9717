// Storms of RPF failures.
#pragma once

namespace Bench {

// What a failure costs, by what comes of it; what a storm does to memory, to the number of
// fastdrops, and to a review that runs beside it.
void fastdrops();

}  // namespace Bench
