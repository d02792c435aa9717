#include "sim/PublishCommands.h"

#include <utility>

namespace Brindle::Sim {

namespace {

void routeAdd(Publication & publication, Arguments const & arguments) {
  publication.later(
      [&table = publication.table(), spec = routeSpecOf(arguments)] { table.publish(spec); });
}

void routeDel(Publication & publication, Arguments const & arguments) {
  publication.later(
      [&table = publication.table(), key = arguments.routeKey()] { table.withdraw(key); });
}

void routeDelAll(Publication & publication, Arguments const &) {
  publication.table().withdrawAll();
  publication.publish();
}

void bidirGroup(Publication & publication, Arguments const & arguments, bool present) {
  for (auto const & group : arguments.groups()) {
    if (!Shoal::Multicast::Fib::isGroupRange(group)) {
      throw CommandError("expected a prefix of nothing but multicast groups");
    }
    publication.later([&table = publication.bidir().table(group.af()), group, present] {
      table.groupIs(group, present);
    });
  }
}

void bidirGroupAdd(Publication & publication, Arguments const & arguments) {
  bidirGroup(publication, arguments, true);
}

void bidirGroupDel(Publication & publication, Arguments const & arguments) {
  bidirGroup(publication, arguments, false);
}

// Without points the profile goes.
void bidirDf(Publication & publication, Arguments const & arguments) {
  Shoal::Multicast::Fib::DfProfile profile;
  for (U32 const point : arguments.numbers("POINT")) profile.bitmap |= U64{1} << point;
  auto const af = arguments.has("ipv6") ? Nettle::ipv6() : Nettle::ipv4();
  publication.later([&table = publication.bidir().table(af), intf = arguments.intf(), profile] {
    table.profileIs(intf, profile);
  });
}

void bidirDelAll(Publication & publication, Arguments const &) {
  publication.bidir().takeOver();
  for (auto * table : publication.bidir().tables()) table->withdrawAll();
  publication.publish();
}

void bidirRemove(Publication & publication, Arguments const &) { publication.bidir().remove(); }

void sync(Publication & publication, Arguments const &) {
  publication.publish();
  publication.out() << "deleted of an earlier run: " << publication.sweep() << '\n';
  publication.publish();
}

void show(Publication & publication, Arguments const &) {
  auto & table = publication.table();
  publication.out() << table.name() << ": " << table.routes() << " routes, " << table.outputs()
                    << " outputs; of an earlier run: " << table.stale() << '\n';
  for (auto * bidir : publication.bidir().tables()) publication.out() << bidir->summary() << '\n';
}

void showBidir(Publication & publication, Arguments const &) {
  publication.bidir().takeOver();
  for (auto * table : publication.bidir().tables()) {
    for (auto const & line : table->lines()) publication.out() << line << '\n';
  }
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
    {"bidir group add GROUP...",
     "Make groups bidirectional: in the VRF's table of their address family, which is taken over "
     "with the first word that is meant for it.",
     bidirGroupAdd},
    {"bidir group del GROUP...", "Make them so no more.", bidirGroupDel},
    {"bidir df add INTF POINT... [ipv6]",
     "Be designated forwarder on an interface, for these rendezvous points and no others.",
     bidirDf},
    {"bidir df del INTF [ipv6]", "Be it for none.", bidirDf},
    {"bidir del all", "Take back all that was said of bidirectional PIM.", bidirDelAll},
    {"bidir remove", "Take the tables of bidirectional PIM away that have been taken over.",
     bidirRemove},
    {"sync", "The first pass is over: what an earlier run left and this one did not have goes.",
     sync},
    {"show", "Say what the tables hold.", show},
    {"show routes", "Print each route as the command that makes it.", showRoutes},
    {"show bidir", "The same of what was said of bidirectional PIM.", showBidir},
    {"help [COMMAND...]", "List the commands that begin so.", help},
    {"quit", "End; the tables stay.", quit},
};

constexpr Subject<Publication> subjects[] = {{"Publishing routes", rows}};

void help(Publication & publication, Arguments const & arguments) {
  publication.out() << CommandTable(publishCommands()).help(arguments.texts("COMMAND"));
}

}  // namespace

void Publication::publish() {
  for (auto const & change : std::exchange(changes_, {})) change();
  table_.commit();
  for (auto * bidir : bidir_.tables()) bidir->commit();
}

std::size_t Publication::sweep() {
  std::size_t swept = table_.sweep();
  for (auto * bidir : bidir_.tables()) swept += bidir->sweep();
  return swept;
}

void Publication::remove() {
  bidir_.remove();
  table_.remove();
}

std::span<Subject<Publication> const> publishCommands() { return subjects; }

}  // namespace Brindle::Sim
