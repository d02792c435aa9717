// Bit tricks that the standard library lacks.
#pragma once

#include "platform/Types.h"

namespace Zet {

// The bits of `v` in opposite order. Hash tables sort by it, so that a table that doubles keeps the
// order of its members.
constexpr U32 bitReverse(U32 v) {
  v = (v >> 1 & 0x55555555u) | (v & 0x55555555u) << 1;
  v = (v >> 2 & 0x33333333u) | (v & 0x33333333u) << 2;
  v = (v >> 4 & 0x0f0f0f0fu) | (v & 0x0f0f0f0fu) << 4;
  return __builtin_bswap32(v);
}

}  // namespace Zet
