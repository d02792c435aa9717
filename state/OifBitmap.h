// The outputs of a published route, as a set of indices into its table's list of interfaces.
#pragma once

#include <algorithm>
#include <bit>
#include <compare>
#include <utility>

#include "platform/Export.h"
#include "platform/Value.h"

namespace Shoal::Multicast::Fib {

// An output in a table's list: an interface with its properties.
struct OifIndex {
  U16 value = 0;

  constexpr OifIndex() = default;
  explicit constexpr OifIndex(U16 v) : value(v) {}
  constexpr U32 hash() const { return Zet::hashOf(value); }
  auto operator<=>(OifIndex const &) const = default;
  static constexpr char const * zetType = "Shoal::Multicast::Fib::OifIndex";
  static constexpr auto zetFields() { return std::array{Zet::field<&OifIndex::value>("value")}; }
};

// A set of OifIndex. The first 512 cost no memory of their own; a set that holds a greater one
// moves to the heap. Sets of different sizes are equal if they have the same members.
class BRINDLE_API OifBitmap {
 public:
  static constexpr U32 inlineWords = 8;
  static constexpr U32 maxWords = 65536 / 64;

  OifBitmap() : inline_{} {}
  OifBitmap(OifBitmap const & o) : OifBitmap() { assignWords(o.words(), o.wordCount_); }
  OifBitmap(OifBitmap && o) noexcept : OifBitmap() { swap(o); }
  ~OifBitmap() {
    if (!isInline()) delete[] heap_;
  }
  OifBitmap & operator=(OifBitmap const & o) {
    if (this != &o) assignWords(o.words(), o.wordCount_);
    return *this;
  }
  OifBitmap & operator=(OifBitmap && o) noexcept {
    swap(o);
    return *this;
  }

  // The size in bits.
  U32 size() const { return 64u * wordCount_; }
  U32 wordCount() const { return wordCount_; }
  U64 const * words() const { return isInline() ? inline_ : heap_; }
  // Takes the members from `count` words. Allocates only if they do not fit the present size.
  void assignWords(U64 const * words, U32 count) {
    if (count == inlineWords && isInline()) {
      std::copy_n(words, inlineWords, inline_);
      return;
    }
    if (count > wordCount_) grow(count);
    U64 * to = mutableWords();
    std::copy_n(words, count, to);
    std::fill(to + count, to + wordCount_, 0);
  }

  bool contains(OifIndex i) const {
    U32 const word = i.value / 64u;
    return word < wordCount_ && (words()[word] >> i.value % 64u & 1) != 0;
  }
  void set(OifIndex i, bool v) {
    U32 const word = i.value / 64u;
    U64 const bit = U64{1} << i.value % 64u;
    if (word >= wordCount_) {
      if (!v) return;
      grow(std::bit_ceil(word + 1));
    }
    if (v) {
      mutableWords()[word] |= bit;
    } else {
      mutableWords()[word] &= ~bit;
    }
  }
  bool none() const { return noneFrom(0); }
  // How many members it has.
  U32 count() const {
    U32 n = 0;
    for (U32 i = 0; i < wordCount_; ++i) {
      for (U64 rest = words()[i]; rest; rest &= rest - 1) ++n;
    }
    return n;
  }
  // One more than the greatest member; 0 if there is none.
  U32 bound() const;

  OifBitmap & operator^=(OifBitmap const & o) {
    if (o.wordCount_ > wordCount_) grow(o.wordCount_);
    U64 * to = mutableWords();
    U64 const * from = o.words();
    for (U32 i = 0; i < o.wordCount_; ++i) to[i] ^= from[i];
    return *this;
  }
  OifBitmap & operator&=(OifBitmap const & o) {
    U64 * to = mutableWords();
    U64 const * from = o.words();
    U32 const common = std::min(wordCount_, o.wordCount_);
    for (U32 i = 0; i < common; ++i) to[i] &= from[i];
    std::fill(to + common, to + wordCount_, 0);
    return *this;
  }
  bool operator==(OifBitmap const & o) const {
    U64 const * a = words();
    U64 const * b = o.words();
    U32 const common = std::min(wordCount_, o.wordCount_);
    U64 differ = 0;
    for (U32 i = 0; i < common; ++i) differ |= a[i] ^ b[i];
    return !differ && noneFrom(common) && o.noneFrom(common);
  }

  // Walks the members in rising order. The set must stay as it is.
  class Iterator {
   public:
    explicit Iterator(OifBitmap const & set) : words_(set.words()), count_(set.wordCount_) {
      rest_ = words_[0];
      seek();
    }
    explicit operator bool() const { return rest_ != 0; }
    OifIndex index() const {
      return OifIndex(static_cast<U16>(64 * at_ + static_cast<U32>(std::countr_zero(rest_))));
    }
    void advance() {
      rest_ &= rest_ - 1;
      seek();
    }

   private:
    void seek() {
      while (!rest_ && ++at_ < count_) rest_ = words_[at_];
    }
    U64 const * words_;
    U32 count_;
    U32 at_ = 0;
    U64 rest_;
  };

 private:
  bool isInline() const { return wordCount_ == inlineWords; }
  U64 * mutableWords() { return isInline() ? inline_ : heap_; }
  bool noneFrom(U32 word) const {
    U64 const * w = words();
    U64 any = 0;
    for (U32 i = word; i < wordCount_; ++i) any |= w[i];
    return !any;
  }
  void grow(U32 wordCount);
  void swap(OifBitmap & o) noexcept;

  union {
    U64 inline_[inlineWords];
    U64 * heap_;
  };
  // Last, so that the members of a route can stand in the rest of its word.
  U16 wordCount_ = inlineWords;
};

// The text form is the list of the members.
BRINDLE_API void valueToStrep(std::string &, OifBitmap const &);
BRINDLE_API void strepToValue(Zet::StrepReader &, OifBitmap &);

}  // namespace Shoal::Multicast::Fib
