#include "platform/ShoalReader.h"

#include <algorithm>
#include <utility>

namespace ZetShoal {

// The table

ShoalReaderDir::ShoalReaderDir(ShoalWatch & watch, std::string const & root,
                               std::string const & name, std::string const & type)
    : watch_(watch),
      path_(shoalPath(root, name)),
      type_(type) {}

ShoalReaderDir::~ShoalReaderDir() { watch_.remove(*this); }

bool ShoalReaderDir::due() const {
  return filesMoved_ || refusalUnseen_ ||
         std::any_of(maps_.begin(), maps_.end(),
                     [](ShoalReader const * map) { return map->pending(); });
}

bool ShoalReaderDir::present() const {
  return std::any_of(maps_.begin(), maps_.end(),
                     [](ShoalReader const * map) { return map->live_ != nullptr; });
}

// A writer makes first what others refer to: so the last map is opened first.
void ShoalReaderDir::openMaps() {
  std::for_each(maps_.rbegin(), maps_.rend(), [](ShoalReader * map) { map->open(); });
}

void ShoalReaderDir::refresh() {
  // Had the refusal ended in the same turn, its owner would not know that its keys have gone.
  if (std::exchange(refusalUnseen_, false)) return;
  if (!filesMoved_) return;
  filesMoved_ = false;
  // First the watch, then the look: what comes in between is told by the watch.
  std::string const trouble = watch_.add(*this, path_);
  if (!trouble.empty()) return refuse(path_, trouble, nullptr);
  if (culprit_ && culprit_->stillAt(culpritPath_)) return;
  culprit_.reset();
  refusal_.clear();
  openMaps();
  refusalUnseen_ = false;
}

void ShoalReaderDir::refuse(std::string const & path, std::string const & reason,
                            std::shared_ptr<ShoalSegment> culprit) {
  refusal_ = path + ' ' + reason;
  culpritPath_ = path;
  culprit_ = std::move(culprit);
  refusalUnseen_ = true;
  // What took its place before it was found bad is told by nobody any more.
  filesMoved_ |= culprit_ && !culprit_->stillAt(path);
  for (ShoalReader * map : maps_) map->close();
  watch_.handleRefusal();
}

// A map

namespace {

// Of one nextChange(): more than an honest writer can cause. One that adds changes without a pause
// and without substance is left for the next turn.
constexpr unsigned maxSteps = 16;

}  // namespace

ShoalReader::ShoalReader(ShoalReaderDir & dir, std::string const & map, U32 keySize, U32 recordSize,
                         ShoalFollow follow)
    : dir_(dir),
      path_(shoalMapPath(dir.path(), map)),
      shape_{keySize, recordSize, dir.type()},
      follow_(follow) {
  dir_.maps_.push_back(this);
  open();
}

ShoalReader::~ShoalReader() {
  dir_.maps_.erase(std::find(dir_.maps_.begin(), dir_.maps_.end(), this));
}

void ShoalReader::open() {
  if (!dir_.refusal().empty() || (live_ && live_->stillAt(path_))) return;
  auto segment = ShoalSegment::open(path_, shape_, ShoalMapping::Access::read);
  if (segment && !sound(segment)) return;
  opened_ += segment != live_;
  passed_ |= live_ && live_ != told_;
  live_ = std::move(segment);
}

void ShoalReader::close() {
  live_.reset();
  told_.reset();
  walk_ = ShoalSegment::noSlot;
  walkedOut_ = passed_ = false;
}

bool ShoalReader::sound(std::shared_ptr<ShoalSegment> segment) {
  if (segment->sound()) return true;
  std::string const reason = segment->fault();
  dir_.refuse(path_, reason, std::move(segment));
  return false;
}

// What took the place of a map may be of a table that was made anew, and is not to be read with
// maps of the one before.
ShoalSegment const * ShoalReader::current() {
  if (live_ && live_->retired()) dir_.openMaps();
  return live_.get();
}

// Values

bool ShoalReader::read(void const * key, void * record) {
  ShoalSegment const * const segment = current();
  if (!segment) return false;
  U32 const slot = segment->find(key);
  if (slot != ShoalSegment::noSlot && segment->read(slot, record)) return true;
  sound(live_);
  return false;
}

ShoalCursor ShoalReader::find(void const * key) {
  ShoalSegment const * const segment = current();
  U32 const slot = segment ? segment->find(key) : ShoalSegment::noSlot;
  return slot == ShoalSegment::noSlot ? ShoalCursor() : ShoalCursor{slot, segment->serial()};
}

bool ShoalReader::next(ShoalCursor & cursor, void * key, void * record) {
  ShoalSegment const * const segment = current();
  if (!segment) return false;
  if (segment->next(cursor, key, record)) return true;
  sound(live_);
  return false;
}

U32 ShoalReader::size() {
  ShoalSegment const * const segment = current();
  return segment ? segment->size() : 0;
}

// Changes

bool ShoalReader::pending() const {
  if (follow_ == ShoalFollow::values) return false;
  if (told_ != live_ || passed_) return true;
  return told_ && (walk_ != ShoalSegment::noSlot || told_->epoch() != epoch_ ||
                   told_->changes() != position_);
}

bool ShoalReader::nextChange(void * key) {
  if (follow_ == ShoalFollow::values) return false;
  current();
  for (unsigned step = 0; step < maxSteps && pending(); ++step) {
    if (walk_ != ShoalSegment::noSlot) {
      if (walkOn(key)) return true;
    } else if (told_ != live_ || passed_) {
      moveOn();
    } else if (told_->epoch() != epoch_) {
      startWalk();
    } else if (changeOn(key)) {
      return true;
    }
    if (told_ && !sound(told_)) return false;
  }
  return false;
}

// The next key of a walk, if any; its end is the first slot that was never used.
bool ShoalReader::walkOn(void * key) {
  if (handOver(walk_, key)) {
    ++walk_;
    return true;
  }
  walk_ = ShoalSegment::noSlot;
  return false;
}

// The key of the next change, or a walk if the writer has lapped us.
bool ShoalReader::changeOn(void * key) {
  U32 const slot = told_->change(position_);
  if (slot == ShoalSegment::noSlot) {
    startWalk();
    return false;
  }
  ++position_;
  return handOver(slot, key);
}

bool ShoalReader::handOver(U32 slot, void * key) {
  changeAt_ = {slot, told_->serial()};
  return told_->keyAt(slot, key);
}

void ShoalReader::startWalk() {
  // Before the first key, and in this order: what changes behind a key's back, or who takes the
  // table over, is noticed afterwards.
  followed_ = opened_;
  epoch_ = live_ ? live_->epoch() : 0;
  position_ = live_ ? live_->changes() : 0;
  walk_ = 0;
  ++walks_;
}

// Whether the newest file knows each change from position_ on, and so each key that may have been
// handed over as present and has been deleted since.
bool ShoalReader::goesOn() const {
  if (followed_ == opened_) return true;
  return live_ && live_->epoch() == epoch_ &&
         (live_->changes() == position_ || live_->change(position_) != ShoalSegment::noSlot);
}

// From told_ to the file that has taken its place. Where the changes do not go on, keys that have
// been deleted may stand in the old file alone. It is walked before the new one is, and again if
// changes are lost meanwhile: it holds every key that has been handed over.
void ShoalReader::moveOn() {
  bool const lost = !told_ || !goesOn();
  losses_ += std::exchange(passed_, false) && lost;
  if (told_ && lost) {
    walkedOut_ = true;
    return startWalk();
  }
  bool const walk = !told_ || walkedOut_;
  told_ = live_;
  walkedOut_ = false;
  if (told_ && walk) startWalk();
}

}  // namespace ZetShoal
