#include "sim/Answers.h"

#include <algorithm>

namespace Brindle::Sim {

Answering::Answering(Xacts & xacts) : xacts_(xacts) {
  zetClock_.attach(Zet::activityManager()->clock());
}

void Answering::answersIs(Answers const & v) {
  answers_ = v;
  random_.seed(v.seed);
  if (v.when == Answers::atOnce) answer(due(Zet::Clock::never), [this] { return draw(); });
  arm();
}

void Answering::openIs(U32 id, RouteHandle handle) {
  Zet::Seconds const now = zetClock_.target()->shown();
  open_.emplace(++last_, Open{id, handle, now});
  if (answers_.when == Answers::atOnce) {
    answer({last_}, [this] { return draw(); });
  } else if (answers_.when == Answers::later && zetClock_->timeMin() == Zet::Clock::never) {
    zetClock_->timeMinIs(now + answers_.delay);
  }
}

void Answering::endAll(Result result) {
  answer(due(Zet::Clock::never), [=] { return result; });
  arm();
}

bool Answering::end(U32 id, RouteHandle handle, Result result) {
  if (!xacts_.end(id, handle, result)) return false;
  forgetClosed();
  arm();
  return true;
}

bool Answering::isOpen(Open const & o) const { return xacts_.isOpen(o.id, o.handle); }

void Answering::forgetClosed() {
  std::erase_if(open_, [this](auto const & o) { return !isOpen(o.second); });
}

// What comes of an answer may take others away, or issue them again.
template <class ResultOf> void Answering::answer(Numbers const & which, ResultOf resultOf) {
  for (bool any = true; any;) {
    any = false;
    for (U64 const number : which) {
      auto const found = open_.find(number);
      if (found == open_.end()) continue;
      Open const o = found->second;
      if (isOpen(o) && !xacts_.end(o.id, o.handle, resultOf())) continue;
      open_.erase(number);
      any = true;
    }
  }
}

Keel::XactResult Answering::draw() {
  bool const fails = answers_.failPercent != 0 && random_() % 100 < answers_.failPercent;
  return fails ? Result::failure : Result::success;
}

Zet::Seconds Answering::next() const {
  Zet::Seconds first = Zet::Clock::never;
  if (answers_.when != Answers::later) return first;
  for (auto const & [number, o] : open_) {
    if (!isOpen(o) || xacts_.isBlocked(o.id, o.handle)) continue;
    first = std::min(first, o.since + answers_.delay);
  }
  return first;
}

void Answering::arm() { zetClock_->timeMinIs(next()); }

Answering::Numbers Answering::due(Zet::Seconds until) {
  Numbers out;
  for (auto const & [number, o] : open_) {
    if (o.since + answers_.delay <= until) out.push_back(number);
  }
  if (answers_.order == Answers::lifo) std::reverse(out.begin(), out.end());
  if (answers_.order == Answers::random) std::shuffle(out.begin(), out.end(), random_);
  return out;
}

void Answering::handleClock() {
  zetClock_->timeMinIs(Zet::Clock::never);
  Zet::Ptr<Answering> const self(this);
  answer(due(zetClock_.target()->now()), [this] { return draw(); });
  forgetClosed();
  arm();
}

}  // namespace Brindle::Sim
