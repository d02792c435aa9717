// Hashes of values: 32 bits, the same in every run and process, never made of an address. All 32
// bits are good, so a table may take its bucket from either end.
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>

#include "platform/Types.h"

namespace Zet {

// Spreads 64 bits over 32.
constexpr U32 hashFold(U64 v) {
  v = (v ^ v >> 32) * 0xd6e8feb86659fd93u;
  return static_cast<U32>(v ^ v >> 32);
}

// The hash of a sequence whose hash so far is `h` and whose next part hashes to `v`.
constexpr U32 hashMix(U32 h, U32 v) { return hashFold(static_cast<U64>(h) << 32 | v); }

template <class T>
requires std::is_integral_v<T> || std::is_enum_v<T>
constexpr U32 hashOf(T v) { return hashFold(static_cast<U64>(v)); }

constexpr U32 hashOf(std::string_view text) {
  U32 h = 0x811c9dc5u;  // FNV-1a
  for (char c : text) h = (h ^ static_cast<U8>(c)) * 0x01000193u;
  return hashFold(h);
}

// Values that know their own hash.
template <class T>
requires requires(T const & v) {
  { v.hash() } -> std::same_as<U32>;
}
constexpr U32 hashOf(T const & v) { return v.hash(); }

// The hash of several members in order; a value's `hash()` is usually one call of this.
template <class... T> constexpr U32 hashAll(T const &... parts) {
  U32 h = 0;
  ((h = hashMix(h, hashOf(parts))), ...);
  return h;
}

}  // namespace Zet
