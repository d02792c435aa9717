#include "model/FailureReason.h"

#include <cstdio>

namespace Brindle {

namespace {

struct Part {
  U32 mask;
  char const * text;
};
constexpr Part resources[] = {
    {0xff, "output sets"}, {0xff00, "route entries"}, {0xff0000, "MAC table"}};
constexpr Part states[] = {{MrouteFailureReason::blockedBit, "blocked"},
                           {MrouteFailureReason::timeoutBit, "timeout"},
                           {MrouteFailureReason::notInitedBit, "notInited"},
                           {MrouteFailureReason::inProgressBit, "inProgress"}};

void appendListed(std::string & list, std::string_view text) {
  if (!list.empty()) list += ", ";
  list += text;
}

}  // namespace

std::string MrouteFailureReason::logExplain() const {
  std::string list;
  for (auto const & part : resources) {
    if (value & part.mask) appendListed(list, part.text);
  }
  return list.empty() ? list : " (" + list + ")";
}

std::string MrouteFailureReason::pretty() const {
  std::string list;
  for (auto const & part : resources) {
    if (!(value & part.mask)) continue;
    char hex[16];
    std::snprintf(hex, sizeof hex, " 0x%x", value & part.mask);
    appendListed(list, part.text + std::string(hex));
  }
  for (auto const & part : states) {
    if (value & part.mask) appendListed(list, part.text);
  }
  return list;
}

}  // namespace Brindle
