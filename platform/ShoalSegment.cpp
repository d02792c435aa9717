#include "platform/ShoalSegment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

namespace ZetShoal {

namespace {

constexpr U32 wordSize = sizeof(U64);

// A reader that meets the same record in the middle of a change so often is being led by the nose:
// a change takes longer than a copy of its record.
constexpr unsigned maxTries = 100;

constexpr U32 wordsFor(U32 bytes) { return (bytes + wordSize - 1) / wordSize; }

// Calls f(i, word) for each word of `bytes`, the last one filled up with zeros.
template <class F>
[[gnu::always_inline]] inline void forEachWord(void const * bytes, U32 size, F && f) {
  auto const * at = static_cast<std::byte const *>(bytes);
  U32 const whole = size / wordSize;
  U64 word;
  for (U32 i = 0; i < whole; ++i) {
    std::memcpy(&word, at + i * wordSize, wordSize);
    f(i, word);
  }
  if (!(size % wordSize)) return;
  word = 0;
  std::memcpy(&word, at + whole * wordSize, size % wordSize);
  f(whole, word);
}

void store(std::atomic<U64> * to, void const * bytes, U32 size) {
  forEachWord(bytes, size, [&](U32 i, U64 word) { to[i].store(word, std::memory_order_relaxed); });
}

void load(std::atomic<U64> const * from, void * bytes, U32 size) {
  auto * at = static_cast<std::byte *>(bytes);
  auto const * const end = from + size / wordSize;
  U64 word;
  // Four words at a time: half the work of a loop by word.
  for (; end - from >= 4; from += 4, at += 4 * wordSize) {
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
      word = from[i].load(std::memory_order_relaxed);
      std::memcpy(at + i * wordSize, &word, wordSize);
    }
  }
  for (; from != end; ++from, at += wordSize) {
    word = from->load(std::memory_order_relaxed);
    std::memcpy(at, &word, wordSize);
  }
  if (!(size % wordSize)) return;
  word = from->load(std::memory_order_relaxed);
  std::memcpy(at, &word, size % wordSize);
}

bool equal(std::atomic<U64> const * words, void const * bytes, U32 size) {
  U64 difference = 0;
  forEachWord(bytes, size, [&](U32 i, U64 word) {
    difference |= word ^ words[i].load(std::memory_order_relaxed);
  });
  return difference == 0;
}

U64 nextSerial() {
  static std::atomic<U64> last{0};
  return ++last;
}

std::string printable(char const * text, std::size_t size) {
  std::string result(text, ::strnlen(text, size));
  for (char & c : result)
    if (c < ' ' || c > '~') c = '?';
  return result;
}

std::string instead(char const * what, U64 found, U64 expected) {
  return "has " + std::string(what) + ' ' + std::to_string(found) + ", expected " +
         std::to_string(expected);
}

}  // namespace

ShoalSegment::ShoalSegment(ShoalShape const & shape)
    : serial_(nextSerial()),
      keySize_(shape.keySize),
      recordSize_(shape.recordSize),
      keyWords_(wordsFor(keySize_)),
      recordWords_(wordsFor(recordSize_)),
      slotSize_((1 + keyWords_ + std::size_t{2} * recordWords_) * wordSize) {}

// Opening

std::shared_ptr<ShoalSegment> ShoalSegment::open(std::string const & path, ShoalShape const & shape,
                                                 ShoalMapping::Access access) {
  // Without O_NONBLOCK a pipe in the file's place would hold us up.
  int const flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK |
                    (access == ShoalMapping::Access::write ? O_RDWR : O_RDONLY);
  OpenFile file(::open(path.c_str(), flags));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return nullptr;
  std::shared_ptr<ShoalSegment> segment(new ShoalSegment(shape));
  std::string & fault = segment->fault_;
  fault = file ? segment->check(file, shape) : withErrno("cannot be opened");
  if (fault.empty()) fault = segment->map(file, access);
  if (!fault.empty()) segment->unmapped_ = std::move(file);
  return segment;
}

std::string ShoalSegment::check(OpenFile const & file, ShoalShape const & shape) {
  struct stat status;
  if (::fstat(file.fd(), &status) != 0) return withErrno("cannot be examined");
  device_ = status.st_dev;
  inode_ = status.st_ino;
  if (!S_ISREG(status.st_mode)) return "is not a regular file";
  auto const size = static_cast<U64>(status.st_size);
  Fixed fixed;
  if (size < sizeof(Header) || ::pread(file.fd(), &fixed, sizeof fixed, 0) != sizeof fixed)
    return "has " + std::to_string(size) + " bytes, too few for a header";
  std::string fault = checkHeader(fixed, shape);
  if (!fault.empty()) return fault;
  slotCountIs(fixed.slotCount);
  return size == fileSize() ? "" : instead("a size of", size, fileSize());
}

std::string ShoalSegment::checkHeader(Fixed const & fixed, ShoalShape const & shape) const {
  if (fixed.magic != magic) return "is not a map of a shared-memory table (wrong magic number)";
  if (fixed.version != version) return instead("layout version", fixed.version, version);
  std::string const type = printable(fixed.type, sizeof fixed.type);
  if (type != shape.type) return "is of type '" + type + "', expected '" + shape.type + "'";
  if (fixed.keySize != keySize_) return instead("keys of size", fixed.keySize, keySize_);
  if (fixed.recordSize != recordSize_)
    return instead("records of size", fixed.recordSize, recordSize_);
  if (fixed.slotCount < minSlots || fixed.slotCount > maxSlots ||
      !std::has_single_bit(fixed.slotCount))
    return "has " + std::to_string(fixed.slotCount) + " slots, not a power of two from " +
           std::to_string(minSlots) + " to " + std::to_string(maxSlots);
  return {};
}

std::string ShoalSegment::map(OpenFile const & file, ShoalMapping::Access access) {
  mapping_ = ShoalMapping(file.fd(), fileSize(), access);
  return mapping_.data() ? "" : withErrno("cannot be mapped");
}

std::shared_ptr<ShoalSegment> ShoalSegment::create(std::string const & path,
                                                   ShoalShape const & shape, U32 slotCount,
                                                   U64 epoch) {
  ShoalSegment layout(shape);
  layout.slotCountIs(slotCount);
  ::unlink(path.c_str());
  OpenFile const file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!file) throw ShoalError(withErrno("cannot make " + path));
  std::shared_ptr<ShoalSegment> segment;
  std::string fault = layout.format(file, shape);
  if (fault.empty()) {
    segment = open(path, shape, ShoalMapping::Access::write);
    fault = segment ? segment->fault() : "has gone";
  }
  if (!fault.empty()) {
    ::unlink(path.c_str());
    throw ShoalError(path + ' ' + fault);
  }
  segment->epochIs(epoch);
  return segment;
}

std::string ShoalSegment::format(OpenFile const & file, ShoalShape const & shape) const {
  // All memory now: a page that is found missing later would end the process.
  errno = ::posix_fallocate(file.fd(), 0, static_cast<off_t>(fileSize()));
  if (errno) return withErrno("cannot be given " + std::to_string(fileSize()) + " bytes");
  Fixed fixed{magic, version, keySize_, recordSize_, slotCount_, {}};
  shape.type.copy(fixed.type, sizeof fixed.type - 1);
  bool const written = ::pwrite(file.fd(), &fixed, sizeof fixed, 0) == sizeof fixed;
  return written ? "" : withErrno("cannot be written");
}

void ShoalSegment::slotCountIs(U32 slotCount) {
  slotCount_ = slotCount;
  ringAt_ = sizeof(Header) + std::size_t{2} * slotCount * wordSize;
  slotsAt_ = ringAt_ + std::size_t{slotCount} * wordSize;
}

std::size_t ShoalSegment::fileSize() const { return slotsAt_ + slotCount_ * slotSize_; }

bool ShoalSegment::stillAt(std::string const & path) const {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
}

std::string ShoalSegment::fault() const {
  if (!fault_.empty()) return fault_;
  return mapping_.lost() ? "was cut short while it was in use" : "";
}

void ShoalSegment::faultIs(std::string text) const {
  if (fault_.empty()) fault_ = std::move(text);
}

// Reading

U64 ShoalSegment::hash(void const * key) const {
  constexpr U64 odd[] = {0xa0761d6478bd642f, 0xe7037ed1a0b428db};
  U64 sum = keySize_;
  forEachWord(key, keySize_, [&](U32, U64 word) {
    auto const product = static_cast<unsigned __int128>(word ^ odd[0]) * (sum ^ odd[1]);
    sum = static_cast<U64>(product) ^ static_cast<U64>(product >> 64);
  });
  return sum;
}

U32 ShoalSegment::size() const {
  return static_cast<U32>(std::min<U64>(header().size.load(std::memory_order_relaxed), slotCount_));
}

U32 ShoalSegment::find(void const * key) const {
  U64 const h = hash(key);
  U32 const mask = 2 * slotCount_ - 1;
  for (U32 n = 0, place = static_cast<U32>(h) & mask; n <= mask; ++n, place = (place + 1) & mask) {
    U64 const entry = index(place).load(std::memory_order_acquire);
    if (!entry) return noSlot;
    if (entry >> 32 != h >> 32) continue;
    U32 const slot = static_cast<U32>(entry) - 1;
    if (slot >= slotCount_) {
      faultIs("names slot " + std::to_string(slot) + " of " + std::to_string(slotCount_) +
              " in its index");
      return noSlot;
    }
    // A slot that was never used is what a writer left that died here.
    bool const used = state(slot).load(std::memory_order_acquire) != 0;
    if (used && equal(this->key(slot), key, keySize_)) return slot;
  }
  faultIs("has an index without an end");
  return noSlot;
}

void ShoalSegment::prefetchIndex(void const * key) const {
  if (!large()) return;
  U32 const mask = 2 * slotCount_ - 1;
  __builtin_prefetch(&index(static_cast<U32>(hash(key)) & mask));
}

void ShoalSegment::prefetchSlot(void const * key) const {
  constexpr std::size_t line = 64, most = 8;  // of a wide record its beginning
  if (!large()) return;
  U64 const h = hash(key);
  U32 const mask = 2 * slotCount_ - 1;
  U64 const entry = index(static_cast<U32>(h) & mask).load(std::memory_order_relaxed);
  U32 const slot = static_cast<U32>(entry) - 1;
  if (entry >> 32 != h >> 32 || slot >= slotCount_) return;
  auto const * const at = reinterpret_cast<std::byte const *>(&state(slot));
  for (std::size_t i = 0; i < std::min(slotSize_, most * line); i += line) {
    __builtin_prefetch(at + i);
  }
}

bool ShoalSegment::keyAt(U32 slot, void * key) const {
  if (slot >= slotCount_ || !state(slot).load(std::memory_order_acquire)) return false;
  load(this->key(slot), key, keySize_);
  return !mapping_.lost();
}

bool ShoalSegment::read(U32 slot, void * record) const {
  for (unsigned tries = 0; tries < maxTries; ++tries) {
    U64 const before = state(slot).load(std::memory_order_acquire);
    if (!(before & liveBit)) return false;
    load(copy(slot, before & copyBit), record, recordSize_);
    // The writer comes back to this copy only behind a flip to the other one.
    std::atomic_thread_fence(std::memory_order_acquire);
    if (state(slot).load(std::memory_order_relaxed) == before) return !mapping_.lost();
  }
  faultIs("has a slot, number " + std::to_string(slot) + ", that never comes to rest");
  return false;
}

bool ShoalSegment::next(ShoalCursor & cursor, void * key, void * record) const {
  if (cursor.segment != serial_) {
    U32 const slot = cursor.segment ? find(key) : noSlot;
    cursor = {slot == noSlot ? 0 : slot + 1, serial_};
  }
  while (sound() && cursor.slot < slotCount_) {
    U32 const slot = cursor.slot;
    if (!state(slot).load(std::memory_order_acquire)) return false;
    ++cursor.slot;
    if (read(slot, record)) return keyAt(slot, key);
  }
  return false;
}

U32 ShoalSegment::change(U64 number) const {
  U64 const entry = ring(number).load(std::memory_order_relaxed);
  U32 const slot = static_cast<U32>(entry) - 1;
  if (entry >> 32 != static_cast<U32>(number) || slot == noSlot) return noSlot;
  if (slot < slotCount_ && state(slot).load(std::memory_order_acquire)) return slot;
  faultIs("announces a change of slot " + std::to_string(slot) + ", which holds nothing");
  return noSlot;
}

// Writing

U32 ShoalSegment::recover() {
  U32 used = 0;
  U64 present = 0;
  for (; used < slotCount_ && state(used).load(std::memory_order_relaxed); ++used)
    present += live(used);
  header().size.store(present, std::memory_order_relaxed);
  // An entry is made before its slot is used. One without its slot was the last to be made, so
  // that no search needs to pass over it.
  for (U32 place = 0; place < 2 * slotCount_; ++place) {
    U64 const entry = index(place).load(std::memory_order_relaxed);
    if (entry && static_cast<U32>(entry) - 1 >= used)
      index(place).store(0, std::memory_order_relaxed);
  }
  return used;
}

void ShoalSegment::add(U32 slot, void const * key, void const * record) {
  U64 const h = hash(key);
  U32 const mask = 2 * slotCount_ - 1;
  U32 place = static_cast<U32>(h) & mask;
  for (U32 n = 0; index(place).load(std::memory_order_relaxed); place = (place + 1) & mask)
    if (n++ == mask) return faultIs("has an index without an end");
  index(place).store((h >> 32) << 32 | (slot + 1), std::memory_order_release);
  store(this->key(slot), key, keySize_);
  if (record) store(copy(slot, 0), record, recordSize_);
  state(slot).store(record ? step | liveBit : step, std::memory_order_release);
  if (record) sizeInc(1);
}

bool ShoalSegment::update(U32 slot, void const * record) {
  U64 const before = state(slot).load(std::memory_order_relaxed);
  U64 const current = before & copyBit;
  if (before & liveBit && equal(copy(slot, current), record, recordSize_)) return false;
  // Whoever sees a word of what follows also sees that this copy is no longer current.
  std::atomic_thread_fence(std::memory_order_release);
  store(copy(slot, current ^ copyBit), record, recordSize_);
  U64 const after = ((before + step) | liveBit) ^ copyBit;
  state(slot).store(after, std::memory_order_release);
  if (!(before & liveBit)) sizeInc(1);
  return true;
}

void ShoalSegment::erase(U32 slot) {
  U64 const before = state(slot).load(std::memory_order_relaxed);
  state(slot).store((before + step) & ~liveBit, std::memory_order_release);
  sizeInc(~U64{0});
}

void ShoalSegment::append(U32 slot) {
  U64 const number = header().changes.load(std::memory_order_relaxed);
  ring(number).store(number << 32 | (slot + 1), std::memory_order_relaxed);
  changesIs(number + 1);
}

void ShoalSegment::sizeInc(U64 n) {
  // One writer: no need of an atomic addition.
  header().size.store(header().size.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
}

}  // namespace ZetShoal
