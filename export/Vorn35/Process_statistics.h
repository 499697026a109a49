/// @file
/// The counters of other processes of this host, read from the files that they share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Vorn35/Statistics.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

/// One number of another process. See `Statistic`.
struct Shared_statistic {
    std::string name;       ///< For example "vorn35_messages_received_total".
    std::string labels;     ///< For example `kind="call"`; empty if there is none.
    std::string help;       ///< One sentence.
    bool is_gauge = false;  ///< A present state, which may fall.
    double value = 0;       ///< In the unit that the name ends with.
};

/// One process whose runtime is up, with `Runtime_options::share_counters`.
struct Process_statistics {
    int pid = 0;          ///< In its own namespace: two containers that share "/dev/shm" may have one number twice.
    std::string path;     ///< Of its file, which is unique.
    std::string program;  ///< Name of its executable file.
    std::string version;  ///< Of its runtime.
    std::string profile;  ///< "standard", "reliable", or "custom" for other options.
    double age = 0;       ///< Seconds since its `initialize`.
    /// Seconds since the process last wrote its gauges and connections, which it does once a second. A process that is
    /// stopped, or whose timer waits for a lock, does not. Its counters are exact all the same.
    double silence = 0;
    std::vector<Shared_statistic> statistics;  ///< As `statistics()` gives them in that process.
    /// The connections with most bytes waiting, at most 64, ordered by those bytes.
    std::vector<Connection_statistic> connections;
    std::size_t connection_count = 0;  ///< Of all its connections.
};

/// What `shared_statistics` found.
struct Shared_statistics {
    std::vector<Process_statistics>
        processes;  ///< Ordered by process number. This process is one of them if it shares.
    /// One sentence for each file that could not be read: no permission, another version, damaged.
    std::vector<std::string> problems;
};

/// Reads the counters of all processes that share them, and removes the files of those that have ended without `finalize`.
/// Looks into the user's runtime directory ("XDG_RUNTIME_DIR") and "/dev/shm"; the superuser also sees the runtime
/// directories of others. Needs no `initialize`, and nothing from the processes, which may stand still. Any thread.
///
/// @code
/// for (const Vorn35::Process_statistics& one : Vorn35::shared_statistics().processes) {
///     std::printf("%d %s\n", one.pid, one.program.c_str());
/// }
/// @endcode
VORN35_API Shared_statistics shared_statistics();

/// The sum over all labels of a name; 0 for a name that does not exist.
inline double sum_of(const Process_statistics& _process, std::string_view _name) {
    double sum = 0;
    for (const Shared_statistic& one : _process.statistics) {
        if (one.name == _name) sum += one.value;
    }
    return sum;
}

}  // namespace Vorn35
