// Refuses to make a machine that stands again with other inputs.
#pragma once
#include <string>

#include "platform/Exception.h"
#include "platform/Text.h"

namespace Brindle {

// As messages show it: an entity by its full name, a value by its text.
template <class T> std::string inputText(T const & input) {
  std::string text;
  if constexpr (requires { input->fullName(); }) {
    text = input ? input->fullName() : "None";
  } else {
    Zet::appendText(text, input);
  }
  return text;
}

// Throws RangeException if the input is not the one that the machine has.
template <class T> void requireSameInput(char const * name, T const & wanted, T const & held) {
  if (wanted == held) return;
  Zet::throwReinstantiatingMember(name, inputText(wanted), inputText(held));
}

}  // namespace Brindle
