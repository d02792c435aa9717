#include "sim/TableFiles.h"

#include <filesystem>
#include <fstream>

#include "platform/ShoalFiles.h"
#include "sim/Words.h"
#include "state/ShmBidirStatus.h"
#include "state/ShmStatus.h"

namespace Brindle::Sim {

namespace {

using Shoal::Multicast::Fib::ShmStatusWriter;

// Holds the table until it has been dealt with.
Zet::Ptr<ShmStatusWriter> writerOf(std::string const & table) {
  try {
    return Zet::make<ShmStatusWriter>(ZetShoal::shoalRoot(), table);
  } catch (ZetShoal::ShoalError const & e) {
    throw CommandError(e.what());
  }
}

}  // namespace

void removeTable(std::string const & table) { writerOf(table)->remove(); }

void damageTable(std::string const & table, Damage damage) {
  auto const writer = writerOf(table);
  auto const dir = ZetShoal::shoalPath(ZetShoal::shoalRoot(), table);
  auto const file = ZetShoal::shoalMapPath(dir, Shoal::Multicast::Fib::wireRouteMaps[0].name);
  if (damage == Damage::cutShort) {
    std::filesystem::resize_file(file, 0);
    return;
  }
  std::string const other = file + ".next";
  std::ofstream(other) << "This is no table of routes.\n";
  std::filesystem::rename(other, file);
}

void damageBidirTable(std::string const & routeTable, Nettle::AddressFamily af, Damage damage) {
  using namespace Shoal::Multicast::Fib;
  L3::VrfName const vrf(std::string_view(routeTable).substr(routeTable.find('.') + 1));
  auto const table = ZetShoal::shoalTableName(bidirStatusPath(af, vrf));
  try {
    ZetShoal::ShoalWriterDir dir(ZetShoal::shoalRoot(), table, wireBidirType);
    ZetShoal::TableWriter<WirePrefix, WirePrefix> groups(dir, wireBidirGroupMap);
    ZetShoal::ShoalCursor first;
    WirePrefix key, record;
    if (!groups.next(first, key, record)) throw CommandError("expected a group in " + table);
    if (damage == Damage::cutShort) {
      std::filesystem::resize_file(ZetShoal::shoalMapPath(dir.path(), wireBidirGroupMap), 0);
    } else {
      groups.put(key, WirePrefix{});
    }
  } catch (ZetShoal::ShoalError const & e) {
    throw CommandError(e.what());
  }
}

}  // namespace Brindle::Sim
