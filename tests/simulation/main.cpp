// brindle-simulation: runs seeds, and scripts that seeds were shrunk to. docs/simulation.md tells
// more.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "tests/simulation/Generator.h"
#include "tests/simulation/Runner.h"

namespace {

using namespace Simulation;

constexpr char usage[] =
    "usage: brindle-simulation [--from SEED] [--seeds N] [--seconds S] [--print] [--keep-going]\n"
    "                          [--no-shrink] [--traces]\n"
    "       brindle-simulation FILE\n"
    "Runs N seeds (1), or as many as S seconds are enough for, from SEED (1) on, or the script of\n"
    "a file. --print shows each seed's script instead; --keep-going does not end at the first\n"
    "seed that fails, --no-shrink prints it as it is. --traces prints a hash over the run of each\n"
    "seed, which is the same with every compiler.\n";

struct Options {
  U64 from = 1;
  U64 seeds = 1;
  double seconds = 0;
  bool print = false;
  bool keepGoing = false;
  bool shrink = true;
  bool traces = false;
  std::string file;
};

Options optionsOf(int argc, char ** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    auto const is = [&](char const * name) { return std::strcmp(argv[i], name) == 0; };
    bool const valued = i + 1 < argc;
    if (is("--from") && valued) {
      options.from = std::strtoull(argv[++i], nullptr, 0);
    } else if (is("--seeds") && valued) {
      options.seeds = std::strtoull(argv[++i], nullptr, 0);
    } else if (is("--seconds") && valued) {
      options.seconds = std::atof(argv[++i]);
    } else if (is("--print")) {
      options.print = true;
    } else if (is("--keep-going")) {
      options.keepGoing = true;
    } else if (is("--no-shrink")) {
      options.shrink = false;
    } else if (is("--traces")) {
      options.traces = true;
    } else if (argv[i][0] != '-') {
      options.file = argv[i];
    } else {
      std::fputs(usage, stderr);
      std::exit(2);
    }
  }
  return options;
}

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void print(Script const & script) {
  for (auto const & line : script) std::printf("%s\n", line.c_str());
}

char const * const kinds[] = {"good", "differs", "ended the process", "hangs"};

// The failure as somebody can take it up.
void report(std::string const & name, Script const & script, Outcome const & outcome, bool shrink) {
  std::printf("%s %s after line %u:\n%s\n", name.c_str(), kinds[outcome.kind], outcome.line + 1,
              outcome.text.c_str());
  std::fflush(stdout);
  if (!shrink) return;
  Script const shortest = shrunk(script, outcome);
  std::printf("# %s, shrunk; brindle-sim run FILE -i replays it:\n", name.c_str());
  print(shortest);
  std::printf("# which %s:\n%s\n", kinds[outcome.kind], run(shortest).text.c_str());
  std::fflush(stdout);
}

int runFile(std::string const & file) {
  std::ifstream in(file);
  if (!in) {
    std::fprintf(stderr, "brindle-simulation: %s: cannot be read\n", file.c_str());
    return 2;
  }
  Script script;
  for (std::string line; std::getline(in, line);) script.push_back(line);
  auto const outcome = run(script);
  std::printf("%s: %s\n%s", file.c_str(), kinds[outcome.kind], outcome.text.c_str());
  return outcome.kind == Outcome::good ? 0 : 1;
}

struct Sum {
  U64 seeds = 0, failed = 0, lines = 0, refused = 0, comparisons = 0, routes = 0, faults = 0;
  U64 trace = 0;

  void add(Script const & script, Outcome const & outcome) {
    ++seeds;
    failed += outcome.kind != Outcome::good;
    lines += script.size();
    refused += outcome.refused.size();
    comparisons += outcome.comparisons;
    routes += outcome.routesCompared;
    faults += static_cast<U64>(std::count_if(script.begin(), script.end(), [](auto const & line) {
      return line.starts_with("chip refuse") && !line.ends_with(" 0");
    }));
    trace = trace * 31 + outcome.trace;
  }
  void print(double seconds) const {
    std::printf("%" PRIu64 " seeds, %" PRIu64 " failed; %" PRIu64 " events (%" PRIu64
                " refused), %" PRIu64 " refusals of chips ordered, %" PRIu64
                " comparisons of %" PRIu64
                " routes in all; %.1f seeds and %.0f events a second; "
                "trace %016" PRIx64 "\n",
                seeds, failed, lines, refused, faults, comparisons, routes,
                static_cast<double>(seeds) / seconds, static_cast<double>(lines) / seconds, trace);
  }
};

int runSeeds(Options const & options) {
  double const start = now();
  Sum sum;
  auto const more = [&](U64 seed) {
    if (options.seconds > 0) return now() - start < options.seconds;
    return seed - options.from < options.seeds;
  };
  for (U64 seed = options.from; more(seed); ++seed) {
    Script const script = Generator(seed).script();
    if (options.print) {
      print(script);
      continue;
    }
    auto const outcome = run(script);
    sum.add(script, outcome);
    if (options.traces) std::printf("seed %" PRIu64 ": %016" PRIx64 "\n", seed, outcome.trace);
    if (outcome.kind == Outcome::good) continue;
    report("seed " + std::to_string(seed), script, outcome, options.shrink);
    if (!options.keepGoing) break;
  }
  if (!options.print) sum.print(now() - start);
  return sum.failed ? 1 : 0;
}

}  // namespace

int main(int argc, char ** argv) {
  // The switch hears of no real RPF failures here; the library reads this when it is loaded.
  if (!std::getenv("MIRA_NO_FASTDROPS")) {
    setenv("MIRA_NO_FASTDROPS", "1", 1);
    execv("/proc/self/exe", argv);
  }
  auto const options = optionsOf(argc, argv);
  return options.file.empty() ? runSeeds(options) : runFile(options.file);
}
