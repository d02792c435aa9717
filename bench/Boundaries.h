// Multicast boundaries that are learned from traffic.
#pragma once

namespace Bench {

// Longest-prefix match against a search in a sorted vector; what a message costs, and a record;
// what it takes to withdraw 100,000 sources: without who follows the records, and with the drops in
// a chip.
void boundaries();

}  // namespace Bench
