#include "sim/PublishCommands.h"

namespace Brindle::Sim {

namespace {

void routeAdd(Publication & publication, Arguments const & arguments) {
  publication.publishLater(routeSpecOf(arguments));
}

void routeDel(Publication & publication, Arguments const & arguments) {
  publication.withdrawLater(arguments.routeKey());
}

void routeDelAll(Publication & publication, Arguments const &) {
  publication.table().withdrawAll();
  publication.publish();
}

void sync(Publication & publication, Arguments const &) {
  publication.publish();
  publication.out() << "deleted of an earlier run: " << publication.table().sweep() << '\n';
  publication.publish();
}

void show(Publication & publication, Arguments const &) {
  auto & table = publication.table();
  publication.out() << table.name() << ": " << table.routes() << " routes, " << table.outputs()
                    << " outputs; of an earlier run: " << table.stale() << '\n';
}

void showRoutes(Publication & publication, Arguments const &) {
  for (auto const & line : publication.table().lines()) publication.out() << line << '\n';
}

void help(Publication & publication, Arguments const & arguments);

void quit(Publication & publication, Arguments const &) { publication.finishedIs(true); }

constexpr Command<Publication> rows[] = {
    {routeSyntax,
     "Publish a route. An output has the form INTF, or INTF=PROPERTY+... of forward, accept, "
     "notify, no-rpf, fastdrop, frr; hold keeps a (*,G) route from being installed.",
     routeAdd},
    {"route del SOURCE GROUP", "Withdraw a route.", routeDel},
    {"route del all", "Withdraw all routes.", routeDelAll},
    {"sync", "The first pass is over: routes of an earlier run that it did not have go.", sync},
    {"show", "Say what the table holds.", show},
    {"show routes", "Print each route as the command that makes it.", showRoutes},
    {"help [COMMAND...]", "List the commands that begin so.", help},
    {"quit", "End; the table stays.", quit},
};

constexpr Subject<Publication> subjects[] = {{"Publishing routes", rows}};

void help(Publication & publication, Arguments const & arguments) {
  publication.out() << CommandTable(publishCommands()).help(arguments.texts("COMMAND"));
}

}  // namespace

void Publication::withdrawLater(Routing::Multicast::Fib::IpGenRouteKey const & key) {
  changes_.push_back({RouteSpec{Shoal::Multicast::Fib::Route(key), {}}, false});
}

void Publication::publish() {
  auto const changes = std::move(changes_);
  changes_.clear();
  for (auto const & change : changes) {
    if (change.present) {
      table_.publish(change.spec);
    } else {
      table_.withdraw(change.spec.key());
    }
  }
  table_.commit();
}

std::span<Subject<Publication> const> publishCommands() { return subjects; }

}  // namespace Brindle::Sim
