#include "platform/HashTable.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "platform/Assert.h"

namespace Zet {

namespace {

constexpr U32 kMinBits = 2;
constexpr U32 kMaxBits = 28;
// Ranges that one operation moves: growth is over long before the next one is due.
constexpr int kMoves = 8;
// From this size on an array is mapped, so that its pages are zeroed when they are first touched.
constexpr size_t kMapped = size_t{1} << 17;

size_t bytesOf(U32 bits) { return sizeof(HashLink *) << bits; }

HashLink ** newBuckets(U32 bits) {
  size_t bytes = bytesOf(bits);
  void * p = nullptr;
  if (bytes < kMapped) {
    p = std::calloc(1, bytes);
  } else {
    p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) p = nullptr;
  }
  if (!p) throw std::bad_alloc();
  return static_cast<HashLink **>(p);
}

// What a walk looks at: the link, which may be null, and what stands behind it.
inline void fetch(HashLink const * l) {
  auto const address = reinterpret_cast<std::uintptr_t>(l);
  __builtin_prefetch(l);
  __builtin_prefetch(reinterpret_cast<void const *>(address + 3 * sizeof(HashLink)));
}

void deleteBuckets(HashLink ** p, U32 bits) {
  if (!p) return;
  if (bytesOf(bits) < kMapped) {
    std::free(p);
  } else {
    munmap(p, bytesOf(bits));
  }
}

}  // namespace

HashTable::~HashTable() {
  if (!core_) return;
  ZET_ASSERT(core_->count == 0, "count == 0");
  deleteBuckets(core_->now.bucket, core_->now.bits);
  deleteBuckets(core_->old.bucket, core_->old.bits);
  delete core_;
}

// `order` is where a bucket begins.
HashLink * HashTable::firstFrom(U64 order) const {
  Core const & c = *core_;
  if (order < c.boundary) {
    HashLink ** end = c.now.bucket + (c.boundary >> c.now.shift());
    for (HashLink ** p = c.now.bucket + (order >> c.now.shift()); p < end; ++p) {
      if (*p) return *p;
    }
    order = c.boundary;
  }
  if (!c.old.bucket) return nullptr;
  HashLink ** end = c.old.bucket + (size_t{1} << c.old.bits);
  for (HashLink ** p = c.old.bucket + (order >> c.old.shift()); p < end; ++p) {
    if (*p) return *p;
  }
  return nullptr;
}

HashLink * HashTable::seek(U32 order) const {
  if (!core_) return nullptr;
  HashLink * l = *chain(order);
  while (l && l->order_ < order) l = l->hashNext_;
  if (l) return l;
  U32 shift = (order < core_->boundary ? core_->now : core_->old).shift();
  return firstFrom(((U64{order} >> shift) + 1) << shift);
}

// Of the chain that a member of this order stands in, the end has been reached.
HashLink * HashTable::afterChain(U32 order) const {
  Core const & c = *core_;
  bool const inNow = order < c.boundary;
  Array const & a = inNow ? c.now : c.old;
  HashLink ** p = a.bucket + (order >> a.shift()) + 1;
  HashLink ** const end = a.bucket + ((inNow ? c.boundary : kEnd) >> a.shift());
  while (p < end && !*p) ++p;
  if (p >= end) return inNow && c.old.bucket ? firstFrom(c.boundary) : nullptr;
  // In a large table each member is a cache miss: fetch ahead while this one is being looked at,
  // first what begins a chain, then what stands second in it.
  constexpr std::ptrdiff_t kFirst = 16, kSecond = 8;
  if (end - p > kFirst) {
    fetch(p[kFirst]);
    if (p[kSecond]) fetch(p[kSecond]->hashNext_);
  }
  return *p;
}

void HashTable::room() {
  if (!core_) {
    core_ = new Core;
    core_->now = {kMinBits, newBuckets(kMinBits)};
  }
  if (core_->old.bucket) {
    migrate();
  } else if (core_->count >= buckets() && core_->now.bits < kMaxBits) {
    resize(core_->now.bits + 1);
  }
}

void HashTable::unlink(HashLink * l) {
  HashLink ** p = chain(l->order_);
  while (*p != l) p = &(*p)->hashNext_;
  *p = l->hashNext_;
  l->hashNext_ = nullptr;
  l->inTable_ = false;
  --core_->count;
  if (core_->old.bucket) {
    migrate();
  } else if (core_->now.bits > kMinBits && core_->count < buckets() / 8) {
    resize(core_->now.bits - 1);
  }
}

void HashTable::resize(U32 bits) {
  Array fresh{bits, newBuckets(bits)};
  core_->old = core_->now;
  core_->now = fresh;
  core_->boundary = 0;
  migrate();
}

void HashTable::migrate() {
  Core & c = *core_;
  U32 bits = std::min(c.old.bits, c.now.bits);
  for (int i = 0; i < kMoves && c.boundary < kEnd; ++i) {
    migrateRange(static_cast<U32>(c.boundary), bits);
    c.boundary += U64{1} << (32 - bits);
  }
  if (c.boundary < kEnd) return;
  deleteBuckets(c.old.bucket, c.old.bits);
  c.old = {};
}

// Moves the members whose order begins with the same `bits` bits as `from`. They come in order,
// so each is appended to its chain.
void HashTable::migrateRange(U32 from, U32 bits) {
  Core & c = *core_;
  U32 first = from >> c.old.shift();
  U32 last = first + (1u << (c.old.bits - bits));
  HashLink ** tail = nullptr;
  U32 at = ~0u;
  for (U32 i = first; i < last; ++i) {
    for (HashLink * l = c.old.bucket[i]; l;) {
      HashLink * next = l->hashNext_;
      U32 to = l->order_ >> c.now.shift();
      if (to != at) {
        at = to;
        tail = &c.now.bucket[to];
      }
      l->hashNext_ = nullptr;
      *tail = l;
      tail = &l->hashNext_;
      l = next;
    }
    c.old.bucket[i] = nullptr;
  }
}

}  // namespace Zet
