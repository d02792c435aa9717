// Shared-memory tables between processes: one writer, any number of readers.
//
// A table is a directory under one root (shoalRoot()); it holds one or more maps from a key to a
// record, each a file of shared memory. The writer:
//
//   ShoalWriterDir dir(shoalRoot(), "pim.default", "Routes/1");        // takes the table's lock
//   TableWriter<Index, Interface> interfaces(dir, "interfaces");
//   TableWriter<RouteKey, Route> routes(dir, "routes");
//   interfaces.put(index, interface);                                  // before what names it
//   routes.put(key, route);
//   dir.commit();                                                      // once a batch
//
// A reader, in the activity loop that polls watch.fd():
//
//   ShoalWatch watch;                                                  // one for all tables
//   ShoalReaderDir dir(watch, shoalRoot(), "pim.default", "Routes/1");
//   TableReader<Index, Interface> interfaces(dir, "interfaces", ShoalFollow::values);
//   TableReader<RouteKey, Route> routes(dir, "routes");
//
//   watch.collect();                                                   // when readable
//   if (dir.due()) {                                                   // one turn of this table
//     dir.refresh();
//     if (!dir.refusal().empty()) ...                                  // its keys have all gone
//     for (U32 n = 0; n < 256 && routes.nextChange(key); ++n) ...      // routes.read(key, route)
//   }
//
// The first turn follows at once on the making of the reader. What one turn does not hand over
// stays pending, and the table due(): the descriptor does not become readable again for it.
//
// The bytes of key and record cross as they are, so both must be plain data in which each bit
// pattern is a value of its own: no padding (name it and keep it 0), no pointers, no floating
// point. No bool and no enumeration either, where the reader cannot trust the writer: an integer
// that it checks. Both sides are built for the same machine; the sizes and the table's type are
// checked, so the type's text changes with the layout.
#pragma once

#include <string>
#include <type_traits>

#include "platform/ShoalReader.h"
#include "platform/ShoalWatch.h"
#include "platform/ShoalWriter.h"

namespace ZetShoal {

template <class T>
concept ShoalData = std::is_trivially_copyable_v<T> && std::has_unique_object_representations_v<T>;

// One map of a table, for its writer. Keys are compared by their bytes and hashed by the transport
// itself, not by their hash(): two builds must find the same record at the same place.
template <ShoalData K, ShoalData V> class TableWriter {
 public:
  // See ShoalWriter for the errors and for what is kept of a map that stands.
  TableWriter(ShoalWriterDir & dir, std::string const & map, U32 slots = ShoalSegment::minSlots)
      : map_(dir, map, sizeof(K), sizeof(V), slots) {}

  // False, and nobody is told, if the key holds an equal record.
  bool put(K const & key, V const & value) { return map_.put(&key, &value); }
  // False if the key was absent.
  bool del(K const & key) { return map_.del(&key); }
  bool read(K const & key, V & value) const { return map_.read(&key, &value); }
  bool next(ShoalCursor & cursor, K & key, V & value) const {
    return map_.next(cursor, &key, &value);
  }
  U32 size() const { return map_.size(); }
  // Why a file that stood in the map's place was thrown away; empty if none was.
  std::string const & discarded() const { return map_.discarded(); }
  bool intact() const { return map_.intact(); }
  void discard(std::string const & reason) { map_.discard(reason); }

 private:
  ShoalWriter map_;
};

// One map of a table, for a reader. See ShoalReader for what is promised of changes and walks.
template <ShoalData K, ShoalData V> class TableReader {
 public:
  TableReader(ShoalReaderDir & dir, std::string const & map,
              ShoalFollow follow = ShoalFollow::changes)
      : map_(dir, map, sizeof(K), sizeof(V), follow) {}

  // The value now; false if the key is absent or the table refused.
  bool read(K const & key, V & value) { return map_.read(&key, &value); }
  // The next key that was written or deleted; false if there is none now.
  bool nextChange(K & key) { return map_.nextChange(&key); }
  bool pending() const { return map_.pending(); }
  // The next present member of a walk; see ShoalCursor.
  bool next(ShoalCursor & cursor, K & key, V & value) { return map_.next(cursor, &key, &value); }
  U32 size() { return map_.size(); }
  U32 walks() const { return map_.walks(); }
  U32 losses() const { return map_.losses(); }
  void refuseValue(std::string const & reason) { map_.refuseValue(reason); }
  void refuseKey(std::string const & reason) { map_.refuseKey(reason); }

 private:
  ShoalReader map_;
};

}  // namespace ZetShoal
