#include "sim/CommandTable.h"

#include <algorithm>

namespace Brindle::Sim {

namespace {

void addNew(std::vector<std::string> & items, std::vector<std::string> const & more) {
  for (auto const & item : more) {
    if (std::find(items.begin(), items.end(), item) == items.end()) items.push_back(item);
  }
}

std::string quoted(std::vector<std::string> const & words, std::size_t at) {
  return at < words.size() ? "\"" + words[at] + "\"" : "the end of the line";
}

}  // namespace

CommandTable::Found CommandTable::find(std::vector<std::string> const & words) const {
  Match furthest;
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    Match match = rows_[row].syntax.match(words);
    if (match.complete) return {row, std::move(match.arguments)};
    if (match.fitting > furthest.fitting || furthest.expected.empty()) {
      furthest = std::move(match);
    } else if (match.fitting == furthest.fitting) {
      addNew(furthest.expected, match.expected);
      if (furthest.detail.empty()) furthest.detail = match.detail;
    }
  }
  if (furthest.fitting == 0) {
    throw CommandError("expected a command, found " + quoted(words, 0) + "; help lists them");
  }
  std::vector<std::string> expected;
  std::stable_partition(furthest.expected.begin(), furthest.expected.end(),
                        [](std::string const & item) { return !item.empty(); });
  for (auto const & item : furthest.expected) addNew(expected, {expectation(item)});
  std::string text =
      "expected " + alternatives(expected) + ", found " + quoted(words, furthest.fitting);
  if (!furthest.detail.empty()) text += " (" + furthest.detail + ")";
  throw CommandError(text);
}

std::vector<std::string> CommandTable::continuations(std::vector<std::string> const & words) const {
  std::vector<std::string> out;
  for (auto const & row : rows_) {
    Match const match = row.syntax.match(words);
    if (match.fitting == words.size()) addNew(out, match.expected);
  }
  return out;
}

std::string CommandTable::help(std::vector<std::string> const & words) const {
  std::string out;
  std::string_view subject;
  for (auto const & row : rows_) {
    if (!row.syntax.beginsWith(words)) continue;
    if (row.subject != subject) {
      out.append(out.empty() ? "" : "\n").append(subject = row.subject).append("\n");
    }
    out.append("  ").append(row.syntax.text()).append("\n      ").append(row.help).append("\n");
  }
  if (out.empty()) throw CommandError("expected a command, found \"" + words.front() + "\"");
  return out;
}

}  // namespace Brindle::Sim
