#include "platform/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Zet {

void assertionFailed(char const * text, char const * file, int line) noexcept {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
  std::abort();
}

}  // namespace Zet
