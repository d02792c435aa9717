// The writing side of a shared-memory table, over bytes; ShoalTable.h has the typed form.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/ShoalFiles.h"
#include "platform/ShoalSegment.h"

namespace ZetShoal {

// A table as its one writer holds it: a directory <root>/<name> with one file a map, and
//
//   lock   held by flock(2), so that the kernel gives it up when the writer dies;
//   bell   written by commit(); readers wait for that through inotify(7).
//
// The files stay when the writer goes: the next one takes the table over with its records. A
// child that the writer forks without exec shares the lock and keeps it while it lives.
class BRINDLE_API ShoalWriterDir {
 public:
  // Makes the directories that are missing. Throws ShoalError: "... is being written by another
  // process", a bad name, what the system refuses. `type` (at most 63 bytes) says what the table
  // holds; readers that expect another type refuse it.
  ShoalWriterDir(std::string const & root, std::string const & name, std::string const & type);
  // Commits.
  ~ShoalWriterDir();
  ShoalWriterDir(ShoalWriterDir const &) = delete;
  ShoalWriterDir & operator=(ShoalWriterDir const &) = delete;

  // Wakes the readers if anything has changed since the last call: once a batch. They can see each
  // change as soon as it is made; this only tells them to look. About a microsecond.
  void commit();
  // Takes the whole table out of the file system; readers are told that all its keys have gone.
  // Nothing may be written through this object or its maps any more.
  void remove();

  std::string const & path() const { return path_; }
  std::string const & type() const { return type_; }

 private:
  friend class ShoalWriter;
  void lock();
  bool ring();

  std::string const path_;
  std::string const type_;
  OpenFile lock_;
  OpenFile bell_;
  bool changed_ = false;
};

// One map of a table. Keys and records are bytes of the sizes given; see ShoalSegment.h for what a
// reader finds when this process dies in the middle of any operation.
class BRINDLE_API ShoalWriter {
 public:
  // Takes over the map with its records if it stands, and starts a new epoch: readers walk it once,
  // since the last writer may have died between a change and its announcement. A file that is not
  // such a map is replaced by an empty one; discarded() then says why. `slots` is the room to start
  // with; a map that is full moves to a larger file by itself. Throws ShoalError.
  ShoalWriter(ShoalWriterDir & dir, std::string const & map, U32 keySize, U32 recordSize,
              U32 slots = ShoalSegment::minSlots);

  std::string const & discarded() const { return discarded_; }
  // Whether all keys of a map that was taken over can be found in it, and its changes be followed.
  bool intact() const;
  // Puts an empty file in the place of one in which something is wrong: readers that have refused
  // it look at the new one.
  void discard(std::string const & reason);

  // False, and nobody is told, if the key holds this very record. Throws ShoalError if the map is
  // full and there is no memory for a larger one, or if its file was cut short by another process;
  // the map then stands as before.
  bool put(void const * key, void const * record);
  // False if the key was absent.
  bool del(void const * key);
  bool read(void const * key, void * record) const;
  // The next present member behind the cursor, in the map's own order (of first use).
  bool next(ShoalCursor & cursor, void * key, void * record) const;
  U32 size() const { return segment_->size(); }

 private:
  void takeOver();
  void startAnew(U32 slots);
  void succeed();
  U64 keepUntold(std::vector<U32> & places) const;
  U32 roomFor(U32 kept) const;
  void copyMembers(ShoalSegment & to, std::vector<U32> const & places) const;
  void publish(std::shared_ptr<ShoalSegment> segment, U32 used);
  void changed(U32 slot);
  void throwUnlessSound() const;

  ShoalWriterDir & dir_;
  std::string const path_;
  ShoalShape const shape_;
  std::string discarded_;
  std::shared_ptr<ShoalSegment> segment_;
  U32 used_ = 0;  // slots, with those of deleted keys
};

}  // namespace ZetShoal
