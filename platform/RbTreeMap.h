// Ordered maps and sets, by operator< of the key. Members stand side by side in one sorted block,
// which is three to five times faster to build and to compare than a tree, and an empty map costs
// one pointer. They serve where sets compare member by member, print in a stable order, or are
// small and rarely used.
//
// An iterator holds its key, so the map may change under it: advance() goes to the next greater
// key that is present.
#pragma once
#include <algorithm>
#include <compare>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "platform/Types.h"

namespace Zet {

// A growing array that costs one pointer when empty.
template <class T> class CompactVector {
 public:
  CompactVector() = default;
  CompactVector(CompactVector const & o) { assignFrom(o); }
  CompactVector(CompactVector && o) noexcept : block_(std::exchange(o.block_, nullptr)) {}
  ~CompactVector() { freeBlock(); }
  CompactVector & operator=(CompactVector const & o) {
    if (this != &o) {
      if constexpr (std::is_trivially_copyable_v<T>) {
        // Reuses the block: the sets that a computation builds over and over stay allocated.
        reserve(o.size());
        if (block_) block_->size = o.size();
        if (o.size()) std::memcpy(static_cast<void *>(data()), o.data(), o.size() * sizeof(T));
      } else {
        freeBlock();
        block_ = nullptr;
        assignFrom(o);
      }
    }
    return *this;
  }
  CompactVector & operator=(CompactVector && o) noexcept {
    std::swap(block_, o.block_);
    return *this;
  }

  U32 size() const { return block_ ? block_->size : 0; }
  bool empty() const { return size() == 0; }
  T * data() const { return block_ ? reinterpret_cast<T *>(block_ + 1) : nullptr; }
  T * begin() const { return data(); }
  T * end() const { return data() + size(); }
  T & operator[](U32 i) const { return data()[i]; }

  void reserve(U32 n) {
    if (n <= (block_ ? block_->capacity : 0)) return;
    auto * b = static_cast<Block *>(::operator new(sizeof(Block) + n * sizeof(T)));
    b->size = size();
    b->capacity = n;
    T * to = reinterpret_cast<T *>(b + 1);
    if constexpr (std::is_trivially_copyable_v<T>) {
      if (size()) std::memcpy(static_cast<void *>(to), data(), size() * sizeof(T));
    } else {
      std::uninitialized_move_n(data(), size(), to);
      std::destroy_n(data(), size());
    }
    ::operator delete(block_);
    block_ = b;
  }
  void insert(U32 at, T v) {
    if (!block_ || block_->size == block_->capacity) reserve(grown());
    T * d = data();
    U32 n = block_->size++;
    if constexpr (std::is_trivially_copyable_v<T>) {
      std::memmove(static_cast<void *>(d + at + 1), d + at, (n - at) * sizeof(T));
      new (d + at) T(v);
    } else {
      new (d + n) T(std::move(v));
      std::rotate(d + at, d + n, d + n + 1);
    }
  }
  void push_back(T v) {
    if (!block_ || block_->size == block_->capacity) reserve(grown());
    new (data() + block_->size) T(std::move(v));
    ++block_->size;
  }
  void append(T const * from, U32 n) {
    if (n == 0) return;
    roomFor(n);
    std::uninitialized_copy_n(from, n, end());
    grow(n);
  }
  // For whoever writes members in place: room for n more, which grow() then takes in.
  void roomFor(U32 n) {
    if (n && (!block_ || block_->capacity - block_->size < n)) {
      reserve(std::max(grown(), size() + n));
    }
  }
  void grow(U32 n) {
    if (n) block_->size += n;
  }
  void remove(U32 at) {
    T * d = data();
    std::move(d + at + 1, d + size(), d + at);
    d[--block_->size].~T();
  }
  // Keeps the first n members.
  void truncate(U32 n) {
    if (n >= size()) return;
    std::destroy(data() + n, data() + size());
    block_->size = n;
  }
  void clear() { truncate(0); }
  // Gives back what is not needed; an empty vector costs one pointer again.
  void shrink() {
    if (empty()) {
      ::operator delete(std::exchange(block_, nullptr));
    } else if (block_->capacity > size()) {
      CompactVector exact(*this);
      std::swap(block_, exact.block_);
    }
  }

 private:
  struct alignas(alignof(T) > 8 ? alignof(T) : 8) Block {
    U32 size;
    U32 capacity;
  };
  U32 grown() const { return size() < 4 ? size() + 2 : size() + size() / 2; }
  void assignFrom(CompactVector const & o) {
    if (o.empty()) return;
    reserve(o.size());
    if constexpr (std::is_trivially_copyable_v<T>) {
      std::memcpy(static_cast<void *>(data()), o.data(), o.size() * sizeof(T));
    } else {
      std::uninitialized_copy(o.begin(), o.end(), data());
    }
    block_->size = o.size();
  }
  void freeBlock() {
    if (!block_) return;
    std::destroy(begin(), end());
    ::operator delete(block_);
  }
  Block * block_ = nullptr;
};

// What a map and a set share; E tells how a member's key is found.
template <class K, class T, class KeyOf> class SortedBlock {
 public:
  using Key = K;
  class Iterator {
   public:
    Iterator() = default;
    explicit operator bool() const { return at_ < map_->size(); }
    K const & key() const { return key_; }
    T & operator*() const { return map_->items_[at_]; }
    T * operator->() const { return &map_->items_[at_]; }
    void advance() {
      bool here = at_ < map_->size() && KeyOf::of(map_->items_[at_]) == key_;
      at_ = here ? at_ + 1 : map_->upper(key_);
      load();
    }
    Iterator & operator++() {
      advance();
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return at_ >= map_->size(); }

   private:
    friend class SortedBlock;
    Iterator(SortedBlock const * map, U32 at) : map_(map), at_(at) { load(); }
    void load() {
      if (at_ < map_->size()) key_ = KeyOf::of(map_->items_[at_]);
    }
    SortedBlock const * map_ = nullptr;
    U32 at_ = 0;
    K key_{};
  };

  U32 size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  bool contains(K const & key) const { return holds(lower(key), key); }
  bool del(K const & key) {
    U32 i = lower(key);
    if (!holds(i, key)) return false;
    items_.remove(i);
    if (items_.empty()) items_.shrink();
    return true;
  }
  void clear() {
    items_.clear();
    items_.shrink();
  }
  Iterator begin() const { return {this, 0}; }
  std::default_sentinel_t end() const { return {}; }
  Iterator startAt(K const & key) const { return {this, lower(key)}; }
  // The members side by side, for loops that change nothing.
  CompactVector<T> const & items() const { return items_; }
  CompactVector<T> & itemsForBuild() { return items_; }

 protected:
  U32 lower(K const & key) const {
    // Members mostly come in order: look at the end first.
    U32 n = items_.size();
    if (n == 0 || KeyOf::of(items_[n - 1]) < key) return n;
    T * p = std::lower_bound(items_.begin(), items_.end(), key,
                             [](T const & t, K const & k) { return KeyOf::of(t) < k; });
    return static_cast<U32>(p - items_.begin());
  }
  U32 upper(K const & key) const {
    U32 i = lower(key);
    return holds(i, key) ? i + 1 : i;
  }
  bool holds(U32 i, K const & key) const {
    return i < items_.size() && KeyOf::of(items_[i]) == key;
  }
  CompactVector<T> items_;
};

template <class K, class V> struct RbTreeItem {
  K key{};
  V value{};
  bool operator==(RbTreeItem const &) const = default;
};
template <class K, class V> struct KeyOfItem {
  static K const & of(RbTreeItem<K, V> const & i) { return i.key; }
};
template <class K> struct KeyOfSelf {
  static K const & of(K const & k) { return k; }
};

// Ordered map. Assignment copies.
template <class K, class V>
class RbTreeMap : public SortedBlock<K, RbTreeItem<K, V>, KeyOfItem<K, V>> {
 public:
  V * find(K const & key) const {
    U32 i = this->lower(key);
    return this->holds(i, key) ? &this->items_[i].value : nullptr;
  }
  V & at(K const & key) {
    U32 const n = this->items_.size();
    if (n == 0 || this->items_[n - 1].key < key) {
      this->items_.push_back({key, V{}});
      return this->items_[n].value;
    }
    U32 i = this->lower(key);
    if (!this->holds(i, key)) this->items_.insert(i, {key, V{}});
    return this->items_[i].value;
  }
  bool operator==(RbTreeMap const & o) const {
    return std::equal(this->items_.begin(), this->items_.end(), o.items_.begin(), o.items_.end());
  }
};

// A map to bool is a set: a key is true as long as it is present.
template <class K> class RbTreeMap<K, bool> : public SortedBlock<K, K, KeyOfSelf<K>> {
 public:
  // True if the key is new.
  bool insert(K const & key) {
    U32 i = this->lower(key);
    if (this->holds(i, key)) return false;
    this->items_.insert(i, key);
    return true;
  }
  bool operator==(RbTreeMap const & o) const {
    if (this->size() != o.size()) return false;
    return std::equal(this->items_.begin(), this->items_.end(), o.items_.begin());
  }
};

template <class K> using OrderedSet = RbTreeMap<K, bool>;

}  // namespace Zet
