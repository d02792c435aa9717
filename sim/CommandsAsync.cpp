// Chips that answer later: which kind there is, how they answer and fail, and what waits for what.
#include "sim/AsyncChip.h"
#include "sim/AsyncViews.h"
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Render.h"

namespace Brindle::Sim {

namespace {

[[noreturn]] void refuseSync() {
  throw CommandError("expected chips that answer later: say \"fabric async\" first");
}

AsyncChip & asyncChip(Host & host, std::string const & name) {
  auto * const chip = dynamic_cast<AsyncChip *>(&host.chip(name));
  if (!chip) refuseSync();
  return *chip;
}

AsyncChip & asyncChip(Host & host, Arguments const & arguments) {
  return asyncChip(host, arguments.text("CHIP"));
}

void fabric(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the kind of the chips");
  if (!host.chips().empty()) throw CommandError("expected the kind of the chips before the first");
  bool const async = arguments.has("async");
  bool const unknownEntries = arguments.has("unknown-entries");
  if (unknownEntries && !async) refuseSync();
  host.hardwareIs(async ? makeAsyncHardware(unknownEntries) : makeSyncHardware());
}

Answers::Order orderOf(Arguments const & arguments) {
  if (arguments.has("random")) return Answers::random;
  return arguments.has("lifo") ? Answers::lifo : Answers::fifo;
}

void chipAnswers(Host & host, Arguments const & arguments) {
  Answers answers;
  answers.when = arguments.has("at-once")      ? Answers::atOnce
                 : arguments.has("on-command") ? Answers::onCommand
                                               : Answers::later;
  if (arguments.given("SECONDS")) answers.delay = arguments.seconds();
  answers.order = orderOf(arguments);
  answers.failPercent = arguments.number("PERCENT");
  answers.seed = arguments.number("N", answers.seed);
  asyncChip(host, arguments).answersIs(answers);
}

void chipFail(Host & host, Arguments const & arguments) {
  AsyncChip & chip = asyncChip(host, arguments);
  if (arguments.has("sets")) {
    chip.failOifSetImmediateIs(arguments.on());
  } else {
    chip.failIngressImmediateIs(arguments.on());
  }
}

void chipLimit(Host & host, Arguments const & arguments) {
  AsyncChip & chip = asyncChip(host, arguments);
  U32 const most = arguments.number("N");
  if (arguments.has("sets")) return chip.setCapacityIs(most);
  if (arguments.has("routes")) return chip.routeCapacityIs(most);
  chip.ingressCapacityIs(most);
}

Keel::XactResult resultOf(Arguments const & arguments) {
  return arguments.has("ok") ? Keel::XactResult::success : Keel::XactResult::failure;
}

void xactAll(Host & host, Arguments const & arguments) {
  std::vector<AsyncChip *> chips;
  if (arguments.given("CHIP")) {
    chips.push_back(&asyncChip(host, arguments));
  } else {
    for (Chip * chip : host.chips()) {
      chips.push_back(&asyncChip(host, std::string(chip->name().view())));
    }
  }
  for (AsyncChip * chip : chips) chip->endAll(resultOf(arguments));
}

void xactOne(Host & host, Arguments const & arguments) {
  AsyncChip & chip = asyncChip(host, arguments);
  U32 const id = arguments.number("N");
  bool const isSet = arguments.has("set");
  RouteHandle const handle = isSet ? RouteHandle() : chip.handleOf(id);
  if ((!isSet && handle.isNull()) || !chip.isOpen(id, handle)) {
    throw CommandError("expected a transaction that is open, found " + arguments.text("N"));
  }
  if (!chip.answering().end(id, handle, resultOf(arguments))) {
    throw CommandError("expected the transaction of its set to have succeeded first");
  }
}

void review(Host & host, Arguments const & arguments) {
  auto * const config = host.hardware().reviewConfig();
  if (!config) refuseSync();
  config->reviewFreqIs(arguments.on() ? mrouteReviewEnabled : mrouteReviewDisabled);
}

void showTransactions(Host & host, Arguments const & arguments) {
  auto const transactions = transactionViews(host);
  if (arguments.has("--json")) {
    host.out() << toJson(transactions).dump(2) << '\n';
  } else {
    print(host.out(), transactions);
  }
}

void expectTransactions(Host & host, Arguments const & arguments) {
  U32 open = 0;
  for (auto const & view : transactionViews(host)) {
    open += view.result == Keel::XactResult::outstanding;
  }
  if (open != arguments.number("N")) {
    throw CommandError("expected " + arguments.text("N") + " open transactions, found " +
                       std::to_string(open));
  }
  host.out() << "ok: open transactions: " << open << '\n';
}

constexpr Command<Host> rows[] = {
    {"fabric sync|async [unknown-entries]",
     "Before the first chip: chips answer at once, or later, to a programmer of their own; then "
     "floodsets of unknown multicast may have entries, too.",
     fabric},
    {"chip answers CHIP after SECONDS [order fifo|lifo|random] [fail PERCENT] [seed N]",
     "It ends transactions so much later (0.001), those that are due together in that order; so "
     "many of a hundred fail.",
     chipAnswers},
    {"chip answers CHIP at-once [fail PERCENT] [seed N]",
     "It ends transactions before the call returns.", chipAnswers},
    {"chip answers CHIP on-command", "It leaves transactions open: xact ends them.", chipAnswers},
    {"chip fail CHIP sets|ingress on|off",
     "It refuses each new set, or each pointing of an entry at a set, or does so no more.",
     chipFail},
    {"chip limit CHIP sets|routes|ingress N",
     "At most so many sets, entries, or entries that point at a set; the last one that a call lets "
     "in fails later, but for routes.",
     chipLimit},
    {"xact ok|fail [CHIP]", "End all transactions that are open, or those of a chip.", xactAll},
    {"xact ok|fail CHIP set|ingress N", "End one: of a set, or of the pointing of an entry.",
     xactOne},
    {"review on|off", "The programmer works, or keeps all changes back.", review},
    {"show transactions [--json]", "Which routes wait for which transactions, and these for which.",
     showTransactions},
    {"expect transactions N", "Routes wait for so many that are open.", expectTransactions},
};

}  // namespace

Subject<Host> const asyncCommands = {"Chips that answer later", rows};

}  // namespace Brindle::Sim
