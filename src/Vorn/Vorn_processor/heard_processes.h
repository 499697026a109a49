/// @file
/// Which processes without names were heard before.
#pragma once

#include <map>
#include <vector>

#include "Vorn/typedef.h"

namespace Vorn35 {

/// An empty directory does not say which process of its host sent it. But a process sends one each second, at its own part of
/// the second: one at another part is of a new process. A mistake costs one more directory, or a name that is found a second
/// later.
class Heard_processes {
public:
    /// An empty directory came. True: of a process that was not heard before.
    bool is_new(IP _host, ks_clock_t _now);

private:
    std::map<IP, std::vector<ks_clock_t>> last_heard;  ///< Of each process of a host.
};

}  // namespace Vorn35
