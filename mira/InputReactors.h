// What the resolver does when the switch changes: one reactor for each input.
#pragma once

#include "platform/Reactor.h"

namespace Brindle {

class MiraRoot;

class InputReactors : public Zet::Sm {
 public:
  explicit InputReactors(MiraRoot * root) : root_(root) {}
  MiraRoot & root() const { return *root_; }

 private:
  MiraRoot * const root_;
};

}  // namespace Brindle
