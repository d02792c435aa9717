// The untyped core of the hash tables.
//
// Each chain is sorted by (bit-reversed hash, key) and the bucket is taken from the top bits of
// the reversed hash. So the order of the whole table does not depend on its number of buckets:
// growing and shrinking never disturb a pass, and a pass can resume at any key, present or not.
// Growing and shrinking are spread over the operations that follow, a few buckets at a time:
// members whose order is below a boundary stand in the new array, the others in the old one.
#pragma once
#include "platform/Bits.h"
#include "platform/Export.h"
#include "platform/Types.h"

namespace Zet {

// A member's place in a table; members derive from it.
class HashLink {
 public:
  bool inTable() const { return inTable_; }

 private:
  friend class HashTable;
  template <class, class> friend class HashMap;
  template <class, class> friend class HashMap2018;
  HashLink * hashNext_ = nullptr;
  U32 order_ = 0;  // the bit-reversed hash
  bool inTable_ = false;
};

class BRINDLE_API HashTable {
 public:
  HashTable() = default;
  HashTable(HashTable const &) = delete;
  HashTable & operator=(HashTable const &) = delete;

  U32 size() const { return core_ ? core_->count : 0; }
  bool empty() const { return size() == 0; }
  U32 buckets() const { return core_ ? 1u << core_->now.bits : 0; }
  // Number of the bucket that a hash falls into.
  U32 bucketOf(U32 hash) const { return core_ ? bitReverse(hash) >> core_->now.shift() : 0; }

 protected:
  ~HashTable();
  HashLink ** chain(U32 order) const {
    Array const & a = order < core_->boundary ? core_->now : core_->old;
    return &a.bucket[order >> a.shift()];
  }
  // The first member whose order is at or behind the given one.
  HashLink * seek(U32 order) const;
  HashLink * after(HashLink const * l) const {
    return l->hashNext_ ? l->hashNext_ : afterChain(l->order_);
  }
  void link(HashLink ** at, HashLink * l, U32 order) {
    l->hashNext_ = *at;
    l->order_ = order;
    l->inTable_ = true;
    *at = l;
    ++core_->count;
  }
  void unlink(HashLink *);
  // Makes room for one more member; pointers into chains do not survive it.
  void room();

  static constexpr U64 kEnd = U64{1} << 32;
  struct Array {
    U32 bits = 0;
    HashLink ** bucket = nullptr;
    U32 shift() const { return 32 - bits; }
  };
  struct Core {
    U64 boundary = kEnd;  // orders below it stand in `now`, the others in `old`
    Array now;
    Array old;
    U32 count = 0;
  };
  Core * core_ = nullptr;

 private:
  HashLink * afterChain(U32 order) const;
  HashLink * firstFrom(U64 order) const;
  void resize(U32 bits);
  void migrate();
  void migrateRange(U32 from, U32 bits);
};

}  // namespace Zet
