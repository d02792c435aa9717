#include "sim/Prompt.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace Brindle::Sim {

namespace {

constexpr int historySize = 1000;

}  // namespace

Prompt::Prompt(CommandTable const & table, Hooks hooks)
    : table_(table),
      hooks_(std::move(hooks)),
      editor_(el_init("brindle-sim", stdin, stdout, stderr)),
      history_(history_init()) {
  HistEvent event;
  history(history_, &event, H_SETSIZE, historySize);
  history(history_, &event, H_SETUNIQUE, 1);
  el_set(editor_, EL_CLIENTDATA, this);
  el_set(editor_, EL_PROMPT, promptText);
  el_set(editor_, EL_EDITOR, "emacs");
  el_set(editor_, EL_HIST, history, history_);
  el_set(editor_, EL_GETCFN, getCharacter);
  el_set(editor_, EL_ADDFN, "complete", "Complete a command", complete);
  el_set(editor_, EL_BIND, "^I", "complete", nullptr);
  el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
}

Prompt::~Prompt() {
  history_end(history_);
  el_end(editor_);
}

Prompt & Prompt::of(EditLine * editor) {
  void * self = nullptr;
  el_get(editor, EL_CLIENTDATA, &self);
  return *static_cast<Prompt *>(self);
}

char * Prompt::promptText(EditLine *) {
  static char text[] = "sim> ";
  return text;
}

bool Prompt::nextLine(std::string & line) {
  int length = 0;
  interrupted_ = false;
  char const * const text = el_gets(editor_, &length);
  if (interrupted_) {
    el_reset(editor_);
    std::puts("");
    line.clear();
    return true;
  }
  if (!text || length <= 0) return false;
  line.assign(text, static_cast<std::size_t>(length));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.find_first_not_of(" \t") != line.npos) {
    HistEvent event;
    history(history_, &event, H_ENTER, line.c_str());
  }
  return true;
}

int Prompt::getCharacter(EditLine * editor, wchar_t * out) {
  Prompt & self = of(editor);
  char byte = 0;
  if (!self.hooks_.wait()) {
    self.interrupted_ = true;
    return -1;
  }
  auto const count = read(STDIN_FILENO, &byte, 1);
  self.interrupted_ = count < 0 && errno == EINTR;
  *out = static_cast<unsigned char>(byte);
  return static_cast<int>(count);
}

std::string Prompt::Completion::common() const {
  if (words.empty()) return "";
  std::string shared = words.front();
  for (auto const & word : words) {
    auto const end = std::mismatch(shared.begin(), shared.end(), word.begin(), word.end()).first;
    shared.erase(end, shared.end());
  }
  return shared.substr(std::min(partial.size(), shared.size()));
}

Prompt::Completion Prompt::completion(std::string const & text) const {
  Completion out;
  std::vector<std::string> words;
  try {
    words = wordsOf(text);
  } catch (CommandError const &) {
    return out;  // within a quote
  }
  if (!words.empty() && text.back() != ' ') {
    out.partial = words.back();
    words.pop_back();
  }
  auto const offer = [&](std::string const & word) {
    if (word.starts_with(out.partial)) out.words.push_back(word);
  };
  for (auto const & item : table_.continuations(words)) {
    if (item.empty()) continue;
    bool const placeholder = item.front() >= 'A' && item.front() <= 'Z';
    if (!placeholder) {
      offer(item);
      continue;
    }
    out.hints.push_back(item + ": " + expectation(item));
    for (auto const & value : hooks_.values(item)) offer(value);
  }
  std::sort(out.words.begin(), out.words.end());
  out.words.erase(std::unique(out.words.begin(), out.words.end()), out.words.end());
  return out;
}

unsigned char Prompt::complete(EditLine * editor, int) {
  LineInfo const * const info = el_line(editor);
  auto const found = of(editor).completion(std::string(info->buffer, info->cursor));
  auto insertion = found.common();
  if (found.words.size() == 1) insertion += ' ';
  if (!insertion.empty()) {
    return el_insertstr(editor, insertion.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
  }
  if (found.words.empty() && found.hints.empty()) return CC_REFRESH_BEEP;
  std::string list = "\n";
  for (auto const & word : found.words) list += word + "  ";
  if (!found.words.empty()) list += "\n";
  for (auto const & hint : found.hints) list += hint + "\n";
  std::fputs(list.c_str(), stdout);
  std::fflush(stdout);
  return CC_REDISPLAY;
}

}  // namespace Brindle::Sim
