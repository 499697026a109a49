/// @file
/// One run of one workload: what the driver asks of a peer's program, and what it hears back.
///
/// Both travel as words "key=value" on one line, the question as arguments and the answer on the standard output.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace bench {

/// What is to be done. Times in seconds, sizes in bytes.
struct Job {
    /// call      blocking calls, one after the other
    /// async     calls whose answers come by callback or completion, `window` of them outstanding
    /// event     one publisher, `clients` receivers, nothing may be lost on the way
    /// multicast one publisher, `clients` receivers, by multicast where the peer has it
    /// command   `clients` senders, one receiver
    /// stream    as `event` with one receiver, `rate` messages a second
    /// idle      `clients` connections from one process that say nothing
    /// first     from nothing to the first answered call, one a run
    std::string kind = "call";
    std::size_t size = 4;  ///< Of a message; of a call's answer, too.
    unsigned window = 1;   ///< Calls outstanding.
    unsigned clients = 1;  ///< Client processes; for `idle` connections.
    bool pinned = false;   ///< All processes on one processor.
    bool by_name = false;  ///< The service is looked up by its name.
    unsigned burst = 0;    ///< Messages sent before the sender waits for all receipts; 0: it never waits.
    double rate = 0;       ///< Messages a second that are sent; 0: as fast as it goes.
    /// What stands around the call that is measured, and how much of it: "connections", "members", "names" (further
    /// services of the process that are published), "queued" (calls that wait behind a slow one).
    std::string crowd_of = "-";
    unsigned crowd = 0;
    bool syscalls = false;    ///< System calls are counted, which makes them a little slower.
    double seconds = 0.5;     ///< Length of the measured part.
    std::size_t most = ~0UL;  ///< The most messages sent in all. Bounds what a peer may have to queue.

    bool fans_out() const { return kind == "event" || kind == "multicast" || kind == "stream"; }
};

/// Names of figures and their values; the names carry the unit ("p50_us").
using Figures = std::map<std::string, double>;

/// @throws std::exception for an unknown key or a value that is no number.
Job parse_job(int argc, char** argv);
/// The arguments that `parse_job` reads.
std::string to_words(const Job& job);
std::string to_words(const Figures& figures);
Figures parse_figures(const std::string& line);

}  // namespace bench
