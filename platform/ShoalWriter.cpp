#include "platform/ShoalWriter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <vector>

namespace ZetShoal {

namespace {

std::string checkedType(std::string const & type) {
  if (type.size() >= 64) throw ShoalError("type of a shared-memory table too long: " + type);
  return type;
}

void makeDirectories(std::string const & path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    std::string const part = path.substr(0, end);
    if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
      throw ShoalError(withErrno("cannot make " + part));
    if (end == path.npos) return;
  }
}

OpenFile openOwn(std::string const & path) {
  int const flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  OpenFile file(::open(path.c_str(), flags, 0644));
  if (!file) throw ShoalError(withErrno("cannot open " + path));
  return file;
}

bool isAt(OpenFile const & file, std::string const & path) {
  struct stat held, named;
  return ::fstat(file.fd(), &held) == 0 && ::stat(path.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

U32 checkedSize(U32 size, U32 limit, std::string const & path) {
  if (size == 0 || size > limit)
    throw ShoalError(path + " cannot have keys or records of size " + std::to_string(size));
  return size;
}

U64 epochAfter(U64 epoch) {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  auto const count = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
  return std::max(static_cast<U64>(count), epoch + 1);
}

}  // namespace

// The table

ShoalWriterDir::ShoalWriterDir(std::string const & root, std::string const & name,
                               std::string const & type)
    : path_(shoalPath(root, name)),
      type_(checkedType(type)) {
  makeDirectories(path_);
  lock();
  bell_ = openOwn(path_ + "/bell");
  changed_ = true;
  commit();
}

ShoalWriterDir::~ShoalWriterDir() {
  if (changed_) ring();
}

void ShoalWriterDir::lock() {
  std::string const path = path_ + "/lock";
  // A writer that removed the table may have held the lock of a file that has gone since.
  do {
    lock_ = openOwn(path);
    if (::flock(lock_.fd(), LOCK_EX | LOCK_NB) != 0)
      throw ShoalError(errno == EWOULDBLOCK ? path_ + " is being written by another process"
                                            : withErrno("cannot lock " + path));
  } while (!isAt(lock_, path));
}

void ShoalWriterDir::commit() {
  if (!changed_) return;
  if (!ring()) throw ShoalError(withErrno("cannot ring " + path_ + "/bell"));
  changed_ = false;
}

bool ShoalWriterDir::ring() { return ::pwrite(bell_.fd(), "", 1, 0) == 1; }

void ShoalWriterDir::remove() {
  std::vector<std::string> files;
  if (DIR * const directory = ::opendir(path_.c_str())) {
    while (dirent const * entry = ::readdir(directory)) {
      std::string_view const name = entry->d_name;
      if (name != "." && name != ".." && name != "lock")
        files.push_back(path_ + '/' + entry->d_name);
    }
    ::closedir(directory);
  }
  files.push_back(path_ + "/lock");  // last: until then nobody makes the table anew
  for (std::string const & file : files) ::unlink(file.c_str());
  changed_ = false;
  if (::rmdir(path_.c_str()) != 0) throw ShoalError(withErrno("cannot remove " + path_));
}

// A map

ShoalWriter::ShoalWriter(ShoalWriterDir & dir, std::string const & map, U32 keySize, U32 recordSize,
                         U32 slots)
    : dir_(dir),
      path_(shoalMapPath(dir.path(), map)),
      shape_{checkedSize(keySize, ShoalShape::maxKeySize, path_),
             checkedSize(recordSize, ShoalShape::maxRecordSize, path_), dir.type()} {
  segment_ = ShoalSegment::open(path_, shape_, ShoalMapping::Access::write);
  if (segment_ && segment_->sound()) takeOver();
  if (segment_) discarded_ = segment_->fault();
  if (!segment_ || !segment_->sound()) startAnew(slots);
  dir_.changed_ = true;
  dir_.commit();
}

bool ShoalWriter::intact() const {
  std::vector<std::byte> key(shape_.keySize);
  for (U32 slot = 0; slot < used_; ++slot) {
    if (!segment_->keyAt(slot, key.data()) || segment_->find(key.data()) != slot) return false;
  }
  U64 const end = segment_->changes();
  for (U64 n = end - std::min<U64>(end, segment_->slotCount()); n != end; ++n) segment_->change(n);
  return segment_->sound();
}

void ShoalWriter::discard(std::string const & reason) {
  discarded_ = reason;
  startAnew(segment_->slotCount());
}

void ShoalWriter::takeOver() {
  used_ = segment_->recover();
  segment_->retiredIs(false);
  segment_->epochIs(epochAfter(segment_->epoch()));
}

void ShoalWriter::startAnew(U32 slots) {
  segment_.reset();
  U32 const count =
      std::bit_ceil(std::clamp(slots, ShoalSegment::minSlots, ShoalSegment::maxSlots));
  publish(ShoalSegment::create(path_ + ".next", shape_, count, epochAfter(0)), 0);
}

bool ShoalWriter::put(void const * key, void const * record) {
  U32 slot = segment_->find(key);
  if (slot != ShoalSegment::noSlot) {
    if (!segment_->update(slot, record)) return false;
  } else {
    if (used_ == segment_->slotCount()) succeed();
    slot = used_++;
    segment_->add(slot, key, record);
  }
  changed(slot);
  return true;
}

bool ShoalWriter::del(void const * key) {
  U32 const slot = segment_->find(key);
  bool const present = slot != ShoalSegment::noSlot && segment_->live(slot);
  if (present) {
    segment_->erase(slot);
    changed(slot);
  }
  throwUnlessSound();
  return present;
}

void ShoalWriter::changed(U32 slot) {
  segment_->append(slot);
  dir_.changed_ = true;
  throwUnlessSound();
}

void ShoalWriter::throwUnlessSound() const {
  if (!segment_->sound()) throw ShoalError(path_ + ' ' + segment_->fault());
}

bool ShoalWriter::read(void const * key, void * record) const {
  U32 const slot = segment_->find(key);
  return slot != ShoalSegment::noSlot && segment_->read(slot, record);
}

bool ShoalWriter::next(ShoalCursor & cursor, void * key, void * record) const {
  return segment_->next(cursor, key, record);
}

// The successor

void ShoalWriter::succeed() {
  ShoalSegment const & from = *segment_;
  U64 const end = from.changes();
  std::vector<U32> places(used_, ShoalSegment::noSlot);
  U64 const begin = keepUntold(places);
  U32 kept = 0;
  for (U32 slot = 0; slot < used_; ++slot)
    if (from.live(slot) || places[slot] != ShoalSegment::noSlot) places[slot] = kept++;

  auto to = ShoalSegment::create(path_ + ".next", shape_, roomFor(kept), from.epoch());
  copyMembers(*to, places);
  to->changesIs(begin);
  for (U64 n = begin; n != end; ++n) to->append(places[from.change(n)]);
  throwUnlessSound();
  publish(std::move(to), kept);
}

// Marks the slots of the changes that move along with the members, so that readers which keep up
// go on without a walk, and returns the first of these changes. A deleted key can be dropped once
// its deletion is not among them: the readers that have yet to hear of it walk the old file. An
// eighth of the ring moves, so that deleted keys never fill the successor again.
U64 ShoalWriter::keepUntold(std::vector<U32> & places) const {
  U64 begin = segment_->changes();
  U64 const earliest = begin - std::min<U64>(begin, segment_->slotCount() / 8);
  while (begin != earliest) {
    U32 const slot = segment_->change(begin - 1);
    if (slot >= used_) break;
    places[slot] = 0;
    --begin;
  }
  return begin;
}

// Slots of which at most three quarters are taken to begin with.
U32 ShoalWriter::roomFor(U32 kept) const {
  U32 const slots = std::bit_ceil(std::max(kept + kept / 3 + 1, ShoalSegment::minSlots));
  if (slots > ShoalSegment::maxSlots) throw ShoalError(path_ + " is full");
  return slots;
}

void ShoalWriter::copyMembers(ShoalSegment & to, std::vector<U32> const & places) const {
  std::vector<std::byte> key(shape_.keySize), record(shape_.recordSize);
  for (U32 slot = 0; slot < used_; ++slot) {
    if (places[slot] == ShoalSegment::noSlot) continue;
    segment_->keyAt(slot, key.data());
    bool const present = segment_->read(slot, record.data());
    to.add(places[slot], key.data(), present ? record.data() : nullptr);
  }
}

// The old file is marked before the new one takes its name: a reader that sees the mark looks the
// name up until it finds another file, or until the mark has gone again.
void ShoalWriter::publish(std::shared_ptr<ShoalSegment> segment, U32 used) {
  std::string const next = path_ + ".next";
  if (segment_) segment_->retiredIs(true);
  if (::rename(next.c_str(), path_.c_str()) != 0) {
    std::string const reason = withErrno("cannot move " + next);
    if (segment_) segment_->retiredIs(false);
    ::unlink(next.c_str());
    throw ShoalError(reason);
  }
  segment_ = std::move(segment);
  used_ = used;
}

}  // namespace ZetShoal
