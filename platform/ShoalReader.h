// The reading side of a shared-memory table, over bytes; ShoalTable.h has the typed form and shows
// a reader's turn.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/ShoalFiles.h"
#include "platform/ShoalSegment.h"
#include "platform/ShoalWatch.h"

namespace ZetShoal {

class ShoalReader;

// What the owner of a map wants of it: to be told each key that changes, or only to read values.
enum class ShoalFollow { changes, values };

// A table as one of its readers holds it. It may be made before the table is, outlives the table's
// removal, and follows whatever takes its place. It writes nothing to the file system.
//
// A table of which any file is not what it should be, or is cut short while it is mapped, is
// refused as a whole: refusal() says why, all reads miss, and no further change is handed over.
// The owner then takes it that every key it had from this table has gone. The refusal ends in a
// refresh() that finds another file, or none, in the place of the bad one; not before the owner has
// had a turn in which it could see the refusal.
class BRINDLE_API ShoalReaderDir {
 public:
  // Throws ShoalError for a bad name only. `type` is what the table must hold.
  ShoalReaderDir(ShoalWatch & watch, std::string const & root, std::string const & name,
                 std::string const & type);
  ~ShoalReaderDir();
  ShoalReaderDir(ShoalReaderDir const &) = delete;
  ShoalReaderDir & operator=(ShoalReaderDir const &) = delete;

  // Whether a turn is worth while: files have come or gone, the table has been refused, or a map
  // has changes to hand over. Holds after a turn that left some of them: the descriptor does not
  // become readable again for those.
  bool due() const;
  // To be called at the start of each turn, before a look at refusal(): looks after files that have
  // come or gone.
  void refresh();
  // Whether a map of the table stands and can be read.
  bool present() const;
  // Why the table is refused; empty if it is not.
  std::string const & refusal() const { return refusal_; }

  std::string const & path() const { return path_; }
  std::string const & type() const { return type_; }

 private:
  friend class ShoalReader;
  friend class ShoalWatch;
  void openMaps();
  void refuse(std::string const & path, std::string const & reason,
              std::shared_ptr<ShoalSegment> culprit);

  ShoalWatch & watch_;
  std::string const path_;
  std::string const type_;
  std::vector<ShoalReader *> maps_;
  bool filesMoved_ = true;
  std::string refusal_;
  bool refusalUnseen_ = false;
  std::string culpritPath_;
  std::shared_ptr<ShoalSegment> culprit_;
};

// One map of a table. Values are read by copy, each as it is now, never as it was when a change of
// it was announced. What a writer wrote into one map before it wrote into another is seen in that
// order, also when a map moves to a larger file in between.
//
// Changes: nextChange() hands over each key that was written or deleted since it was last handed
// over, and at first each key of the table. Where the announcements were lost (the reader was
// lapped, a new writer took the table over, the table was removed and made anew) it hands over all
// keys that the table has and all that it had when it was last followed, deleted ones too. A key
// may come more often than it changed, and in slices of any size: the walk goes on where it was.
class BRINDLE_API ShoalReader {
 public:
  ShoalReader(ShoalReaderDir & dir, std::string const & map, U32 keySize, U32 recordSize,
              ShoalFollow follow = ShoalFollow::changes);
  ~ShoalReader();
  ShoalReader(ShoalReader const &) = delete;
  ShoalReader & operator=(ShoalReader const &) = delete;

  bool read(void const * key, void * record);
  // See ShoalSegment.
  void prefetchIndex(void const * key) const {
    if (live_) live_->prefetchIndex(key);
  }
  void prefetchSlot(void const * key) const {
    if (live_) live_->prefetchSlot(key);
  }
  // The next key whose value is to be looked up; false if there is none now.
  bool nextChange(void * key);
  // Where that key stands; where a key stands now, if it does.
  ShoalCursor changeAt() const { return changeAt_; }
  ShoalCursor find(void const * key);
  // Reads there without a search. REQUIRES: `recordSize` is that of the map. False also where only
  // a search can tell.
  template <U32 recordSize> bool readAt(ShoalCursor const & at, void * record) const {
    return live_ && !live_->retired() && live_->serial() == at.segment &&
           live_->readSized<recordSize>(at.slot, record);
  }
  bool pending() const;
  // The next present member behind the cursor, in the map's own order (of first use).
  bool next(ShoalCursor & cursor, void * key, void * record);
  U32 size();
  // How often it has begun to hand over all keys: at first, and when announcements were lost.
  U32 walks() const { return walks_; }
  // Whether it does so now: the last key that was handed over may not have changed.
  bool walking() const { return walk_ != ShoalSegment::noSlot; }
  // How often a file has come and gone between two turns that held keys of which no file knows any
  // more: who has read such a key without having been handed it is not told that it has gone.
  U32 losses() const { return losses_; }
  // Refuses the table because of a value that was read, or of the key that was handed over last.
  void refuseValue(std::string const & reason) {
    if (live_) dir_.refuse(path_, reason, live_);
  }
  void refuseKey(std::string const & reason) {
    if (told_) dir_.refuse(path_, reason, told_);
  }

 private:
  friend class ShoalReaderDir;
  void open();
  void close();
  ShoalSegment const * current();
  // Refuses the table if the segment is not sound.
  bool sound(std::shared_ptr<ShoalSegment> segment);
  bool walkOn(void * key);
  bool changeOn(void * key);
  bool handOver(U32 slot, void * key);
  void startWalk();
  bool goesOn() const;
  void moveOn();

  ShoalReaderDir & dir_;
  std::string const path_;
  ShoalShape const shape_;
  ShoalFollow const follow_;
  // The newest file, from which values are read.
  std::shared_ptr<ShoalSegment> live_;
  U64 opened_ = 0;  // how often live_ has become another one
  // The file whose keys are being handed over: an older one until all that must be is told.
  std::shared_ptr<ShoalSegment> told_;
  bool walkedOut_ = false;           // told_ is an older file, walked because changes were lost
  bool passed_ = false;              // between told_ and live_ there was another file
  U32 walk_ = ShoalSegment::noSlot;  // the next slot of a walk over all of told_
  // From where changes are handed over: a number, good for one epoch, and opened_ of that time.
  U64 position_ = 0;
  U64 epoch_ = 0;
  U64 followed_ = 0;
  U32 walks_ = 0;
  U32 losses_ = 0;
  ShoalCursor changeAt_;
};

}  // namespace ZetShoal
