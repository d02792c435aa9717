// The prompt: a line editor with history, and completion by the Tab key from the table of commands.
#pragma once

#include <histedit.h>

#include <functional>
#include <string>
#include <vector>

#include "sim/CommandTable.h"

namespace Brindle::Sim {

class Prompt {
 public:
  struct Hooks {
    // Waits until the terminal has input; false if the wait was interrupted.
    std::function<bool()> wait;
    // Values that may stand for a placeholder, such as the names of chips.
    std::function<std::vector<std::string>(std::string const & placeholder)> values;
  };
  Prompt(CommandTable const & table, Hooks hooks);
  ~Prompt();
  Prompt(Prompt const &) = delete;
  Prompt & operator=(Prompt const &) = delete;

  // The next line, without its end; false at the end of the input. Interrupted, it gives an empty
  // line.
  bool nextLine(std::string & line);

  // What may take the place of the last word of `text`, and the explanation of what else may.
  struct Completion {
    std::string partial;
    std::vector<std::string> words;
    std::vector<std::string> hints;
    // What all words have in common behind the partial one.
    std::string common() const;
  };
  Completion completion(std::string const & text) const;

 private:
  static Prompt & of(EditLine * editor);
  static char * promptText(EditLine *);
  static int getCharacter(EditLine * editor, wchar_t * out);
  static unsigned char complete(EditLine * editor, int);

  CommandTable const & table_;
  Hooks const hooks_;
  EditLine * const editor_;
  History * const history_;
  bool interrupted_ = false;
};

}  // namespace Brindle::Sim
