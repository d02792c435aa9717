#include "platform/Entity.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "platform/Assert.h"

namespace Zet {

RefCounted::~RefCounted() = default;

void RefCounted::handleZeroRef() {
  references_ = 1;  // pinned: the clean-up may take references and drop them
  zeroReferencesIs(true);
  ZET_ASSERT(references_ == 1, "references_ == 1");
  references_ = 0;
  delete this;
}

PtrInterface::~PtrInterface() { ZET_ASSERT(!notifieeList_, "!notifieeList_"); }

void PtrInterface::append(Link * l) const {
  reactorDepth_ = std::max(reactorDepth_, l->depth_);
  l->next_ = nullptr;
  if (!notifieeList_) {
    notifieeList_ = l;
    l->prev_ = l;
    return;
  }
  Link * last = notifieeList_->prev_;
  last->next_ = l;
  l->prev_ = last;
  notifieeList_->prev_ = l;
}

void PtrInterface::remove(Link * l) const {
  if (l == notifieeList_) {
    notifieeList_ = l->next_;
    if (notifieeList_) {
      notifieeList_->prev_ = l->prev_;
    } else {
      reactorDepth_ = 0;
    }
    return;
  }
  l->prev_->next_ = l->next_;
  (l->next_ ? l->next_ : notifieeList_)->prev_ = l->prev_;
}

// Calls one reactor, pinned.
template <class F> inline void PtrInterface::guarded(Link * l, F call) {
  Ptr<NotifieeConst> n(static_cast<NotifieeConst *>(l));
  try {
    call(n.get());
  } catch (std::exception const & e) {
    n->onNotificationException(e.what());
  } catch (...) {
    n->onNotificationException("unknown exception");
  }
}

// The position marker stands behind the reactor that is being called, so that this may leave the
// list; the end marker keeps those that are added meanwhile out of the walk.
template <class F> [[gnu::noinline]] void PtrInterface::forSeveral(unsigned depth, F call) const {
  Ptr<PtrInterface const> self(this);
  Link position;
  Link end;
  append(&end);
  for (Link * l = notifieeList_; l != &end;) {
    if (l->depth_ < depth) {
      l = l->next_;
      continue;
    }
    position.prev_ = l;
    position.next_ = l->next_;
    l->next_->prev_ = &position;
    l->next_ = &position;
    guarded(l, call);
    l = position.next_;
    remove(&position);
  }
  remove(&end);
}

// Most objects have one reactor, which is deep enough if any is.
template <class F> inline void PtrInterface::forEachReactor(unsigned depth, F call) const {
  if (!notificationActive_) return;
  Link * only = notifieeList_;
  if (only->next_) return forSeveral(depth, call);
  if (only->depth_ >= depth) guarded(only, call);
}

void PtrInterface::deliver(unsigned depth, void (NotifieeConst::*callback)()) const {
  forEachReactor(depth, [callback](NotifieeConst * n) { (n->*callback)(); });
}

void PtrInterface::deliverKey(unsigned depth, KeyedCall call, void const * key) const {
  forEachReactor(depth, [call, key](NotifieeConst * n) { call(n, key); });
}

void PtrInterface::NotifieeConst::detach() {
  zombie_ = true;
  if (!notifier_) return;
  notifier_->remove(this);
  notifier_ = nullptr;
}

void PtrInterface::NotifieeConst::notifierIs(PtrInterface const * n) {
  if (n == notifier_.get()) return;
  Ptr<PtrInterface> old = std::move(notifier_);
  if (old) old->remove(this);
  notifier_ = const_cast<PtrInterface *>(n);
  zombie_ = !n;
  if (n) n->append(this);
  immediatePass();
}

void PtrInterface::NotifieeConst::onNotificationException(char const * what) noexcept {
  std::fprintf(stderr, "exception in a reactor: %s\n", what);
}

std::string Entity::fullName() const {
  std::string path;
  for (Entity const * e = this; e; e = e->parent()) {
    std::string_view part = e->name().view();
    if (part.empty()) continue;
    path.insert(0, part);
    path.insert(0, 1, '/');
  }
  return path;
}

}  // namespace Zet
