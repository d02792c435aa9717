#include "sim/Watch.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "sim/Host.h"
#include "sim/Render.h"
#include "sim/Views.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

// Commands that change nothing in the switch.
constexpr std::array<std::string_view, 9> idle = {"echo",   "expect", "help",  "quit", "show",
                                                  "source", "start",  "title", "watch"};

}  // namespace

Watch::Watch(Host & host) : host_(host), causes_(Zet::make<Causes>(host)) {
  zetClock_.attach(Zet::activityManager()->clock());
  for (Chip * const chip : host.chips()) handleChip(*chip);
  lookAtSetsAlone();
  for (Id const & id : touched_) standing_[id] = now(id, standing_[id]);
  touched_.clear();
}

void Watch::handleDel() {
  for (Chip * const chip : host_.chips()) chip->observerIs(nullptr);
}

void Watch::handleChip(Chip & chip) {
  chip.observerIs(this);
  for (auto const & entry : chip.entries()) onEntry(chip, entry.handle, entry.key);
}

void Watch::handleChipDel(Chip & chip) {
  chip.observerIs(nullptr);
  for (auto & [id, standing] : standing_) {
    if (id.chip != chip.name().view()) continue;
    standing.handles.clear();
    touch(id);
  }
}

void Watch::handleCommand(std::string_view line) {
  lookAtSetsAlone();
  auto const words = wordsOf(line);
  if (words.empty() || std::find(idle.begin(), idle.end(), words.front()) != idle.end()) return;
  if (words.front() == "settle" || words.front() == "clock") {
    causes_->forget();
  } else {
    causes_->commandIs(line);
  }
}

void Watch::onEntry(Chip const & chip, RouteHandle handle, Chip::Match const & key) {
  Id const id{std::string(chip.name().view()), key.sg, key.vlanId};
  if (chip.entry(handle)) {
    standing_[id].handles.insert(handle.value);
  } else {
    standing_[id].handles.erase(handle.value);
  }
  touch(id);
}

void Watch::touch(Id const & id) {
  touched_.insert(id);
  if (zetClock_->timeMin() == Zet::Clock::never) zetClock_->timeMinIs(host_.now());
}

// The chip does not tell of those.
void Watch::lookAtSetsAlone() {
  for (Id const & id : std::exchange(setsAlone_, {})) touch(id);
  for (Chip const * const chip : host_.chips()) {
    for (auto const & entry : host_.hardware().entries(*chip)) {
      if (!entry.handle.isNull()) continue;
      Id const id{std::string(chip->name().view()), entry.key.sg, entry.key.vlanId};
      setsAlone_.insert(id);
      touch(id);
    }
  }
}

Watch::Standing Watch::now(Id const & id, Standing const & before) const {
  Standing after;
  auto const chips = host_.chips();
  auto const chip = std::find_if(chips.begin(), chips.end(),
                                 [&](Chip const * c) { return c->name().view() == id.chip; });
  if (chip == chips.end()) return after;
  after.handles = before.handles;
  auto const look = [&](Chip::Entry const & entry) {
    if (!entry.active) return;
    after.stands = true;
    auto const * const set = entry.oifSet ? &entry.oifSet->portVlanSet() : nullptr;
    after.drops = set && set->fastdropSet();
    after.outputs = set ? outputsText(outputsOf(*set), set->toCpu()) : "-";
  };
  for (U32 const handle : after.handles) {
    if (auto const entry = (*chip)->entry(RouteHandle{handle})) look(*entry);
  }
  if (setsAlone_.count(id)) {
    for (auto const & entry : host_.hardware().entries(**chip)) {
      if (entry.handle.isNull() && entry.key == Chip::Match{id.sg, id.vlan}) look(entry);
    }
  }
  return after;
}

void Watch::handleClock() {
  std::set<Id> const touched = std::move(touched_);
  touched_.clear();
  for (Id const & id : touched) {
    Standing & held = standing_[id];
    Standing const before = held;
    held = now(id, before);
    if (held.stands != before.stands || held.outputs != before.outputs) print(id, before, held);
    if (!held.stands && held.handles.empty()) standing_.erase(id);
  }
}

void Watch::print(Id const & id, Standing const & before, Standing const & after) {
  auto const text = [](Standing const & s) { return s.drops ? std::string("drop") : s.outputs; };
  char time[32];
  std::snprintf(time, sizeof time, "%.3f ", host_.now());
  auto & out = host_.out();
  out << time << id.chip << (after.stands ? (before.stands ? " ~ " : " + ") : " - ")
      << id.sg.pretty();
  if (id.vlan) out << " in " << id.vlan.value();
  if (before.stands) out << ": " << text(before);
  if (after.stands) out << (before.stands ? " -> " : ": ") << text(after);
  std::string const cause = causes_->of(id.sg, id.vlan, before.drops && !after.stands);
  if (!cause.empty()) out << "  <- " << cause;
  out << '\n';
}

}  // namespace Brindle::Sim
