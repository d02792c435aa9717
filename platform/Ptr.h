// Counted objects and the strong pointer to them.
//
// The count lives in the object. By default it is a plain integer, since all logic of a process
// runs in one thread; a process that hands objects to other threads sets threadSafePointers_
// before it creates the first of them.
#pragma once
#include <compare>
#include <type_traits>
#include <utility>

#include "platform/Export.h"
#include "platform/Types.h"

namespace Zet {

// The switch between plain and atomic counts, for the whole process.
struct BRINDLE_API VFPtrInterface {
  static inline bool threadSafePointers_ = false;
};

// Base of all that is counted: the objects that are watched, and the reactors that watch them.
// An object is born with one reference, which make() hands to its maker.
class BRINDLE_API RefCounted {
 public:
  RefCounted(RefCounted const &) = delete;
  RefCounted & operator=(RefCounted const &) = delete;

  U32 references() const { return references_; }
  void referenceInc() const {
    if (VFPtrInterface::threadSafePointers_) [[unlikely]] {
      __atomic_fetch_add(&references_, 1, __ATOMIC_RELAXED);
    } else {
      ++references_;
    }
  }
  void referenceDec() const {
    if (VFPtrInterface::threadSafePointers_) [[unlikely]] {
      if (__atomic_sub_fetch(&references_, 1, __ATOMIC_ACQ_REL) == 0) zeroRef();
    } else if (--references_ == 0) {
      zeroRef();
    }
  }

  // Runs when the last reference has gone and the object is still whole: the place to return
  // resources. References that it takes must have been dropped when it returns.
  virtual void zeroReferencesIs(bool) {}

 protected:
  RefCounted() = default;
  virtual ~RefCounted();

 private:
  void zeroRef() const { const_cast<RefCounted *>(this)->handleZeroRef(); }
  void handleZeroRef();

  mutable U32 references_ = 1;
};

// A strong pointer; null means that the thing is absent.
template <class T> class Ptr {
 public:
  using Target = T;
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  Ptr(T * p) : p_(p) {
    if (p_) p_->referenceInc();
  }
  Ptr(Ptr const & o) : Ptr(o.p_) {}
  Ptr(Ptr && o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U *, T *> Ptr(Ptr<U> const & o) : Ptr(o.get()) {}
  template <class U>
  requires std::is_convertible_v<U *, T *> Ptr(Ptr<U> && o)
  noexcept : p_(o.release()) {}
  ~Ptr() {
    if (p_) p_->referenceDec();
  }
  Ptr & operator=(Ptr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }

  T * get() const { return p_; }
  T * ptr() const { return p_; }
  T * operator->() const { return p_; }
  T & operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

  // Gives the reference away without dropping it; adopt() takes one over.
  T * release() { return std::exchange(p_, nullptr); }
  static Ptr adopt(T * p) {
    Ptr r;
    r.p_ = p;
    return r;
  }

  template <class U> bool operator==(Ptr<U> const & o) const { return p_ == o.get(); }
  bool operator==(std::nullptr_t) const { return !p_; }

 private:
  T * p_ = nullptr;
};

// Creates an object and hands out its first reference.
template <class T, class... A> Ptr<T> make(A &&... a) {
  return Ptr<T>::adopt(new T(std::forward<A>(a)...));
}

}  // namespace Zet
