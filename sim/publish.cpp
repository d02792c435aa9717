// brindle-publish: writes a table of routes into shared memory, as a routing protocol does, and the
// tables of bidirectional PIM. The routes come from a file, from its input, or are made up.
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <csignal>
#include <fstream>
#include <iostream>

#include "platform/ShoalFiles.h"
#include "sim/Arguments.h"
#include "sim/PublishCommands.h"
#include "sim/RouteGenerator.h"

namespace {

using namespace Brindle::Sim;

struct Options {
  std::string protocol = "pim";
  std::string vrf = "default";
  std::string table;
  std::string file;
  RouteGenerator::Plan plan;
  std::string iifs = "Vlan[1-4]";
  std::string outs = "Vlan[101-164]";
  double rate = 0;
  double churn = 0;
  bool once = false;
  bool withdraw = false;

  std::string tableName() const { return table.empty() ? protocol + "." + vrf : table; }
};

// SIGINT and SIGTERM, as a descriptor.
class StopSignals {
 public:
  StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    fd_ = ZetShoal::OpenFile(signalfd(-1, &signals, SFD_CLOEXEC));
  }
  int fd() const { return fd_.fd(); }
  // Waits so long, or for ever if that is negative; true if there was a signal.
  bool wait(std::chrono::milliseconds time) const {
    pollfd poll{fd(), POLLIN, 0};
    return ::poll(&poll, 1, static_cast<int>(time.count())) > 0;
  }

 private:
  ZetShoal::OpenFile fd_;
};

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point const start_ = std::chrono::steady_clock::now();
};

// Does `item` so often a second until `count` are done or a signal comes: then false. At rate 0
// as fast as it can.
template <class Item>
bool paced(StopSignals const & stop, PublishedTable & table, double rate, double count, Item item) {
  constexpr double batch = 256;
  Stopwatch const watch;
  for (double done = 0; done < count;) {
    double const due = rate > 0 ? std::floor(watch.seconds() * rate) : done + batch;
    for (double const end = std::min(due, count); done < end; ++done) item();
    table.commit();
    using std::chrono::milliseconds;
    if (stop.wait(rate > 0 && done < count ? milliseconds(10) : milliseconds(0))) return false;
  }
  return true;
}

void report(PublishedTable & table, std::size_t swept, double seconds) {
  std::cout << table.name() << ": " << table.routes() << " routes, " << table.outputs()
            << " outputs, in " << std::round(seconds * 1000) / 1000 << " s";
  if (swept) std::cout << "; deleted of an earlier run: " << swept;
  std::cout << std::endl;
}

void apply(PublishedTable & table, RouteGenerator::Change const & change) {
  if (change.present) {
    table.publish(change.spec);
  } else {
    table.withdraw(change.spec.key());
  }
}

// The first pass; then changes, until told to stop.
void publishGenerated(Options const & options, StopSignals const & stop, PublishedTable & table,
                      RouteGenerator & generator) {
  Stopwatch const watch;
  U32 next = 0;
  bool const whole = paced(stop, table, options.rate, generator.size(),
                           [&] { table.publish(generator.route(next++)); });
  auto const swept = whole ? table.sweep() : 0;
  table.commit();
  report(table, swept, watch.seconds());
  if (!whole || options.once) return;
  if (options.churn <= 0) {
    stop.wait(std::chrono::milliseconds(-1));
    return;
  }
  U64 changes = 0;
  paced(stop, table, options.churn, HUGE_VAL, [&] {
    apply(table, generator.nextChange());
    ++changes;
  });
  std::cout << table.name() << ": " << changes << " changes" << std::endl;
}

void publishFile(Options const & options, StopSignals const & stop, Publication & publication) {
  Stopwatch const watch;
  std::ifstream in(options.file);
  if (!in) throw CommandError(options.file + ": " + std::strerror(errno));
  Interpreter<Publication> interpreter(publication, publishCommands());
  runLines(in, options.file, [&](std::string const & line) { interpreter.run(line); });
  publication.publish();
  auto const swept = publication.sweep();
  publication.publish();
  report(publication.table(), swept, watch.seconds());
  for (auto const * bidir : publication.bidir().tables()) {
    std::cout << bidir->summary() << std::endl;
  }
  if (!options.once) stop.wait(std::chrono::milliseconds(-1));
}

// One command, and its answer: what it prints, then "ok" or "error: ...".
void answer(Publication & publication, Interpreter<Publication> & interpreter,
            std::string const & line) {
  try {
    interpreter.run(line);
    publication.publish();
    std::cout << "ok" << std::endl;
  } catch (std::exception const & e) {
    std::cout << "error: " << e.what() << std::endl;
  }
}

// Until the input ends, a signal comes or the commands say so.
void publishCommanded(StopSignals const & stop, Publication & publication) {
  Interpreter<Publication> interpreter(publication, publishCommands());
  std::cout << "ok" << std::endl;
  std::string unread;
  pollfd polls[] = {{STDIN_FILENO, POLLIN, 0}, {stop.fd(), POLLIN, 0}};
  while (!publication.finished() && poll(polls, 2, -1) >= 0 && !polls[1].revents) {
    char bytes[65536];
    auto const count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) return;
    unread.append(bytes, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (auto end = unread.find('\n'); end != unread.npos && !publication.finished();
         end = unread.find('\n', begin)) {
      answer(publication, interpreter, unread.substr(begin, end - begin));
      begin = end + 1;
    }
    unread.erase(0, begin);
  }
}

// Before a table is opened: one that is taken over loses what is not published again.
void check(Options const & options) {
  std::string const table = options.tableName();
  ValueKind const & kind = valueKind("TABLE");
  if (!kind.accepts(table)) {
    throw CommandError("expected " + std::string(kind.expected) + ", found \"" + table + "\"");
  }
  if (options.file.empty() && options.plan.routes == 0 && options.plan.groups == 0) {
    throw CommandError("nothing to publish: name a file of routes, - for commands, or --routes");
  }
}

void run(Options & options) {
  check(options);
  StopSignals const stop;
  if (options.file == "-") {
    PublishedTable table(options.tableName(), ZetShoal::ShoalSegment::minSlots);
    Publication publication(table, std::cout);
    publishCommanded(stop, publication);
    if (options.withdraw) publication.remove();
    return;
  }
  options.plan.iifs = intfsOf(options.iifs);
  options.plan.outs = intfsOf(options.outs);
  if (options.plan.groups == 0) options.plan.groups = std::max(options.plan.routes, 1u);
  RouteGenerator generator(options.plan);
  PublishedTable table(options.tableName(), std::max(generator.size(), 16u));
  Publication publication(table, std::cout);
  if (options.file.empty()) {
    publishGenerated(options, stop, table, generator);
  } else {
    publishFile(options, stop, publication);
  }
  if (options.withdraw) publication.remove();
}

void describe(CLI::App & app, Options & options) {
  app.add_option("file", options.file,
                 "File of routes, or - for commands from the input (try: help)");
  app.add_option("--protocol", options.protocol, "The protocol that publishes")
      ->capture_default_str();
  app.add_option("--vrf", options.vrf, "The VRF of the routes")->capture_default_str();
  app.add_option("--table", options.table, "The table's whole name, instead of PROTOCOL.VRF");
  app.add_option("--routes", options.plan.routes, "Make up so many (S,G) routes");
  app.add_option("--groups", options.plan.groups, "... of so many groups (default: one each)");
  app.add_option("--oifs", options.plan.oifs, "... with so many outputs each")
      ->capture_default_str();
  app.add_flag("--star", options.plan.starG, "... and a (*,G) route for each group");
  app.add_option("--iif", options.iifs, "Their accepting interfaces")->capture_default_str();
  app.add_option("--oif", options.outs, "Their output interfaces")->capture_default_str();
  app.add_option("--priority", options.plan.priority, "Their priority");
  app.add_option("--seed", options.plan.seed, "The same seed gives the same routes and changes")
      ->capture_default_str();
  app.add_option("--rate", options.rate, "Publish so many routes a second (default: no limit)");
  app.add_option("--churn", options.churn, "Then change so many routes a second");
  app.add_flag("--once", options.once, "Leave after the first pass; the table stays");
  app.add_flag("--withdraw", options.withdraw, "Take the table away at the end");
}

}  // namespace

int main(int argc, char ** argv) {
  CLI::App app{
      "Publishes multicast routes in shared memory until told to stop (SIGINT, SIGTERM). "
      "Another run takes the table over."};
  Options options;
  options.plan.oifs = 8;
  options.plan.groups = 0;
  describe(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    run(options);
  } catch (std::exception const & e) {
    std::cerr << "brindle-publish: " << e.what() << std::endl;
    return 1;
  }
  return 0;
}
