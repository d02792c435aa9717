// What a call throws, as text; "nothing" if it does not.
#pragma once
#include <string>

#include "platform/Exception.h"

namespace Tests {

template <class E = Zet::RangeException> std::string thrown(auto const & call) {
  try {
    call();
  } catch (E const & e) {
    return e.what();
  }
  return "nothing";
}

}  // namespace Tests
