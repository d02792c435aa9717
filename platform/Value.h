// Value types: text forms both ways, and names of enumerators.
//
// For whoever writes a value type:
// - A value is default-constructible and copyable, compares by a defaulted `<=>`, and as a key has
//   `U32 hash() const` (platform/Hash.h).
// - Its text form is Value('Brindle::RouteHandle', ** {'value': 5}). It lists its members once:
//
//     struct RouteHandle {
//       U32 value = 4294967295;
//       static constexpr char const * zetType = "Brindle::RouteHandle";
//       static constexpr auto zetFields() {
//         return std::array{Zet::field<&RouteHandle::value>("value")};
//       }
//     };
//
// - A value whose text is its own, such as an address, is a `TextValue` (below); inside the text of
//   another value it stands in quotes.
// - Any other form: a pair of overloads in the value's namespace,
//   `void valueToStrep(std::string &, T const &)` and `void strepToValue(Zet::StrepReader &, T &)`.
// - An enumeration has its table of names beside it, with "" for values that are not used:
//
//     enum class PortChange : U8 { none, add, del };
//     constexpr auto portChangeNames = Zet::enumNames<PortChange::del>("none", "add", "del");
//     constexpr auto & zetNames(PortChange) { return portChangeNames; }
//
// - Each namespace that holds values says `using Zet::operator<<;` once, so that they stream.
//
// Inside a text form: numbers as in C, True and False, 'text' with the escapes \' \\ \n and \xHH,
// enumerators by name, None for what is absent, {key: value, ...} for maps, [a, b] for sets.
#pragma once

#include <array>
#include <concepts>
#include <iosfwd>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/Hash.h"

namespace Zet {

// Reads a text form from its front. Each operation throws RangeException, with the position and
// what was expected, when the text holds something else.
class BRINDLE_API StrepReader {
 public:
  explicit StrepReader(std::string_view text) : text_(text) {}

  // True, and past it, if `text` comes next.
  bool skip(std::string_view text);
  void literal(std::string_view text);
  std::int64_t signedNumber(std::int64_t min, std::int64_t max);
  U64 unsignedNumber(U64 max);
  double real();
  bool boolean();
  std::string quoted();
  // A number, or the index of one of `names`.
  U64 enumerator(std::string_view const * names, std::size_t count, U64 max);
  // Nothing may be left.
  void end() const;

  // Refuses what stands at `position`.
  [[noreturn, gnu::cold]] void throwExpected(std::string_view what, std::size_t position) const;
  std::size_t position() const { return position_; }

 private:
  template <class T> bool number(T & value);
  std::string_view rest() const { return text_.substr(position_); }

  std::string_view text_;
  std::size_t position_ = 0;
};

// One member of a value, made by `field`.
struct FieldInfo {
  char const * name;
  void (*toStrep)(std::string &, void const * value);
  void (*fromStrep)(StrepReader &, void * value);
};

// Marks the value types: their name, as it stands in the text form.
template <class T>
concept Value = requires {
  { T::zetType } -> std::convertible_to<char const *>;
};

template <class T>
concept FieldsValue = Value<T> && requires {
  T::zetFields().size();
};

// `appendText` writes the value's own text; `fromText` reads it, and gives nothing if the text is
// not what `zetExpected` describes ("an IPv4 address").
template <class T>
concept TextValue = Value<T> && requires(T const & v, std::string & out, std::string_view text) {
  v.appendText(out);
  { T::fromText(text) } -> std::same_as<std::optional<T>>;
  { T::zetExpected } -> std::convertible_to<char const *>;
};

template <class T>
concept NamedEnum = std::is_enum_v<T> && requires(T v) {
  zetNames(v).size();
};

// The pieces that text forms are made of. All append.
BRINDLE_API void numberToStrep(std::string &, std::int64_t);
BRINDLE_API void numberToStrep(std::string &, U64);
BRINDLE_API void numberToStrep(std::string &, double);
BRINDLE_API void quotedToStrep(std::string &, std::string_view);
BRINDLE_API void enumeratorToStrep(std::string &, std::string_view const * names, std::size_t count,
                                   U64 value);
BRINDLE_API void fieldsToStrep(std::string &, char const * type, FieldInfo const * fields,
                               std::size_t count, void const * value);
BRINDLE_API void strepToFields(StrepReader &, char const * type, FieldInfo const * fields,
                               std::size_t count, void * value);

template <FieldsValue T> inline constexpr auto fieldTable = T::zetFields();

// Appends the text form of `value`.
template <class T> void valueToStrep(std::string & out, T const & value) {
  if constexpr (std::is_same_v<T, bool>) {
    out += value ? "True" : "False";
  } else if constexpr (std::is_floating_point_v<T>) {
    numberToStrep(out, static_cast<double>(value));
  } else if constexpr (std::is_signed_v<T>) {
    numberToStrep(out, static_cast<std::int64_t>(value));
  } else if constexpr (std::is_integral_v<T>) {
    numberToStrep(out, static_cast<U64>(value));
  } else if constexpr (std::is_enum_v<T>) {
    enumeratorToStrep(out, zetNames(value).data(), zetNames(value).size(), static_cast<U64>(value));
  } else if constexpr (FieldsValue<T>) {
    fieldsToStrep(out, T::zetType, fieldTable<T>.data(), fieldTable<T>.size(), &value);
  } else if constexpr (TextValue<T>) {
    std::string text;
    value.appendText(text);
    quotedToStrep(out, text);
  } else {
    quotedToStrep(out, std::string_view(value));
  }
}

// Reads the text form of a `T` into `value`.
template <class T> void strepToValue(StrepReader & reader, T & value) {
  if constexpr (std::is_same_v<T, bool>) {
    value = reader.boolean();
  } else if constexpr (std::is_floating_point_v<T>) {
    value = static_cast<T>(reader.real());
  } else if constexpr (std::is_signed_v<T>) {
    using Limits = std::numeric_limits<T>;
    value = static_cast<T>(reader.signedNumber(Limits::min(), Limits::max()));
  } else if constexpr (std::is_integral_v<T>) {
    value = static_cast<T>(reader.unsignedNumber(std::numeric_limits<T>::max()));
  } else if constexpr (std::is_enum_v<T>) {
    constexpr U64 max = std::numeric_limits<std::make_unsigned_t<std::underlying_type_t<T>>>::max();
    value = static_cast<T>(reader.enumerator(zetNames(value).data(), zetNames(value).size(), max));
  } else if constexpr (FieldsValue<T>) {
    strepToFields(reader, T::zetType, fieldTable<T>.data(), fieldTable<T>.size(), &value);
  } else if constexpr (TextValue<T>) {
    auto const at = reader.position();
    auto read = T::fromText(reader.quoted());
    if (!read) reader.throwExpected(T::zetExpected, at);
    value = *read;
  } else {
    value = T(reader.quoted());
  }
}

template <class T> std::string valueToStrep(T const & value) {
  std::string out;
  valueToStrep(out, value);
  return out;
}

// The value that `text` is the form of. Throws RangeException, with the position and what was
// expected, if it is none.
template <class T> T strepToValue(std::string_view text) {
  StrepReader reader(text);
  T value{};
  strepToValue(reader, value);
  reader.end();
  return value;
}

[[noreturn, gnu::cold]] BRINDLE_API void throwUnreadable(char const * expected,
                                                         std::string_view text);

// The value whose own text is `text`. Throws RangeException that says what was expected.
template <TextValue T> T parse(std::string_view text) {
  auto value = T::fromText(text);
  if (!value) throwUnreadable(T::zetExpected, text);
  return *value;
}

template <TextValue T> std::string textOf(T const & value) {
  std::string out;
  value.appendText(out);
  return out;
}

// The enumerator's name; its number where it has none.
template <NamedEnum T> std::string stringValue(T value) { return valueToStrep(value); }

BRINDLE_API void streamText(std::ostream &, std::string_view);

// Streams a value's own text, or else its text form.
template <class T>
requires Value<T> || NamedEnum<T> std::ostream & operator<<(std::ostream & out, T const & value) {
  if constexpr (std::is_convertible_v<T const &, std::string_view>) {
    streamText(out, value);
  } else if constexpr (TextValue<T>) {
    streamText(out, textOf(value));
  } else {
    streamText(out, valueToStrep(value));
  }
  return out;
}

template <class> struct MemberOf;
template <class C, class T> struct MemberOf<T C::*> { using Class = C; };

// The row of a member in `zetFields`.
template <auto member> constexpr FieldInfo field(char const * name) {
  using Class = typename MemberOf<decltype(member)>::Class;
  return {name,
          [](std::string & out, void const * value) {
            valueToStrep(out, static_cast<Class const *>(value)->*member);
          },
          [](StrepReader & reader, void * value) {
            strepToValue(reader, static_cast<Class *>(value)->*member);
          }};
}

// The table of names of an enumeration whose last enumerator is `last`.
template <auto last, class... Names> constexpr auto enumNames(Names... names) {
  static_assert(sizeof...(names) == static_cast<std::size_t>(last) + 1, "one name a value");
  return std::array<std::string_view, sizeof...(names)>{names...};
}

}  // namespace Zet
