// Commands: what a line must look like, what an error says of one that does not, what may follow.
#include <gtest/gtest.h>

#include "sim/CommandTable.h"

namespace Brindle::Sim {

namespace {

// What the commands below have been told.
using Told = std::string;

std::string list(std::vector<Nettle::IntfId> const & intfs) {
  std::string text;
  for (auto intf : intfs) text.append(" ").append(intf.view());
  return text;
}

constexpr Command<Told> rows[] = {
    {"vlan add VLAN...", "", [](Told & told, Arguments const &) { told += "vlans;"; }},
    {"vlan add VLAN port PORT... [tagged|untagged]", "",
     [](Told & told, Arguments const & a) {
       told += "ports" + list(a.intfs()) + (a.has("tagged") ? " tagged;" : ";");
     }},
    {"route SOURCE GROUP [iif IIF] [oif OIF...] [priority PRIORITY]", "",
     [](Told & told, Arguments const & a) {
       told += a.routeKey().pretty() + " iif " + std::string(a.intf("IIF").view()) + " oifs " +
               std::to_string(a.texts("OIF").size()) + " priority " +
               std::to_string(a.number("PRIORITY")) + ";";
     }},
    {"tell TABLE COMMAND...", "",
     [](Told & told, Arguments const & a) {
       told += a.text("TABLE") + std::to_string(a.texts("COMMAND").size()) + ";";
     }},
    {"show chip [CHIP] [--json]", "",
     [](Told & told, Arguments const & a) {
       told += a.text("CHIP", "all") + (a.has("--json") ? " json;" : ";");
     }},
};
constexpr Subject<Told> subjects[] = {{"Told", rows}};

std::string outcome(std::string const & line) {
  Told told;
  Interpreter<Told> interpreter(told, std::span<Subject<Told> const>(subjects));
  try {
    interpreter.run(line);
  } catch (std::exception const & e) {
    return std::string(e.what()) + told;
  }
  return told;
}

TEST(SimCommands, Lines) {
  struct {
    char const * line;
    char const * outcome;
  } const cases[] = {
      {"  # nothing", ""},
      {"vlan add 1 4094 # two", "vlans;"},
      {"vlan add 5 port p1 p2 tagged", "ports p1 p2 tagged;"},
      {"route * 239.1.1.1 oif a b=accept+forward iif et1",
       "(*, 239.1.1.1) iif et1 oifs 2 priority 0;"},
      {"route 10.0.0.0/8 232.1.1.1 priority 255",
       "(10.0.0.0/8, 232.1.1.1) iif  oifs 0 priority 255;"},
      {"tell pim.red vlan add tell \"a b\"", "pim.red4;"},
      {"show chip --json c0", "c0 json;"},
      {"show chip", "all;"},
      {"walk", "expected a command, found \"walk\"; help lists them"},
      {"vlan", "expected \"add\", found the end of the line"},
      {"vlan add", "expected a VLAN from 1 to 4094, found the end of the line"},
      {"vlan add x", "expected a VLAN from 1 to 4094, found \"x\""},
      {"vlan add 4095",
       "expected a VLAN from 1 to 4094, found \"4095\" (VlanId::value < 1 or > 4094 not allowed)"},
      {"vlan add 5 prt", "expected a VLAN from 1 to 4094 or \"port\", found \"prt\""},
      {"vlan add 5 port tagged", "expected a port, found \"tagged\""},
      {"vlan add 5 port p1 tagged untagged", "expected the end of the line, found \"untagged\""},
      {"route 10.0.0.1 10.0.0.2", "expected a multicast group, found \"10.0.0.2\""},
      {"route ::1 239.1.1.1",
       "expected source and group of one address family, found \"::1\" and \"239.1.1.1\""},
      {"route 10.0.0.1/8 239.1.1.1", "expected a source address, or *, found \"10.0.0.1/8\""},
      {"route * 239.1.1.1 oif a=sideways",
       "expected an output such as br100 or et1=accept+forward, found \"a=sideways\""},
      {"route * 239.1.1.1 priority 256", "expected a priority from 0 to 255, found \"256\""},
      {"tell default x", "expected a table, PROTOCOL.VRF, found \"default\""},
      {"tell ../x.y z", "expected a table, PROTOCOL.VRF, found \"../x.y\""},
      {"show chip \"c0", "expected a closing \" at the end of the line"},
  };
  for (auto const & c : cases) {
    EXPECT_EQ(outcome(c.line), c.outcome) << c.line;
  }
}

TEST(SimCommands, Continuations) {
  CommandTable const table{std::span<Subject<Told> const>(subjects)};
  using Words = std::vector<std::string>;
  EXPECT_EQ(table.continuations({"vlan", "add", "5"}), (Words{"VLAN", "port"}));
  EXPECT_EQ(table.continuations({"route", "*", "239.1.1.1", "oif", "a"}),
            (Words{"OIF", "iif", "priority"}));
  EXPECT_EQ(table.continuations({"vlan", "add", "x"}), Words{});
}

}  // namespace

}  // namespace Brindle::Sim
