#include "bench/Measure.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace Bench {

double seconds(std::function<void()> const & work) {
  auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double privateBytes() {
  std::ifstream in("/proc/self/smaps_rollup");
  double kilobytes = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("Private_"))
      kilobytes += std::atof(line.substr(line.find(':') + 1).c_str());
  }
  return kilobytes * 1024;
}

void report(std::string const & name, double figure, char const * unit) {
  std::printf("%s\t%.4g\t%s\n", name.c_str(), figure, unit);
  std::fflush(stdout);
}

}  // namespace Bench
