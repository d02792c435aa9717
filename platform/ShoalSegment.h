// One file of shared memory that holds one map from keys to records, both of a fixed size.
//
// A header, then three arrays, all in the machine's own byte order and in 64-bit words:
//
//   index   2 x slotCount words: (upper half of the key's hash, slot + 1), or 0. Linear probing.
//           An entry never changes and never goes.
//   ring    slotCount words: change number n stands at n modulo slotCount as (n's lower half,
//           slot + 1). A reader that is further behind than that has less to do if it walks.
//   slots   in order of first use, each: one state word, the key, two copies of the record.
//
// A slot belongs to its key for as long as the segment lasts. The writer fills the copy that is
// not current and flips by one store of the state word, so a writer that dies at any instruction
// leaves the old record or the new one. A deleted key keeps its slot, marked, and gets it again if
// it returns. Slots and index never shrink: when the slots are used up, the writer makes a
// successor without the deleted keys, moves it to the name of the old file, and marks the old one
// as retired. Readers that still map the old one follow when they see the mark.
//
// All words are atomics, so readers and writer never race in the language's sense. What a reader
// finds is not trusted: shape, counts and sizes are checked when the file is opened and kept in
// private memory; each index read later is checked against them; waiting for a slot to rest is
// bounded. Whoever finds a fault keeps its text in fault().
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <string>

#include "platform/ShoalFiles.h"
#include "platform/ShoalMapping.h"
#include "platform/Types.h"

namespace ZetShoal {

// What both sides of a map must agree on.
struct ShoalShape {
  U32 keySize;       // bytes, 1 to maxKeySize
  U32 recordSize;    // bytes, 1 to maxRecordSize
  std::string type;  // what the table holds, at most 63 bytes
  static constexpr U32 maxKeySize = 1024;
  static constexpr U32 maxRecordSize = 65536;
};

// Where a walk over the present members of a map stands: before the first one or, where a bookmark
// is taken up again, on the key that is passed to next(). The caller leaves that key as it is
// between the calls of one walk: when the map has moved to another file, the walk goes on behind
// the key, or begins again if the map no longer knows it. So a member that stays is never missed,
// and may be met twice only if a key was deleted.
struct ShoalCursor {
  static ShoalCursor onKey() { return {0, ~U64{0}}; }
  U32 slot = 0;
  U64 segment = 0;
};

class ShoalSegment {
 public:
  static constexpr U32 noSlot = ~U32{0};
  static constexpr U32 minSlots = 16;
  static constexpr U32 maxSlots = U32{1} << 26;

  // Opens the file at `path`; null if there is none. The result is to be used only if it is
  // sound(): otherwise it holds the file's identity and the reason.
  static std::shared_ptr<ShoalSegment> open(std::string const & path, ShoalShape const & shape,
                                            ShoalMapping::Access access);
  // Makes the file anew, with all its memory allocated; throws ShoalError.
  static std::shared_ptr<ShoalSegment> create(std::string const & path, ShoalShape const & shape,
                                              U32 slotCount, U64 epoch);

  // Whether nothing has been found wrong so far.
  bool sound() const { return fault_.empty() && !mapping_.lost(); }
  // What was found wrong, as the end of a sentence that begins with the file's name.
  std::string fault() const;
  // Whether `path` still names this very file.
  bool stillAt(std::string const & path) const;
  // Distinguishes the segments that this process has opened.
  U64 serial() const { return serial_; }

  // Reading; by readers, and by the writer of its own segment.

  U32 slotCount() const { return slotCount_; }
  // The number of keys that are present; right except in the instants of a change.
  U32 size() const;
  // Unique to one run of a writer: another number tells that changes may have gone unnumbered.
  U64 epoch() const { return header().epoch.load(std::memory_order_acquire); }
  bool retired() const { return header().retired.load(std::memory_order_acquire) != 0; }
  // The slot of a key, present or deleted.
  U32 find(void const * key) const;
  // Brings what find() of the key loads first into the cache; and, some finds later, what it loads
  // then and what read() does. For maps that the cache does not hold anyway.
  void prefetchIndex(void const * key) const;
  void prefetchSlot(void const * key) const;
  // Whether the slot was ever used; `key` gets its key.
  bool keyAt(U32 slot, void * key) const;
  // Whether the slot's key is present; `record` gets a copy that is whole.
  bool read(U32 slot, void * record) const;
  // The same where the size of the records is known to the compiler, in a few instructions.
  template <U32 recordSize> bool readSized(U32 slot, void * record) const {
    static_assert(recordSize % sizeof(U64) == 0);
    Word const & rest = state(slot);
    U64 const before = rest.load(std::memory_order_acquire);
    if (!(before & liveBit)) return false;
    Word const * const from = copy(slot, before & copyBit);
#pragma GCC unroll 16
    for (U32 i = 0; i < recordSize / sizeof(U64); ++i) {
      U64 const word = from[i].load(std::memory_order_relaxed);
      std::memcpy(static_cast<std::byte *>(record) + i * sizeof word, &word, sizeof word);
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    if (rest.load(std::memory_order_relaxed) != before) return read(slot, record);
    return !mapping_.lost();
  }
  // The next present member behind the cursor, in order of slots.
  bool next(ShoalCursor & cursor, void * key, void * record) const;
  // How many changes have been made since the table was first written.
  U64 changes() const { return header().changes.load(std::memory_order_acquire); }
  // The slot of change `number`, or noSlot if the ring has no word of it (any longer).
  U32 change(U64 number) const;

  // Writing, by the one writer.

  // What a writer that died may have left half done is cleared away. Returns the slots in use.
  U32 recover();
  void epochIs(U64 epoch) { header().epoch.store(epoch, std::memory_order_release); }
  void retiredIs(bool retired) { header().retired.store(retired, std::memory_order_release); }
  bool live(U32 slot) const { return state(slot).load(std::memory_order_relaxed) & liveBit; }
  // Uses a fresh slot for a key that has none; a null record makes it a deleted one.
  void add(U32 slot, void const * key, void const * record);
  // False, and nothing done, if the slot holds this very record.
  bool update(U32 slot, void const * record);
  void erase(U32 slot);
  // Numbers a change of the slot, behind the change itself.
  void append(U32 slot);
  // The number that append() gives next; for a successor, before its first change.
  void changesIs(U64 number) { header().changes.store(number, std::memory_order_release); }

 private:
  using Word = std::atomic<U64>;
  static_assert(Word::is_always_lock_free && sizeof(Word) == sizeof(U64));

  struct Fixed {
    U64 magic;
    U32 version;
    U32 keySize;
    U32 recordSize;
    U32 slotCount;
    char type[64];
  };
  struct Header {
    Fixed fixed;
    alignas(64) Word retired;
    Word epoch;
    alignas(64) Word changes;
    Word size;
  };
  // Of the state word. The bits above count the changes, from 1.
  static constexpr U64 copyBit = 1;
  static constexpr U64 liveBit = 2;
  static constexpr U64 step = 4;

  static constexpr U64 magic = 0x6c616f6873746579;
  static constexpr U32 version = 1;

  explicit ShoalSegment(ShoalShape const & shape);
  // Takes the file in, or returns why not.
  std::string check(OpenFile const & file, ShoalShape const & shape);
  std::string checkHeader(Fixed const & fixed, ShoalShape const & shape) const;
  std::string map(OpenFile const & file, ShoalMapping::Access access);
  std::string format(OpenFile const & file, ShoalShape const & shape) const;
  void slotCountIs(U32 slotCount);
  void sizeInc(U64 n);
  std::size_t fileSize() const;
  U64 hash(void const * key) const;
  bool large() const { return slotCount_ > 1 << 14; }
  void faultIs(std::string text) const;

  Word * words(std::size_t at) const { return reinterpret_cast<Word *>(mapping_.data() + at); }
  Header & header() const { return *reinterpret_cast<Header *>(mapping_.data()); }
  Word & index(U32 place) const { return words(sizeof(Header))[place]; }
  Word & ring(U64 number) const { return words(ringAt_)[number & (slotCount_ - 1)]; }
  Word & state(U32 slot) const { return *words(slotsAt_ + slot * slotSize_); }
  Word * key(U32 slot) const { return &state(slot) + 1; }
  Word * copy(U32 slot, U64 which) const { return key(slot) + keyWords_ + which * recordWords_; }

  // Fixed when opened.
  U64 const serial_;
  U32 const keySize_;
  U32 const recordSize_;
  U32 const keyWords_;
  U32 const recordWords_;
  std::size_t const slotSize_;
  U32 slotCount_ = 0;
  std::size_t ringAt_ = 0;
  std::size_t slotsAt_ = 0;
  U64 device_ = 0;
  U64 inode_ = 0;
  OpenFile unmapped_;  // keeps the inode of a refused file from being given away anew
  ShoalMapping mapping_;

  mutable std::string fault_;
};

}  // namespace ZetShoal
