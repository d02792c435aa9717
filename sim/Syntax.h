// The form of a command, written as `help` shows it, and the lines that have it.
//
//   vlan add VLAN port PORT... [tagged|untagged]
//
// A lower-case word stands for itself, a|b for one of several, an upper-case word for a value of
// that kind (Arguments.cpp has their table), ... for one or more of them. [...] may be left out,
// and neighbours of that sort may come in any order; [...]... may come again and again.
//
// From this one text come the matching of lines, the errors, completion and help.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/Arguments.h"

namespace Brindle::Sim {

// What one line says in one syntax.
struct Match {
  bool complete = false;
  // How many words fit. What could have stood behind them: words as they are, and placeholders.
  std::size_t fitting = 0;
  std::vector<std::string> expected;
  // Why the word there is no such value, where there is more to say.
  std::string detail;
  Arguments arguments;
};

class Syntax {
 public:
  // REQUIRES: a well-formed text (the tests try all that there are).
  explicit Syntax(std::string_view text);

  std::string const & text() const { return text_; }
  Match match(std::vector<std::string> const & words) const;
  // Whether the syntax begins with these words.
  bool beginsWith(std::vector<std::string> const & words) const;

 private:
  friend class Matching;
  struct Element {
    enum Kind { words, value, optional } kind;
    std::vector<std::string> texts;  // the words, or the placeholder
    bool repeated = false;
    std::vector<Element> inner;  // of optional
  };
  static std::vector<Element> elements(std::string_view & rest);
  static Element element(std::string_view token);
  void collectWords(std::vector<Element> const &);
  bool isWord(std::string_view text) const;

  std::string text_;
  std::vector<Element> elements_;
  std::vector<std::string> allWords_;
};

// How an error names what was expected at some place of a line.
std::string expectation(std::string const & item);

}  // namespace Brindle::Sim
