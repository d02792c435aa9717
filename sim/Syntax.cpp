#include "sim/Syntax.h"

#include <algorithm>

#include "platform/Assert.h"

namespace Brindle::Sim {

namespace {

bool isPlaceholder(std::string_view text) { return text[0] >= 'A' && text[0] <= 'Z'; }

bool takeSuffix(std::string_view & text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

bool takePrefix(std::string_view & text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

// One line against one syntax. Forward only: the first word of what may be left out decides.
class Matching {
 public:
  using Element = Syntax::Element;
  Matching(Syntax const & syntax, std::vector<std::string> const & words)
      : syntax_(syntax),
        words_(words) {}

  Match run() {
    if (sequence(syntax_.elements_)) {
      match_.complete = at_ == words_.size();
      if (!match_.complete) expect("");
    }
    match_.fitting = at_;
    return std::move(match_);
  }

 private:
  bool sequence(std::vector<Element> const & elements) {
    for (std::size_t i = 0; i < elements.size();) {
      std::size_t end = i;
      while (end < elements.size() && elements[end].kind == Element::optional) ++end;
      if (end > i) {
        if (!options(&elements[i], end - i)) return false;
        i = end;
      } else if (!one(elements[i++])) {
        return false;
      }
    }
    return true;
  }

  // Neighbours that may be left out, in any order.
  bool options(Element const * first, std::size_t count) {
    std::vector<bool> used(count, false);
    for (std::size_t i = 0; i < count;) {
      Element const & option = first[i];
      if ((used[i] && !option.repeated) || !begins(option.inner.front())) {
        ++i;
        continue;
      }
      if (!sequence(option.inner)) return false;
      used[i] = true;
      i = 0;
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (!used[i] || first[i].repeated) expectLead(first[i].inner.front());
    }
    return true;
  }

  bool begins(Element const & lead) const {
    if (at_ == words_.size()) return false;
    if (lead.kind == Element::words) return contains(lead.texts, words_[at_]);
    return isValue(valueKind(lead.texts.front()));
  }

  bool one(Element const & element) {
    if (element.kind == Element::words) {
      if (at_ < words_.size() && contains(element.texts, words_[at_])) {
        match_.arguments.wordIs(words_[at_]);
        next();
        return true;
      }
      expectLead(element);
      return false;
    }
    auto const & kind = valueKind(element.texts.front());
    if (!value(kind)) return false;
    while (element.repeated && isValue(kind)) {
      if (!value(kind)) return false;
    }
    if (element.repeated) expectLead(element);
    return true;
  }

  bool value(ValueKind const & kind) {
    if (isValue(kind) && accepts(kind, words_[at_])) {
      match_.arguments.valueIs(std::string(kind.placeholder), words_[at_]);
      next();
      return true;
    }
    expect(std::string(kind.placeholder));
    return false;
  }

  // A word that the syntax knows is no value, so that a value left out is noticed.
  bool isValue(ValueKind const & kind) const {
    return at_ < words_.size() && (kind.free || !syntax_.isWord(words_[at_]));
  }

  bool accepts(ValueKind const & kind, std::string const & text) {
    try {
      return kind.accepts(text);
    } catch (std::exception const & e) {
      match_.detail = e.what();
      return false;
    }
  }

  void expectLead(Element const & lead) {
    for (auto const & text : lead.texts) expect(text);
  }
  void expect(std::string const & item) {
    if (!contains(match_.expected, item)) match_.expected.push_back(item);
  }
  void next() {
    ++at_;
    match_.expected.clear();
    match_.detail.clear();
  }
  static bool contains(std::vector<std::string> const & texts, std::string const & text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  }

  Syntax const & syntax_;
  std::vector<std::string> const & words_;
  std::size_t at_ = 0;
  Match match_;
};

Syntax::Syntax(std::string_view text) : text_(text) {
  elements_ = elements(text);
  ZET_ASSERT(text.empty(), "text.empty()");
  collectWords(elements_);
}

// Up to the end, or to the ] that closes what the caller has opened.
std::vector<Syntax::Element> Syntax::elements(std::string_view & rest) {
  std::vector<Element> out;
  while (!rest.empty() && rest[0] != ']') {
    if (takePrefix(rest, "[")) {
      Element option{Element::optional, {}, false, elements(rest)};
      ZET_ASSERT(takePrefix(rest, "]"), "]");
      option.repeated = takePrefix(rest, "...");
      out.push_back(std::move(option));
    } else {
      auto const token = rest.substr(0, rest.find_first_of(" ]"));
      rest.remove_prefix(token.size());
      out.push_back(element(token));
    }
    takePrefix(rest, " ");
  }
  return out;
}

Syntax::Element Syntax::element(std::string_view token) {
  Element out{Element::words, {}, takeSuffix(token, "..."), {}};
  if (isPlaceholder(token)) {
    out.kind = Element::value;
    out.texts.emplace_back(valueKind(token).placeholder);
    return out;
  }
  for (auto bar = token.find('|'); bar != token.npos; bar = token.find('|')) {
    out.texts.emplace_back(token.substr(0, bar));
    token.remove_prefix(bar + 1);
  }
  out.texts.emplace_back(token);
  return out;
}

void Syntax::collectWords(std::vector<Element> const & elements) {
  for (auto const & element : elements) {
    if (element.kind == Element::words) {
      allWords_.insert(allWords_.end(), element.texts.begin(), element.texts.end());
    }
    collectWords(element.inner);
  }
}

bool Syntax::isWord(std::string_view text) const {
  return std::find(allWords_.begin(), allWords_.end(), text) != allWords_.end();
}

Match Syntax::match(std::vector<std::string> const & words) const {
  return Matching(*this, words).run();
}

bool Syntax::beginsWith(std::vector<std::string> const & words) const {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i >= elements_.size() || elements_[i].kind != Element::words) return false;
    auto const & texts = elements_[i].texts;
    if (std::find(texts.begin(), texts.end(), words[i]) == texts.end()) return false;
  }
  return true;
}

std::string expectation(std::string const & item) {
  if (item.empty()) return "the end of the line";
  return isPlaceholder(item) ? std::string(valueKind(item).expected) : "\"" + item + "\"";
}

}  // namespace Brindle::Sim
