#include "tests/simulation/Lab.h"

#include <algorithm>

#include "platform/ShoalFiles.h"
#include "tests/simulation/ComparisonFloodsets.h"

namespace Simulation {

using namespace Brindle::Sim;

Lab::Publisher::Publisher(std::string const & name)
    : table(name, ZetShoal::ShoalSegment::minSlots),
      publication(table, out),
      interpreter(publication, publishCommands()) {}

Lab::Lab() : host_(out_), interpreter_(host_, simCommands()) {}

bool Lab::run(std::string const & line) {
  auto const words = wordsOf(line);
  if (words.empty()) return true;
  try {
    carryOut(line, words);
  } catch (CommandError const & e) {
    traceText(e.what());
    return false;
  }
  note(words);
  if (words[0] == "settle" || line == healed || line == emptied) compare();
  if (wrong_.empty() && line == emptied) wrong_ = leftovers(host_);
  traceText(out_.str());
  out_.str("");
  return true;
}

void Lab::carryOut(std::string const & line, std::vector<std::string> const & words) {
  if (line == "tables private") return;
  bool const start = words.size() == 3 && words[0] == "publisher" && words[1] == "start";
  if (words[0] == "publish" && words.size() > 2) {
    publish(words);
  } else if (start) {
    bool const stands = std::any_of(publishers_.begin(), publishers_.end(), [&](auto const & one) {
      return one->table.name() == words[2];
    });
    if (!stands) publishers_.push_back(std::make_unique<Publisher>(words[2]));
    host_.attach(words[2]);
  } else {
    interpreter_.run(line);
  }
}

void Lab::publish(std::vector<std::string> const & words) {
  for (auto const & one : publishers_) {
    if (one->table.name() != words[1]) continue;
    one->interpreter.run(lineOf({words.begin() + 2, words.end()}));
    return one->publication.publish();
  }
  throw CommandError("no such publisher");
}

// What later comparisons have to know.
void Lab::note(std::vector<std::string> const & words) {
  std::string const verb = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  if (verb == "chip add" && host_.started()) {
    lateChips_.insert(words[2]);
    reviewed_ = false;
  }
  if (verb == "chip del") lateChips_.erase(words[2]);
  bool const sized = std::find(words.begin(), words.end(), "routes") != words.end();
  if (verb == "chip refuse" || verb == "chip set" || (verb == "chip add" && sized)) {
    failuresExpected_ = true;
  }
  if (verb == "echo healed") failuresExpected_ = false;
  if (verb == "review all") reviewed_ = true;
  if (verb == "settle" && reviewed_) lateChips_.clear();
}

std::vector<ReadTable> Lab::readTables() const {
  auto const attached = host_.tables();
  std::vector<ReadTable> out;
  for (auto const & one : publishers_) {
    if (std::find(attached.begin(), attached.end(), one->table.name()) == attached.end()) continue;
    out.push_back({one->table.name(), &one->table.status()});
  }
  return out;
}

void Lab::compare() {
  auto const tables = readTables();
  Comparison::Circumstances const circumstances{lateChips_, failuresExpected_, unnoticed_};
  Comparison comparison(host_, Oracle(host_, tables).routes(), circumstances);
  FloodsetComparison floodsets(host_, FloodsetOracle(host_).floodsets(), circumstances);
  wrong_ = comparison.differences() + floodsets.differences();
  traceText(comparison.shown() + floodsets.shown());
  unnoticed_ = comparison.unnoticed();
  ++comparisons_;
  routesCompared_ += comparison.routes() + floodsets.routes();
}

// FNV-1a.
void Lab::traceText(std::string const & text) {
  for (char c : text) trace_ = (trace_ ^ static_cast<U8>(c)) * 0x100000001b3;
}

}  // namespace Simulation
