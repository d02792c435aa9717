// Text for a file descriptor that somebody else has opened: a terminal, a pipe, a socket.
#pragma once

#include <string_view>

#include "platform/Export.h"

namespace Zet {

// Writes all of the text, however little the descriptor takes at a time. False if it takes no more:
// it is closed, nobody reads from it any more, or nobody has for five seconds. No SIGPIPE comes of
// it, see signal(7).
BRINDLE_API bool writeText(int fd, std::string_view text);

}  // namespace Zet
