// Lines of commands, taken apart.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Brindle::Sim {

// A command that cannot be carried out; it has changed nothing. The text says what was expected.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws CommandError if a table is to become smaller than what is in use.
void requireRoom(char const * what, unsigned wanted, unsigned inUse);

// The words of a line, parted by blanks. "..." holds a word together; # begins a comment where a
// word may begin. Throws CommandError for a quote that is not closed.
std::vector<std::string> wordsOf(std::string_view line);

// "a b c".
std::string joined(std::vector<std::string> const & words);

// "a", "a or b", "a, b or c".
std::string alternatives(std::vector<std::string> const & items);

}  // namespace Brindle::Sim
