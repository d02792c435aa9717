// Entity collections whose keys have small dense numbers, VLANs and interfaces: a look-up is one
// load from an array. They iterate in the order of their keys, so that what is built from them is
// sorted as it stands.
#pragma once

#include "platform/Ptr.h"
#include "platform/RbTreeMap.h"

namespace Zet {

template <class K, class M> class DenseMap {
  using Sorted = RbTreeMap<K, Ptr<M>>;

 public:
  using Key = K;
  using Member = M;

  // Stands on a member and keeps it alive; the map may change under it.
  class Iterator {
   public:
    Iterator() = default;
    explicit operator bool() const { return static_cast<bool>(current_); }
    M * operator->() const { return current_.get(); }
    M & operator*() const { return *current_; }
    Ptr<M> const & ptr() const { return current_; }
    K const & key() const { return at_.key(); }
    void advance() {
      at_.advance();
      load();
    }
    Iterator & operator++() {
      advance();
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return !current_; }

   private:
    friend class DenseMap;
    explicit Iterator(typename Sorted::Iterator at) : at_(std::move(at)) { load(); }
    void load() { current_ = at_ ? at_->value : Ptr<M>(); }
    typename Sorted::Iterator at_;
    Ptr<M> current_;
  };

  U32 size() const { return sorted_.size(); }
  bool empty() const { return sorted_.empty(); }
  // As with HashMap.
  U32 placeOf(K const & key) const { return indexOf(key); }
  M * find(K const & key) const { return find(key, indexOf(key)); }
  M * find(K const &, U32 i) const { return i < byIndex_.size() ? byIndex_[i] : nullptr; }
  bool contains(K const & key) const { return find(key); }
  // The key must not be in the map.
  void insert(Ptr<M> m) {
    U32 const i = indexOf(m->fwkKey());
    insert(std::move(m), i);
  }
  void insert(Ptr<M> m, U32 i) {
    while (byIndex_.size() <= i) byIndex_.push_back(nullptr);
    byIndex_[i] = m.get();
    K const key = m->fwkKey();
    sorted_.at(key) = std::move(m);
  }
  bool del(K const & key) {
    if (!find(key)) return false;
    byIndex_[indexOf(key)] = nullptr;
    Ptr<M> keep = std::move(sorted_.at(key));  // its key may be the argument
    return sorted_.del(keep->fwkKey());
  }

  Iterator begin() const { return Iterator(sorted_.begin()); }
  std::default_sentinel_t end() const { return {}; }
  Iterator startAt(K const & key) const { return Iterator(sorted_.startAt(key)); }
  // Keys and members side by side, for loops that change nothing.
  auto const & items() const { return sorted_.items(); }

 private:
  static U32 indexOf(K const & key) {
    if constexpr (requires { key.index(); }) {
      return key.index();
    } else {
      return key.value();
    }
  }
  Sorted sorted_;
  CompactVector<M *> byIndex_;
};

}  // namespace Zet
