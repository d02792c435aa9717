// Names of entities, and keys by name.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Hash.h"

namespace Zet {

// An interned text: one pointer, equal exactly if it is the same one; ordered and hashed by text.
//
// Names are never given back: they are for what a switch has a bounded number of. The table of
// names belongs to one thread, the agent's.
class BRINDLE_API Name {
 public:
  constexpr Name() = default;
  Name(char const * text) : Name(std::string_view(text)) {}
  explicit Name(std::string_view text);

  bool empty() const { return !entry_; }
  std::string_view view() const { return entry_ ? std::string_view(entry_->text) : ""; }
  operator std::string_view() const { return view(); }
  char const * c_str() const { return entry_ ? entry_->text.c_str() : ""; }
  U32 hash() const { return entry_ ? entry_->hash : hashOf(std::string_view()); }

  friend bool operator==(Name a, Name b) { return a.entry_ == b.entry_; }
  friend std::strong_ordering operator<=>(Name a, Name b) {
    return a == b ? std::strong_ordering::equal : a.view() <=> b.view();
  }

  static constexpr char const * zetType = "Zet::Name";

 private:
  friend struct NamePool;
  struct Entry {
    std::string text;
    U32 hash;
  };

  Entry const * entry_ = nullptr;
};

}  // namespace Zet
