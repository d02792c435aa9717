// State machines and the reactors that they hold.
//
// A machine is a class ...Sm. Its nested classes ZetX are its reactors, each on one watched
// object; it holds them in ReactorPtr and ReactorMap members, which register with it. When its
// last reference goes, all of them are detached while it is whole (zombies), and handleDel runs.
// `initialized` and handleInitialized() are the machine's own: handlers that arrive before it is
// initialized return.
#pragma once
#include "platform/Entity.h"
#include "platform/HashMap.h"

namespace Zet {

class ReactorHolder;

// Base of the machines.
class BRINDLE_API Sm : public Entity {
 public:
  // Detaches all reactors that this machine holds.
  virtual void zetDoZombieReactors(bool);
  // The machine is going; its reactors are detached already.
  virtual void handleDel() {}
  void zeroReferencesIs(bool) override {
    zetDoZombieReactors(true);
    handleDel();
  }

 protected:
  ~Sm() override;

 private:
  friend class ReactorHolder;
  ReactorHolder * holders_ = nullptr;
};

// What holds reactors; a member of the machine that it registers with.
class BRINDLE_API ReactorHolder {
 public:
  ReactorHolder(ReactorHolder const &) = delete;
  ReactorHolder & operator=(ReactorHolder const &) = delete;
  // Detaches the reactors but keeps them.
  virtual void zombieIs() = 0;

 protected:
  explicit ReactorHolder(Sm * sm) : sm_(sm), next_(sm->holders_) { sm->holders_ = this; }
  virtual ~ReactorHolder();
  Sm * smBase() const { return sm_; }

 private:
  friend class Sm;
  Sm * sm_;
  ReactorHolder * next_;
};

// Base of a reactor of machine S on X, which may be const. Null notifier: nothing is called.
template <class X, class S> class Reactor : public std::remove_const_t<X>::NotifieeConst {
 public:
  using Target = X;
  using Machine = S;
  explicit Reactor(S * sm) : sm_(sm) {}
  S * sm() const { return sm_; }
  Ptr<X> notifier() const { return target(); }
  // The same without a reference of the caller's own.
  X * target() const { return static_cast<X *>(this->notifierBase()); }

 private:
  S * sm_;
};

// The reactor on one member of a collection.
template <class K, class X, class S> class KeyedReactor : public Reactor<X, S>, public HashLink {
 public:
  using Key = K;
  KeyedReactor(S * sm, K const & key) : Reactor<X, S>(sm), key_(key) {}
  K const & key() const { return key_; }
  K const & fwkKey() const { return key_; }

 private:
  K const key_;
};

// Holds at most one reactor.
template <class R> class ReactorPtr final : public ReactorHolder {
 public:
  explicit ReactorPtr(Sm * sm) : ReactorHolder(sm) {}
  ~ReactorPtr() override { del(); }

  // Makes the reactor or moves it to another target (which may be null), and runs its immediate
  // pass if the target is another one than before.
  void attach(typename R::Target * target) {
    if (!reactor_) reactor_ = make<R>(static_cast<typename R::Machine *>(smBase()));
    Ptr<R> keep(reactor_);
    keep->notifierIs(target);
  }
  template <class T> void attach(Ptr<T> const & target) { attach(target.get()); }
  void del() {
    Ptr<R> r = std::move(reactor_);
    if (r) r->zetDoZombieReactors(true);
  }
  void zombieIs() override {
    if (reactor_) reactor_->zetDoZombieReactors(true);
  }

  R * get() const { return reactor_.get(); }
  R * operator->() const { return reactor_.get(); }
  explicit operator bool() const { return static_cast<bool>(reactor_); }
  // What is watched, or null.
  auto * target() const {
    using T = typename R::Target;
    return reactor_ ? reactor_->target() : static_cast<T *>(nullptr);
  }

 private:
  Ptr<R> reactor_;
};

// Holds the reactors on the members of a collection, by key.
template <class K, class R> class ReactorMap final : public ReactorHolder, public HashMap<K, R> {
 public:
  explicit ReactorMap(Sm * sm) : ReactorHolder(sm) {}
  ~ReactorMap() override {
    zombieIs();
    this->clear();
  }

  // Finds or makes the reactor of a key and attaches it to the target.
  R * attach(K const & key, typename R::Target * target) {
    Ptr<R> r(this->find(key));
    if (!r) {
      r = make<R>(static_cast<typename R::Machine *>(smBase()), key);
      this->insert(r);
    }
    r->notifierIs(target);
    return r.get();
  }
  template <class T> R * attach(K const & key, Ptr<T> const & target) {
    return attach(key, target.get());
  }
  // The same for a member that has come or, where there is no target, gone. True if the target is
  // another one than before.
  bool follow(K const & key, typename R::Target * target) {
    R * const held = this->find(key);
    bool const another = target != (held ? held->target() : nullptr);
    if (target) {
      attach(key, target);
    } else {
      del(key);
    }
    return another;
  }
  void del(K const & key) {
    R * r = this->find(key);
    if (!r) return;
    Ptr<R> keep = this->remove(r);
    keep->zetDoZombieReactors(true);
  }
  void delAll() {
    for (auto i = this->begin(); i; i.advance()) {
      if (!i.stale()) del(i.key());
    }
  }
  void zombieIs() override {
    for (auto i = this->begin(); i; i.advance()) i->zetDoZombieReactors(true);
  }
};

// Makes a watched collection look like events: calls the handler for each member and then for
// each key that is held but no longer watched. Either may be null.
template <class C, class Z, class H> void replay(C const * watched, Z const & held, H handler) {
  if (watched) {
    for (auto i = watched->begin(); i; i.advance()) handler(i.key());
  }
  for (auto i = held.begin(); i; i.advance()) {
    if (!watched || !watched->contains(i.key())) handler(i.key());
  }
}

}  // namespace Zet
