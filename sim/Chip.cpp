#include "sim/Chip.h"

namespace Brindle::Sim {

std::vector<Chip::Entry> Chip::entries() const {
  std::vector<Entry> out;
  for (auto const & entry : written()) {
    if (auto const here = seen(entry)) out.push_back(*here);
  }
  return out;
}

std::optional<Chip::Entry> Chip::entry(RouteHandle handle) const {
  auto const entry = written(handle);
  return entry ? seen(*entry) : std::nullopt;
}

void Chip::tamper(Entry const & entry, Tamper const & tamper) {
  tampering_.tamper(entry, tamper);
  tellOfAll();  // others may share its set
}

void Chip::restore() {
  tampering_.clear();
  tellOfAll();
}

void Chip::tellOfAll() const {
  for (auto const & entry : written()) tellObserver(entry.handle, entry.key);
}

}  // namespace Brindle::Sim
