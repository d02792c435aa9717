// What every benchmark needs.
#pragma once
#include <functional>
#include <string>

namespace Bench {

// How long the work takes.
double seconds(std::function<void()> const & work);
// Private memory of the process in bytes (proc(5), smaps_rollup).
double privateBytes();
// One line of the report, for bench/run: name, figure, unit.
void report(std::string const & name, double figure, char const * unit);

}  // namespace Bench
