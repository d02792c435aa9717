#include "platform/Name.h"

#include <unordered_set>

namespace Zet {

// All names of the process. Members of an unordered_set stay where they are.
struct NamePool {
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return hashOf(text); }
    std::size_t operator()(Name::Entry const & entry) const { return entry.hash; }
  };
  struct Equal {
    using is_transparent = void;
    static std::string_view text(std::string_view v) { return v; }
    static std::string_view text(Name::Entry const & v) { return v.text; }
    bool operator()(auto const & a, auto const & b) const { return text(a) == text(b); }
  };

  static Name::Entry const * entry(std::string_view text) {
    // Never destroyed: names in static objects outlive everything else.
    static auto & entries = *new std::unordered_set<Name::Entry, Hash, Equal>;
    if (auto found = entries.find(text); found != entries.end()) return &*found;
    return &*entries.insert({std::string(text), hashOf(text)}).first;
  }
};

Name::Name(std::string_view text) : entry_(text.empty() ? nullptr : NamePool::entry(text)) {}

}  // namespace Zet
