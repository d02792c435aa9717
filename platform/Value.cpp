#include "platform/Value.h"

#include <algorithm>
#include <charconv>
#include <ostream>

#include "platform/Exception.h"

namespace Zet {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

int hexValue(char c) {
  auto const * end = hexDigits + 16;
  auto const * at = std::find(hexDigits, end, c);
  return at == end ? -1 : static_cast<int>(at - hexDigits);
}

template <class T> void appendNumber(std::string & out, T value) {
  char digits[32];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::string quotedStart(std::string_view text) {
  constexpr std::size_t shown = 40;
  std::string out;
  quotedToStrep(out, text.substr(0, shown));
  if (text.size() > shown) out += "...";
  return out;
}

}  // namespace

bool StrepReader::skip(std::string_view text) {
  if (!rest().starts_with(text)) return false;
  position_ += text.size();
  return true;
}

void StrepReader::literal(std::string_view text) {
  if (!skip(text)) throwExpected(text, position_);
}

template <class T> bool StrepReader::number(T & value) {
  auto const text = rest();
  auto const read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec != std::errc()) return false;
  position_ += static_cast<std::size_t>(read.ptr - text.data());
  return true;
}

std::int64_t StrepReader::signedNumber(std::int64_t min, std::int64_t max) {
  auto const at = position_;
  std::int64_t value = 0;
  if (!number(value) || value < min || value > max) {
    throwExpected("a number from " + std::to_string(min) + " to " + std::to_string(max), at);
  }
  return value;
}

U64 StrepReader::unsignedNumber(U64 max) {
  auto const at = position_;
  U64 value = 0;
  if (!number(value) || value > max) {
    throwExpected("a number from 0 to " + std::to_string(max), at);
  }
  return value;
}

double StrepReader::real() {
  auto const at = position_;
  double value = 0;
  if (!number(value)) throwExpected("a number", at);
  return value;
}

bool StrepReader::boolean() {
  if (skip("True")) return true;
  if (!skip("False")) throwExpected("True or False", position_);
  return false;
}

std::string StrepReader::quoted() {
  auto const start = position_;
  literal("'");
  std::string out;
  for (;;) {
    if (rest().empty()) throwExpected("a text in quotes", start);
    char c = text_[position_++];
    if (c == '\'') return out;
    if (c == '\\') {
      auto const at = position_ - 1;
      if (skip("n")) {
        c = '\n';
      } else if (skip("x")) {
        int const high = rest().size() < 2 ? -1 : hexValue(text_[position_]);
        int const low = high < 0 ? -1 : hexValue(text_[position_ + 1]);
        if (low < 0) throwExpected("\\x and two hexadecimal digits", at);
        position_ += 2;
        c = static_cast<char>(high << 4 | low);
      } else if (skip("'")) {
        c = '\'';
      } else if (!skip("\\")) {
        throwExpected("one of \\' \\\\ \\n \\x", at);
      }
    }
    out += c;
  }
}

U64 StrepReader::enumerator(std::string_view const * names, std::size_t count, U64 max) {
  auto const at = position_;
  U64 value = 0;
  if (number(value) && value <= max) return value;
  position_ = at;
  auto const isWord = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  auto const text = rest();
  auto const length = std::find_if_not(text.begin(), text.end(), isWord) - text.begin();
  auto const word = text.substr(0, static_cast<std::size_t>(length));
  auto const * found = word.empty() ? names + count : std::find(names, names + count, word);
  if (found == names + count) {
    std::string what = "one of";
    for (auto const * name = names; name != names + count; ++name) {
      if (!name->empty()) what.append(" ").append(*name);
    }
    throwExpected(what, at);
  }
  position_ += word.size();
  return static_cast<U64>(found - names);
}

void StrepReader::end() const {
  if (!rest().empty()) throwExpected("the end of the text", position_);
}

void StrepReader::throwExpected(std::string_view what, std::size_t position) const {
  throw RangeException("position " + std::to_string(position) + ": expected " + std::string(what) +
                       ", not " + quotedStart(text_.substr(position)));
}

void numberToStrep(std::string & out, std::int64_t value) { appendNumber(out, value); }
void numberToStrep(std::string & out, U64 value) { appendNumber(out, value); }
void numberToStrep(std::string & out, double value) { appendNumber(out, value); }

void quotedToStrep(std::string & out, std::string_view text) {
  out += '\'';
  for (char c : text) {
    auto const byte = static_cast<U8>(c);
    if (c == '\'' || c == '\\') {
      out.append({'\\', c});
    } else if (c == '\n') {
      out += "\\n";
    } else if (byte < 0x20 || byte == 0x7f) {
      out.append({'\\', 'x', hexDigits[byte >> 4], hexDigits[byte & 15]});
    } else {
      out += c;
    }
  }
  out += '\'';
}

void enumeratorToStrep(std::string & out, std::string_view const * names, std::size_t count,
                       U64 value) {
  if (value < count && !names[value].empty()) {
    out += names[value];
  } else {
    appendNumber(out, value);
  }
}

void fieldsToStrep(std::string & out, char const * type, FieldInfo const * fields,
                   std::size_t count, void const * value) {
  out.append("Value('").append(type).append("', ** {");
  for (std::size_t i = 0; i < count; ++i) {
    out.append(i ? ", '" : "'").append(fields[i].name).append("': ");
    fields[i].toStrep(out, value);
  }
  out += "})";
}

void strepToFields(StrepReader & reader, char const * type, FieldInfo const * fields,
                   std::size_t count, void * value) {
  reader.literal("Value('" + std::string(type) + "', ** {");
  for (std::size_t i = 0; i < count; ++i) {
    reader.literal((i ? ", '" : "'") + std::string(fields[i].name) + "': ");
    fields[i].fromStrep(reader, value);
  }
  reader.literal("})");
}

void throwUnreadable(char const * expected, std::string_view text) {
  throw RangeException("expected " + std::string(expected) + ", not " + quotedStart(text));
}

void streamText(std::ostream & out, std::string_view text) { out << text; }

}  // namespace Zet
