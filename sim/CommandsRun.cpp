// The run itself: start, time, tables, scripts.
#include <cstring>
#include <fstream>

#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Import.h"
#include "sim/TableFiles.h"
#include "sim/Watch.h"

namespace Brindle::Sim {

namespace {

constexpr int maxNesting = 16;

void start(Host & host, Arguments const &) { host.start(); }

void settle(Host & host, Arguments const & arguments) {
  host.settle(arguments.given("SECONDS") ? arguments.seconds() : Host::longestSettling);
}

void clockAdvance(Host & host, Arguments const & arguments) { host.advance(arguments.seconds()); }

void clockReal(Host & host, Arguments const &) { host.followRealTimeIs(true); }

void clockSimulated(Host & host, Arguments const &) { host.followRealTimeIs(false); }

void clockReadCost(Host & host, Arguments const & arguments) {
  host.readCostIs(arguments.seconds());
}

void clockTurns(Host & host, Arguments const & arguments) { host.turns(arguments.number("N")); }

void reviewAll(Host & host, Arguments const &) { host.reviewAll(); }

void attach(Host & host, Arguments const & arguments) { host.attach(arguments.text("TABLE")); }

void detach(Host & host, Arguments const & arguments) { host.detach(arguments.text("TABLE")); }

void tablesPrivate(Host & host, Arguments const &) { host.privateTables(); }

void tablesDamage(Host &, Arguments const & arguments) {
  auto const & table = arguments.text("TABLE");
  auto const damage = arguments.has("cut") ? Damage::cutShort : Damage::replaced;
  if (arguments.has("bidir")) {
    damageBidirTable(table, arguments.has("ipv6") ? Nettle::ipv6() : Nettle::ipv4(), damage);
  } else {
    damageTable(table, damage);
  }
}

void publisherStart(Host & host, Arguments const & arguments) {
  host.publisherIs(arguments.text("TABLE"));
  host.attach(arguments.text("TABLE"));
}

void publisherStop(Host & host, Arguments const & arguments) {
  if (arguments.has("withdraw")) host.publisher(arguments.text("TABLE")).run("bidir remove");
  host.publisherDel(arguments.text("TABLE"));
  if (arguments.has("withdraw")) removeTable(arguments.text("TABLE"));
}

void publish(Host & host, Arguments const & arguments) {
  auto & publisher = host.publisher(arguments.text("TABLE"));
  host.out() << publisher.run(lineOf(arguments.texts("COMMAND")));
}

void import(Host & host, Arguments const & arguments) {
  importBox(host, readRecordedBox(arguments.text("DIR"), arguments.text("NAME", "")));
}

void source(Host & host, Arguments const & arguments) { runScript(host, arguments.text("FILE")); }

void echo(Host & host, Arguments const & arguments) {
  host.out() << joined(arguments.texts("TEXT")) << '\n';
}

void title(Host & host, Arguments const & arguments) {
  host.out() << "\n== " << joined(arguments.texts("TEXT")) << " ==\n\n";
}

void help(Host & host, Arguments const & arguments) {
  auto const & words = arguments.texts("COMMAND");
  host.out() << CommandTable(simCommands()).help(words);
}

void programmerKill(Host & host, Arguments const &) { host.killProgrammer(); }

void programmerStart(Host & host, Arguments const &) { host.startProgrammer(); }

void watch(Host & host, Arguments const & arguments) { host.watchIs(arguments.on()); }

void quit(Host & host, Arguments const &) { host.finishedIs(true); }

constexpr Command<Host> rows[] = {
    {"start", "Start the library on the switch; what needs it starts it, too.", start},
    {"settle [SECONDS]", "Let everything happen that is under way, for so long (60) at the most.",
     settle},
    {"clock advance SECONDS", "Move the simulated clock on.", clockAdvance},
    {"clock read-cost SECONDS",
     "Move the simulated clock by so much with each read, so that work is cut into small slices.",
     clockReadCost},
    {"clock real", "Let the clock follow the real one.", clockReal},
    {"clock simulated", "Let the clock stand still.", clockSimulated},
    {"clock turns N",
     "Let the loop make at most so many turns, as long as something is due now: work that is cut "
     "into slices is left in the middle.",
     clockTurns},
    {"review all", "Have every route computed anew.", reviewAll},
    {"programmer kill",
     "The programmer crashes: chips and what is published stay as they are. The resolver goes on.",
     programmerKill},
    {"programmer start", "Start it anew; what it finds in the chips goes.", programmerStart},
    {"import DIR [host NAME]", "Become the Linux box that is recorded there.", import},
    {"tables private", "Use route tables of this run's own, removed at its end.", tablesPrivate},
    {"tables damage TABLE [cut] [bidir [ipv6]]",
     "Put something else in the place of a table's routes, or cut their file short; or do so to a "
     "bidirectional group beside it. The table must have no publisher; its next one makes it anew.",
     tablesDamage},
    {"attach TABLE", "Read a publisher's table, such as pim.default.", attach},
    {"detach TABLE", "Read it no more.", detach},
    {"publisher start TABLE", "Start a brindle-publish on a table, and read it.", publisherStart},
    {"publisher stop TABLE [withdraw]",
     "End it; the table stays, unless it is to be taken away, too.", publisherStop},
    {"publish TABLE COMMAND...", "Have it carry out a command, such as route add.", publish},
    {"source FILE", "Run a script.", source},
    {"watch on|off",
     "Print a line for each change of what stands in hardware, with what caused it.", watch},
    {"echo [TEXT...]", "Print a line.", echo},
    {"title TEXT...", "Print a heading.", title},
    {"help [COMMAND...]", "List the commands that begin so.", help},
    {"quit", "End.", quit},
};

}  // namespace

void HostInterpreter::run(std::string_view line) {
  interpreter_.run(line);
  if (Watch * const watch = host_.watch()) watch->handleCommand(line);
}

void runScript(Host & host, std::string const & path) {
  static int nesting = 0;
  std::ifstream in(path);
  if (!in) throw CommandError(path + ": " + std::strerror(errno));
  if (nesting == maxNesting) throw CommandError(path + ": expected fewer scripts within scripts");
  HostInterpreter interpreter(host);
  struct Nesting {
    Nesting() { ++nesting; }
    ~Nesting() { --nesting; }
  } const deeper;
  runLines(in, path, [&](std::string const & line) {
    if (!host.finished()) interpreter.run(line);
  });
}

Subject<Host> const runCommands = {"Running", rows};

std::span<Subject<Host> const> simCommands() {
  static Subject<Host> const all[] = {
      runCommands,        bridgingCommands, lagCommands,   ipCommands,       prefixCommands,
      multicastCommands,  l2Commands,       groupCommands, boundaryCommands, bidirCommands,
      fastdropCommands,   platformCommands, asyncCommands, showCommands,     explainCommands,
      programmerCommands, checkCommands,    verifyCommands};
  return all;
}

}  // namespace Brindle::Sim
