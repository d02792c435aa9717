// The text of any value as an operator reads it, for traces, records and messages.
#pragma once
#include <string>
#include <string_view>

#include "platform/Value.h"

namespace Zet {

// Pointers have none, so that no address reaches a text.
template <class T>
concept Textual = !std::is_pointer_v<T> || std::is_convertible_v<T, std::string_view>;

// Appends strings and characters as they are, values and enumerators by their own text or else
// their text form, numbers and True or False.
template <Textual T> void appendText(std::string & out, T const & value) {
  if constexpr (std::is_same_v<T, char>) {
    out += value;
  } else if constexpr (std::is_convertible_v<T const &, std::string_view>) {
    out += std::string_view(value);
  } else if constexpr (TextValue<T>) {
    value.appendText(out);
  } else if constexpr (std::is_enum_v<T> && !NamedEnum<T>) {
    appendText(out, static_cast<std::underlying_type_t<T>>(value));
  } else {
    valueToStrep(out, value);
  }
}

}  // namespace Zet
