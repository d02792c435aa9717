#include "platform/Reactor.h"

namespace Zet {

Sm::~Sm() = default;

void Sm::zetDoZombieReactors(bool) {
  for (ReactorHolder * h = holders_; h; h = h->next_) h->zombieIs();
}

ReactorHolder::~ReactorHolder() {
  for (ReactorHolder ** h = &sm_->holders_; *h; h = &(*h)->next_) {
    if (*h == this) {
      *h = next_;
      return;
    }
  }
}

}  // namespace Zet
