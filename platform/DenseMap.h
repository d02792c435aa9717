// Entity collections whose keys have small dense numbers, VLANs and interfaces: a look-up is one
// load from an array. They iterate as a HashMap does, which they keep beside the array.
#pragma once

#include "platform/HashMap.h"
#include "platform/RbTreeMap.h"

namespace Zet {

template <class K, class M> class DenseMap : private HashMap<K, M> {
  using Table = HashMap<K, M>;

 public:
  using Table::begin;
  using Table::empty;
  using Table::end;
  using Table::size;
  using Table::startAt;
  using typename Table::Iterator;
  using typename Table::Key;
  using typename Table::Member;

  M * find(K const & key) const {
    U32 const i = indexOf(key);
    return i < byIndex_.size() ? byIndex_[i] : nullptr;
  }
  bool contains(K const & key) const { return find(key); }
  // The key must not be in the map.
  void insert(Ptr<M> m) {
    U32 const i = indexOf(m->fwkKey());
    while (byIndex_.size() <= i) byIndex_.push_back(nullptr);
    byIndex_[i] = m.get();
    Table::insert(std::move(m));
  }
  bool del(K const & key) {
    M * m = find(key);
    if (!m) return false;
    byIndex_[indexOf(key)] = nullptr;
    this->remove(m);
    return true;
  }

 private:
  static U32 indexOf(K const & key) {
    if constexpr (requires { key.index(); }) {
      return key.index();
    } else {
      return key.value();
    }
  }
  CompactVector<M *> byIndex_;
};

}  // namespace Zet
