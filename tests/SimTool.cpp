#include "tests/SimTool.h"

#include <sys/wait.h>

#include <cstdio>

namespace Brindle::Sim {

SimTool::Result SimTool::run(std::string line, std::string const & input) const {
  expand(line, "@", std::string(BRINDLE_TOOLS) + "/");
  expand(line, "%", BRINDLE_SOURCES);
  Result result;
  FILE * const pipe = popen(("{ " + line + "\n} 2>&1 < " + file("input", input)).c_str(), "r");
  if (!pipe) return result;
  char bytes[4096];
  while (auto const count = fread(bytes, 1, sizeof bytes, pipe)) result.text.append(bytes, count);
  int const status = pclose(pipe);
  result.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  return result;
}

}  // namespace Brindle::Sim
