// Numbers from a 64-bit seed, the same with every compiler and library.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Types.h"

namespace Simulation {

// splitmix64.
class Random {
 public:
  explicit Random(U64 seed) : state_(seed) {}

  U64 next() {
    U64 z = state_ += 0x9e3779b97f4a7c15;
    z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
    z = (z ^ z >> 27) * 0x94d049bb133111eb;
    return z ^ z >> 31;
  }
  // 0 to n - 1. REQUIRES: n > 0.
  U32 below(U32 n) { return static_cast<U32>((next() >> 32) * n >> 32); }
  U32 between(U32 least, U32 most) { return least + below(most - least + 1); }
  bool percent(U32 chance) { return below(100) < chance; }

  template <class T> T const & of(std::vector<T> const & items) {
    return items[below(static_cast<U32>(items.size()))];
  }
  std::string of(std::initializer_list<char const *> items) {
    return items.begin()[below(static_cast<U32>(items.size()))];
  }
  // Of a set or a map, which must not be empty either.
  template <class T> typename T::value_type of(T const & items) requires requires {
    typename T::key_type;
  }
  { return *std::next(items.begin(), below(static_cast<U32>(items.size()))); }
  template <class T> void shuffle(std::vector<T> & items) {
    for (std::size_t i = items.size(); i > 1; --i) {
      std::swap(items[i - 1], items[below(static_cast<U32>(i))]);
    }
  }

 private:
  U64 state_;
};

}  // namespace Simulation
