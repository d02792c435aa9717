// The object framework: objects with attributes, and the reactors that watch them.
//
// Rules for its users:
//  - A mutator that is given the value an attribute already holds does nothing. After a real
//    change it calls, before it returns, every reactor of the object that has a callback for the
//    attribute, in order of registration: onX() for a scalar, onX(key) for a collection. A
//    deletion calls the same callback; the reactor looks the key up again.
//  - Callbacks are idempotent: they may come for a key that did not change.
//  - Handlers mark and kick; they compute nothing.
//  - A callback may do anything: delete itself, other reactors or the notifier, set the attribute
//    again, throw. After a mutator returns, `this` may be gone unless the caller holds it.
//  - A reactor that is added during a delivery is not called in it: its immediate pass has shown
//    it the state.
//  - A reactor holds its notifier strongly. Its owner detaches it by deleting it from the member
//    that holds it (see Reactor.h).
#pragma once
#include "platform/Name.h"
#include "platform/Ptr.h"

namespace Zet {

// An object that can be watched. An attribute x has the accessor x() and the mutator xIs(value),
// written out in the derived class with the protected templates below.
class BRINDLE_API PtrInterface : public RefCounted {
 public:
  class NotifieeConst;

  // Whether changes of this object are delivered to its reactors.
  bool hasNotificationActive() const { return notificationActive_; }
  void hasNotificationActiveIs(bool v) { notificationActive_ = v; }
  // True from the moment that the last reference has gone.
  bool zetMarkedForDeletion() const { return references() == 0 || markedForDeletion_; }
  void zetMarkedForDeletionIs(bool v) { markedForDeletion_ = v; }
  bool hasReactors() const { return notifieeList_ != nullptr; }

  // A place in the list of a notifier. The markers of a delivery that is under way have depth 0.
  class Link {
   public:
    explicit Link(U8 depth = 0) : depth_(depth) {}
    Link * next_ = nullptr;
    Link * prev_ = nullptr;  // of the first: the last
    U8 depth_;               // how far the watched class is derived from PtrInterface
    bool zombie_ = false;
  };

 private:
  template <class> struct HookOf;
  template <class N, class K> struct HookOf<void (N::*)(K const &)> {
    using Notifiee = N;
    using Key = K;
  };

 protected:
  PtrInterface() = default;
  ~PtrInterface() override;

  // Stores a scalar and tells the reactors; true if that changed something.
  template <class T, class V, class N> bool assign(T & member, V && value, void (N::*callback)()) {
    if (member == value) return false;
    member = std::forward<V>(value);
    notify(callback);
    return true;
  }
  // The same for an attribute that has no callback.
  template <class T, class V> bool assign(T & member, V && value) {
    if (member == value) return false;
    member = std::forward<V>(value);
    return true;
  }
  template <class N> void notify(void (N::*callback)()) const {
    if (reactorDepth_ < N::zetDepth) return;
    deliver(N::zetDepth, static_cast<void (NotifieeConst::*)()>(callback));
  }

  // Maps of values: the default value stands for an absent key.
  template <class M, class K> static auto lookup(M const & map, K const & key) {
    auto * v = map.find(key);
    using V = std::remove_cvref_t<decltype(*v)>;
    return v ? *v : V{};
  }
  template <auto callback, class M, class K, class V>
  bool put(M & map, K const & key, V const & value) {
    if (auto * old = map.find(key)) {
      if (*old == value) return false;
      *old = value;
    } else {
      map.at(key) = value;
    }
    notify<callback>(key);
    return true;
  }
  template <auto callback, class M, class K> bool erase(M & map, K const & keyOfMember) {
    K const key = keyOfMember;  // it may be a part of the member
    if (!map.del(key)) return false;
    notify<callback>(key);
    return true;
  }
  // Sets: a map to bool whose absent keys are false.
  template <auto callback, class S, class K> bool flag(S & set, K const & keyOfMember, bool v) {
    K const key = keyOfMember;
    if (!(v ? set.insert(key) : set.del(key))) return false;
    notify<callback>(key);
    return true;
  }
  template <auto callback, class K> void notify(K const & key) const {
    if (reactorDepth_ >= HookOf<decltype(callback)>::Notifiee::zetDepth) fire<callback>(key);
  }

 private:
  using KeyedCall = void (*)(NotifieeConst *, void const *);
  template <auto callback, class K> void fire(K const & key) const {
    using H = HookOf<decltype(callback)>;
    typename H::Key const & k = key;
    deliverKey(
        H::Notifiee::zetDepth,
        [](NotifieeConst * n, void const * p) {
          (static_cast<typename H::Notifiee *>(n)->*callback)(
              *static_cast<typename H::Key const *>(p));
        },
        &k);
  }
  void deliver(unsigned depth, void (NotifieeConst::*callback)()) const;
  void deliverKey(unsigned depth, KeyedCall, void const * key) const;
  template <class F> static void guarded(Link *, F);
  template <class F> void forSeveral(unsigned depth, F) const;
  template <class F> void forEachReactor(unsigned depth, F) const;
  void append(Link *) const;
  void remove(Link *) const;

  bool notificationActive_ = true;
  bool markedForDeletion_ = false;
  // The greatest depth in the list since it was last empty: what lies deeper is told to nobody.
  mutable U8 reactorDepth_ = 0;
  mutable Link * notifieeList_ = nullptr;
};

// Base of all reactors: one object that watches one notifier. The NotifieeConst classes of the
// entities form a chain parallel to the entities' own inheritance; the depth of a class in it
// says which callbacks a reactor has, so that delivery needs no dynamic_cast.
class BRINDLE_API PtrInterface::NotifieeConst : public RefCounted, public PtrInterface::Link {
 public:
  static constexpr unsigned zetDepth = 1;

  // A zombie is detached: no callback reaches it any more, though it may still be referenced.
  bool zombie() const { return zombie_; }
  // Attaches to a notifier, or to another one, or to none, and runs the immediate pass.
  void notifierIs(PtrInterface const *);
  void detach();
  // Detaches this reactor and, where it owns others, those.
  virtual void zetDoZombieReactors(bool) { detach(); }
  // Makes the state of a new target look like a series of events.
  virtual void immediatePass() {}
  // An exception has left a callback of this reactor; the next reactor is called.
  virtual void onNotificationException(char const * what) noexcept;

 protected:
  NotifieeConst() : Link(1) {}
  ~NotifieeConst() override { detach(); }
  PtrInterface * notifierBase() const { return notifier_.get(); }

 private:
  Ptr<PtrInterface> notifier_;
};

// An object of the tree of state: it has a name, a parent and, by these, a path.
class BRINDLE_API Entity : public PtrInterface {
 public:
  class NotifieeConst : public PtrInterface::NotifieeConst {
   public:
    static constexpr unsigned zetDepth = PtrInterface::NotifieeConst::zetDepth + 1;

   protected:
    NotifieeConst() { depth_ = zetDepth; }
  };

  // Members of collections derive their name from their key.
  virtual Name name() const { return {}; }
  // The names of all ancestors and of this entity, joined by slashes. Overridden where there are
  // too many entities to give each a name.
  virtual std::string fullName() const;
  Entity * parent() const { return parent_; }
  void parentIs(Entity * p) {
    if (parent_ == p) return;
    parent_ = p;
    handleParent();
  }
  virtual void handleParent() {}

 protected:
  // Collections of entities: finds the member or creates it with this object as its parent.
  template <auto callback, class M, class K, class... A>
  auto create(M & map, K const & key, A &&... a) {
    using T = typename M::Member;
    auto const place = map.placeOf(key);
    if (T * old = map.find(key, place)) return Ptr<T>(old);
    Ptr<T> m = make<T>(key, std::forward<A>(a)...);
    if constexpr (std::is_base_of_v<Entity, T>) m->parentIs(this);
    map.insert(m, place);
    this->template notify<callback>(key);
    return m;
  }

  // A member that leaves may live on in other hands, without a parent.
  template <auto callback, class M, class K> bool erase(M & map, K const & key) {
    if constexpr (requires { typename M::Member; }) {
      if constexpr (std::is_base_of_v<Entity, typename M::Member>) {
        if (auto * m = map.find(key); m && m->parent() == this) m->parentIs(nullptr);
      }
    }
    return PtrInterface::erase<callback>(map, key);
  }
  template <auto callback, class M> void eraseAll(M & map) {
    Ptr<PtrInterface> self(this);
    for (auto i = map.begin(); i; i.advance()) erase<callback>(map, i.key());
  }

 private:
  Entity * parent_ = nullptr;
};

// Base of X::NotifieeConst, where X is derived from Base.
template <class X, class Base> class NotifieeOf : public Base::NotifieeConst {
 public:
  using Notifier = X;
  static constexpr unsigned zetDepth = Base::NotifieeConst::zetDepth + 1;
  static_assert(zetDepth < 16);

 protected:
  NotifieeOf() { this->depth_ = zetDepth; }
};

}  // namespace Zet
