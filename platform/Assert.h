// Invariants of the system: always checked, in every build, and their end is the end of the
// process.
#pragma once

#include "platform/Export.h"

namespace Zet {

// Writes `file:line: assertion failed: text` to standard error and aborts.
[[noreturn, gnu::cold]] BRINDLE_API void assertionFailed(char const * text, char const * file,
                                                         int line) noexcept;

}  // namespace Zet

// Ends the process with `text` unless `condition` holds. For what only a fault in Brindle can
// break; bad values from outside throw (platform/Exception.h).
#define ZET_ASSERT(condition, text)                  \
  (__builtin_expect(static_cast<bool>(condition), 1) \
       ? static_cast<void>(0)                        \
       : ::Zet::assertionFailed(text, __FILE__, __LINE__))
