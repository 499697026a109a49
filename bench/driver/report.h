/// @file
/// Tables of medians and ratios.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "driver/workloads.h"

namespace bench {

/// What one peer did in one case: its figures of each round it took part in.
using Rounds = std::map<int, Figures>;
/// By peer, or by variant.
using Results = std::map<std::string, Rounds>;

/// A Markdown table that is readable as it is: medians over the rounds, and ratios to one line, each the median of the
/// ratios within one round.
/// @param lines the names of the lines, in their order; those without results are left out.
/// @param base the line that the others are compared with.
std::string table(const Case& c, const Results& results, const std::vector<std::string>& lines,
                  const std::string& base);

}  // namespace bench
