// What a user could pick instead for the plain case: the kernel's own multicast forwarding cache.
#pragma once
#include <string>

#include "platform/Types.h"

namespace Bench {

// Loads routes by MRT_ADD_MFC (linux/mroute.h) in a network namespace of its own, with a veth
// interface for each output. Needs root; refusal() says what is missing.
class KernelMfc {
 public:
  explicit KernelMfc(U32 outputs);
  ~KernelMfc();
  KernelMfc(KernelMfc const &) = delete;
  KernelMfc & operator=(KernelMfc const &) = delete;

  std::string const & refusal() const { return refusal_; }
  // Seconds a route, of the second load.
  double secondsToLoad(U32 routes);

 private:
  bool addVif(U32 number);

  U32 const outputs_;
  int socket_ = -1;
  int home_ = -1;
  std::string refusal_;
};

}  // namespace Bench
