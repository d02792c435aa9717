// The commands of a tool as one table, from which lines are understood, help is printed and words
// are completed.
#pragma once

#include <istream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/Syntax.h"
#include "sim/Words.h"

namespace Brindle::Sim {

// One command: its form, one line of help, and what it does. A command that throws has changed
// nothing.
template <class Context> struct Command {
  std::string_view syntax;
  std::string_view help;
  void (*run)(Context &, Arguments const &);
};

// The commands of one subject, as a section of help.
template <class Context> struct Subject {
  std::string_view title;
  std::span<Command<Context> const> commands;
};

class CommandTable {
 public:
  struct Row {
    Syntax syntax;
    std::string_view help;
    std::string_view subject;
  };
  template <class Context> explicit CommandTable(std::span<Subject<Context> const> subjects) {
    for (auto const & subject : subjects) {
      for (auto const & command : subject.commands) {
        rows_.push_back({Syntax(command.syntax), command.help, subject.title});
      }
    }
  }

  std::vector<Row> const & rows() const { return rows_; }

  struct Found {
    std::size_t row;
    Arguments arguments;
  };
  // The command that the line is. Throws CommandError with what was expected in its place.
  Found find(std::vector<std::string> const & words) const;
  // What may stand behind these words: words, and placeholders of values.
  std::vector<std::string> continuations(std::vector<std::string> const & words) const;
  // The commands that begin with these words, by subject. Throws CommandError if there is none.
  std::string help(std::vector<std::string> const & words) const;

 private:
  std::vector<Row> rows_;
};

// Understands lines and runs their commands.
template <class Context> class Interpreter {
 public:
  Interpreter(Context & context, std::span<Subject<Context> const> subjects)
      : context_(context),
        table_(subjects) {
    for (auto const & subject : subjects) {
      for (auto const & command : subject.commands) run_.push_back(command.run);
    }
  }

  CommandTable const & table() const { return table_; }
  // Throws CommandError. An empty line does nothing.
  void run(std::string_view line) {
    auto const words = wordsOf(line);
    if (words.empty()) return;
    auto const found = table_.find(words);
    run_[found.row](context_, found.arguments);
  }

 private:
  Context & context_;
  CommandTable table_;
  std::vector<void (*)(Context &, Arguments const &)> run_;
};

// Gives each line of the stream to `run`. What a line throws comes back as a CommandError that
// names the place: "demo.sim:12: expected ...".
template <class Run> void runLines(std::istream & in, std::string const & name, Run run) {
  std::string line;
  for (unsigned number = 1; std::getline(in, line); ++number) {
    try {
      run(line);
    } catch (std::exception const & e) {
      throw CommandError(name + ":" + std::to_string(number) + ": " + e.what());
    }
  }
}

}  // namespace Brindle::Sim
