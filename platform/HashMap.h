// Hash tables over counted members and over values, with one contract of iteration:
//  - A pass goes in the table's own order, sees each member that stays exactly once, and may or
//    may not see one that is added meanwhile.
//  - The current member may be deleted; advance() goes on behind its place.
//  - A pass can begin at any key, present or not; the order does not depend on the table's size.
#pragma once
#include <iterator>

#include "platform/Hash.h"
#include "platform/HashTable.h"
#include "platform/Ptr.h"

namespace Zet {

// Intrusive: a member is a RefCounted and a HashLink and holds its own key, fwkKey(). The table
// holds one reference to each.
template <class K, class M> class HashMap : public HashTable {
 public:
  using Key = K;
  using Member = M;

  // Stands on a member and keeps it alive, also when it has left the table.
  class Iterator {
   public:
    Iterator() = default;
    explicit operator bool() const { return static_cast<bool>(current_); }
    M * operator->() const { return current_.get(); }
    M & operator*() const { return *current_; }
    Ptr<M> const & ptr() const { return current_; }
    K const & key() const { return current_->fwkKey(); }
    bool stale() const { return !linkOf(current_.get())->inTable_; }
    void advance() {
      HashLink * l = linkOf(current_.get());
      current_ = memberAt(l->inTable_ ? map_->after(l) : map_->behind(l->order_, key()));
    }
    Iterator & operator++() {
      advance();
      return *this;
    }
    bool operator==(Iterator const & o) const { return current_ == o.current_; }
    bool operator==(std::default_sentinel_t) const { return !current_; }

   private:
    friend class HashMap;
    Iterator(HashMap const * map, HashLink * l) : map_(map), current_(memberAt(l)) {}
    HashMap const * map_ = nullptr;
    Ptr<M> current_;
  };

  HashMap() = default;
  ~HashMap() { clear(); }

  // Where a key stands in the order of the table: for who looks it up and then inserts it.
  U32 placeOf(K const & key) const { return order(key); }
  M * find(K const & key) const { return core_ ? find(key, order(key)) : nullptr; }
  M * find(K const & key, U32 o) const {
    if (!core_) return nullptr;
    HashLink * l = *chain(o);
    while (l && l->order_ < o) l = l->hashNext_;
    for (; l && l->order_ == o; l = l->hashNext_) {
      if (memberAt(l)->fwkKey() == key) return memberAt(l);
    }
    return nullptr;
  }
  bool contains(K const & key) const { return find(key); }
  // The key must not be in the table.
  void insert(Ptr<M> m) {
    U32 const o = order(m->fwkKey());
    insert(std::move(m), o);
  }
  void insert(Ptr<M> m, U32 o) {
    room();
    HashLink ** p = chain(o);
    while (*p && before(*p, o, m->fwkKey())) p = &(*p)->hashNext_;
    link(p, linkOf(m.release()), o);
  }
  Ptr<M> remove(M * m) {
    unlink(linkOf(m));
    return Ptr<M>::adopt(m);
  }
  bool del(K const & key) {
    M * m = find(key);
    return m && remove(m);
  }
  void clear() {
    for (Iterator i = begin(); i; i.advance()) {
      if (!i.stale()) remove(i.operator->());
    }
  }

  // A walk that holds nothing, for as long as the table does not change. Null behind the last one.
  M * next(M * m) const { return memberAt(after(linkOf(m))); }
  // REQUIRES: the table holds the member.
  Iterator at(M * m) const { return {this, linkOf(m)}; }

  Iterator begin() const { return {this, seek(0)}; }
  std::default_sentinel_t end() const { return {}; }
  // From this key on, whether or not it is present.
  Iterator startAt(K const & key) const { return {this, notBefore(order(key), key)}; }
  // The same for a caller that has the hash already and wants to know the bucket.
  Iterator startAtHash(K const & key, U32 hash, U32 * bucket) const {
    *bucket = bucketOf(hash);
    return {this, notBefore(bitReverse(hash), key)};
  }
  // Brings the place of a key into the cache ahead of find().
  void prefetch(K const & key) const {
    if (core_) __builtin_prefetch(chain(order(key)));
  }
  void prefetchMember(K const & key) const {
    if (core_) __builtin_prefetch(*chain(order(key)));
  }

 private:
  static U32 order(K const & key) {
    if constexpr (requires { key.reversedHash(); }) {
      return key.reversedHash();
    } else {
      return bitReverse(hashOf(key));
    }
  }
  static M * memberAt(HashLink * l) { return static_cast<M *>(l); }
  static HashLink * linkOf(M * m) { return m; }
  static bool before(HashLink * l, U32 o, K const & key) {
    return l->order_ < o || (l->order_ == o && memberAt(l)->fwkKey() < key);
  }
  HashLink * notBefore(U32 o, K const & key) const {
    HashLink * l = seek(o);
    while (l && before(l, o, key)) l = after(l);
    return l;
  }
  HashLink * behind(U32 o, K const & key) const {
    HashLink * l = notBefore(o, key);
    return l && l->order_ == o && memberAt(l)->fwkKey() == key ? after(l) : l;
  }
};

template <class K, class V> class HashMap2018;

// Stands on a node of a HashMap2018 and keeps it alive.
template <class K, class V> class HashMap2018IteratorGeneric {
 public:
  using Node = typename HashMap2018<K, V>::Node;
  using Inner = typename HashMap<K, Node>::Iterator;
  HashMap2018IteratorGeneric() = default;
  explicit HashMap2018IteratorGeneric(Inner i) : inner_(std::move(i)) {}
  explicit operator bool() const { return static_cast<bool>(inner_); }
  K const & key() const { return inner_.key(); }
  V & value() const { return inner_->value; }
  Node & operator*() const { return *inner_; }
  Node * operator->() const { return inner_.operator->(); }
  // The present node, skipping one that was deleted; null at the end.
  Node * currNodeNonStale() {
    if (inner_ && inner_.stale()) inner_.advance();
    return inner_.operator->();
  }
  // The present node, possibly already deleted; null at the end.
  Node * currNodeMaybeStale() const { return inner_.operator->(); }
  void advance() { inner_.advance(); }
  HashMap2018IteratorGeneric & operator++() {
    advance();
    return *this;
  }
  bool operator==(std::default_sentinel_t) const { return !inner_; }

 private:
  Inner inner_;
};

// Values in nodes of the table's own.
template <class K, class V> class HashMap2018 {
 public:
  using Key = K;
  using Iterator = HashMap2018IteratorGeneric<K, V>;

  class Node final : public RefCounted, public HashLink {
   public:
    explicit Node(K const & key) : key_(key) {}
    K const & fwkKey() const { return key_; }
    V value{};

   private:
    K const key_;
  };

  U32 size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  V * find(K const & key) const {
    Node * n = map_.find(key);
    return n ? &n->value : nullptr;
  }
  bool contains(K const & key) const { return map_.find(key); }
  V & at(K const & key) {
    Node * n = map_.find(key);
    return (n ? n : newMemberG(key))->value;
  }
  bool del(K const & key) { return map_.del(key); }
  void clear() { map_.clear(); }
  // The operations on nodes. newMemberG: the key must not be in the table.
  Node * lookupNodeG(K const & key) const { return map_.find(key); }
  Node * newMemberG(K const & key) {
    Ptr<Node> n = make<Node>(key);
    map_.insert(n);
    return n.get();
  }
  void deleteMemberG(Node * n) { map_.remove(n); }

  Iterator begin() const { return Iterator(map_.begin()); }
  std::default_sentinel_t end() const { return {}; }
  Iterator startAt(K const & key) const { return Iterator(map_.startAt(key)); }
  Iterator startAtHash(K const & key, U32 hash) const {
    U32 bucket = 0;
    return Iterator(map_.startAtHash(key, hash, &bucket));
  }

 private:
  HashMap<K, Node> map_;
};

}  // namespace Zet
