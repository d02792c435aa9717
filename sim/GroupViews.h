// What there is to see of replication groups that agents ask for.
#pragma once

#include "sim/Views.h"

namespace Brindle::Sim {

struct GroupView {
  struct Request {
    U32 id;
    OutputsView outputs;  // as they were asked for
    bool toCpu;
    U32 feature;
    double asked;  // when
  };
  struct Answer {
    bool success;
    U32 multicastId;
    U32 requestId;  // that it answers
    U32 responseId;
    std::optional<double> after;  // the request, if it answers the last one
  };
  struct Standing {
    std::string chip;
    U32 multicastId;
    OutputsView outputs;  // the local ones
    bool active;
  };

  U32 client;
  U32 group;
  std::optional<Request> request;  // none if it has been dropped
  std::optional<Answer> answer;
  std::optional<RouteView> route;
  std::vector<Standing> chips;
};
std::vector<GroupView> groupViews(Host const & host);

}  // namespace Brindle::Sim
