// The two forms of what there is to see: tables for people, JSON for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>

#include "sim/AsyncViews.h"
#include "sim/GroupViews.h"
#include "sim/Verify.h"

namespace Brindle::Sim {

using Json = nlohmann::ordered_json;

void print(std::ostream & out, std::vector<RouteView> const & routes);
void print(std::ostream & out, std::vector<FloodsetView> const & floodsets);
void print(std::ostream & out, std::vector<SetView> const & sets);
void print(std::ostream & out, std::vector<ChipView> const & chips);
void print(std::ostream & out, StatusView const & status);
void print(std::ostream & out, std::vector<VrfFastdropView> const & vrfs);
void print(std::ostream & out, std::vector<FailureView> const & failures);
void print(std::ostream & out, std::vector<ReviewView> const & reviews);
void print(std::ostream & out, std::vector<TransactionView> const & transactions);
void print(std::ostream & out, ProgrammerView const & programmer);
void print(std::ostream & out, std::vector<GroupView> const & groups);
void print(std::ostream & out, VerifyView const & view);

Json toJson(std::vector<RouteView> const & routes);
Json toJson(std::vector<FloodsetView> const & floodsets);
Json toJson(std::vector<SetView> const & sets);
Json toJson(std::vector<ChipView> const & chips);
Json toJson(StatusView const & status);
Json toJson(std::vector<VrfFastdropView> const & vrfs);
Json toJson(std::vector<FailureView> const & failures);
Json toJson(std::vector<TransactionView> const & transactions);
Json toJson(std::vector<GroupView> const & groups);
Json toJson(VerifyView const & view);

// "100: p1 p2; 200: p5".
std::string outputsText(OutputsView const & outputs, bool toCpu = false);

}  // namespace Brindle::Sim
