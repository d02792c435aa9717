#include "sim/Words.h"

namespace Brindle::Sim {

void requireRoom(char const * what, unsigned wanted, unsigned inUse) {
  if (wanted >= inUse) return;
  throw CommandError("expected at least the " + std::to_string(inUse) + " " + what +
                     " in use, found " + std::to_string(wanted));
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string quotedWord(std::string_view line, std::size_t & at) {
  auto const end = line.find('"', at + 1);
  if (end == line.npos) throw CommandError("expected a closing \" at the end of the line");
  std::string word(line.substr(at + 1, end - at - 1));
  at = end + 1;
  return word;
}

std::string plainWord(std::string_view line, std::size_t & at) {
  auto const begin = at;
  while (at < line.size() && !isBlank(line[at])) ++at;
  return std::string(line.substr(begin, at - begin));
}

}  // namespace

std::vector<std::string> wordsOf(std::string_view line) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < line.size();) {
    if (isBlank(line[at])) {
      ++at;
    } else if (line[at] == '#') {
      break;
    } else {
      words.push_back(line[at] == '"' ? quotedWord(line, at) : plainWord(line, at));
    }
  }
  return words;
}

std::string joined(std::vector<std::string> const & words) {
  std::string text;
  for (auto const & word : words) text.append(text.empty() ? "" : " ").append(word);
  return text;
}

std::string alternatives(std::vector<std::string> const & items) {
  std::string out;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) out += i + 1 == items.size() ? " or " : ", ";
    out += items[i];
  }
  return out;
}

}  // namespace Brindle::Sim
