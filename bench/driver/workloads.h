/// @file
/// The cases that the benchmark measures.
#pragma once

#include <string>
#include <vector>

#include "harness/job.h"

namespace bench {

/// A line of a table that is not a peer's: the runtime at a variant of the job.
struct Variant {
    std::string name;
    Job job;
};

/// One table of the result: one job, done by every peer; or several, all done by the runtime.
struct Case {
    std::string workload;  ///< "W1" to "W8".
    std::string title;
    Job job;
    std::string key;                  ///< The figure that is compared first ("p50_us"); processor time always is.
    bool quick = false;               ///< Taken in a quick run, too.
    bool syscalls = false;            ///< System calls are counted in a pass of its own.
    int rounds = 1000;                ///< The most rounds that it is worth.
    std::vector<Variant> variants{};  ///< The first is what the others are compared with.
};

std::vector<Case> all_cases(bool quick);

}  // namespace bench
