// Insertion-ordered queue of keyed members with O(1) look-up and removal by key. Nodes that leave
// are kept for reuse, so that a queue in steady use allocates nothing.
#pragma once
#include "platform/HashMap.h"
#include "platform/RbTreeMap.h"

namespace Zet {

template <class K, class V> class LinkQueue {
  struct Link {
    Link * next = this;
    Link * prev = this;
    bool isNode = false;
    void insertBefore(Link * at) {
      next = at;
      prev = at->prev;
      prev->next = this;
      at->prev = this;
    }
    void unlink() {
      prev->next = next;
      next->prev = prev;
      next = prev = this;
    }
  };
  struct Node final : RefCounted, HashLink, Link {
    Node(K const & k) : key(k) { this->isNode = true; }
    K const & fwkKey() const { return key; }
    K key;
    V value{};
  };

 public:
  using Key = K;

  // Walks in order of insertion. A bookmark keeps its place when its neighbours, or the member
  // that it was taken at, leave the queue.
  class Iterator {
   public:
    explicit Iterator(LinkQueue & q) : queue_(&q), at_(q.ends_.next) { skipMarks(); }
    Iterator(Iterator const &) = delete;
    Iterator & operator=(Iterator const &) = delete;
    ~Iterator() { bookmark_.unlink(); }
    explicit operator bool() const { return at_ != &queue_->ends_; }
    K const & key() const { return node()->key; }
    V & value() const { return node()->value; }
    void advance() {
      at_ = at_->next;
      skipMarks();
    }
    bool hasBookmark() const { return bookmark_.next != &bookmark_; }
    // Marks the place of the present member.
    void bookmarkIs() {
      bookmark_.unlink();
      bookmark_.insertBefore(at_);
    }
    // Goes on at the bookmark: at the member that it was taken at, or at the one behind it.
    void resume() {
      at_ = bookmark_.next;
      skipMarks();
      bookmark_.unlink();
    }

   private:
    Node * node() const { return static_cast<Node *>(at_); }
    void skipMarks() {
      while (!at_->isNode && at_ != &queue_->ends_) at_ = at_->next;
    }
    LinkQueue * queue_;
    Link * at_;
    Link bookmark_;
  };

  LinkQueue() = default;
  LinkQueue(LinkQueue const &) = delete;
  LinkQueue & operator=(LinkQueue const &) = delete;
  ~LinkQueue() {
    clear();
    ends_.unlink();
  }

  U32 size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  V * find(K const & key) const {
    Node * n = map_.find(key);
    return n ? &n->value : nullptr;
  }
  // Appends; false if the key is queued already.
  bool push(K const & key, V value) {
    if (map_.find(key)) return false;
    Ptr<Node> n;
    if (free_.empty()) {
      n = make<Node>(key);
    } else {
      n = std::move(free_[free_.size() - 1]);
      free_.truncate(free_.size() - 1);
      n->key = key;
    }
    n->value = std::move(value);
    n->insertBefore(&ends_);
    map_.insert(std::move(n));
    return true;
  }
  // The oldest member; null if the queue is empty.
  K const * frontKey() const { return empty() ? nullptr : &first()->key; }
  V * front() const { return empty() ? nullptr : &first()->value; }
  void pop() {
    if (!empty()) release(first());
  }
  bool del(K const & key) {
    Node * n = map_.find(key);
    if (n) release(n);
    return n;
  }
  void clear() {
    while (!empty()) pop();
  }

 private:
  Node * first() const {
    Link * l = ends_.next;
    while (!l->isNode) l = l->next;
    return static_cast<Node *>(l);
  }
  void release(Node * n) {
    n->unlink();
    free_.push_back(map_.remove(n));
  }

  Link ends_;  // next: the oldest, prev: the newest
  HashMap<K, Node> map_;
  CompactVector<Ptr<Node>> free_;
};

}  // namespace Zet
