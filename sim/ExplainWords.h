// What the resolver's explanation of a route means, in the words of the field.
#pragma once

#include "mira/Explanation.h"
#include "sim/Views.h"

namespace Brindle::Sim {

// One step: what became of something, which record decided it, and commands, each of which alone
// would change it as far as this step goes.
struct Told {
  std::string text;
  std::string record;
  std::vector<std::string> remedies{};
};

class ExplainWords {
 public:
  // All must outlive this object.
  ExplainWords(Host const & host, KeyView const & key, Explanation const & explanation)
      : host_(host),
        key_(key),
        explanation_(explanation) {}

  Told of(RouteVerdict verdict) const;
  Told of(Explanation::Output const & output) const;
  Told of(Explanation::Special const & special) const;
  Told of(Explanation::Vlan const & vlan) const;
  Told of(Explanation::Port const & port) const;

 private:
  Told wish(Explanation::Port const & port) const;
  Told refused(Explanation::Port const & port) const;
  Told lag(Explanation::Port const & port) const;
  Told spanningTree(Explanation::Port const & port) const;
  std::string carriers(Explanation::Port const & lag) const;

  Host const & host_;
  KeyView const & key_;
  Explanation const & explanation_;
};

}  // namespace Brindle::Sim
