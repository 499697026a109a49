/// @file
/// What the runtime counts in this process: traffic, connections, and each reason for which something is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// One number, under a name as metrics systems expect it. The texts live as long as the process.
struct Statistic {
    const char* name;    ///< For example "vorn35_messages_received_total". Seconds and bytes stand in the name.
    const char* labels;  ///< For example `kind="call"`; empty if there is none.
    const char* help;    ///< One sentence.
    bool is_gauge;       ///< A present state, which may fall. Otherwise a count since the start of the process.
    double value;        ///< In the unit that the name ends with; a plain count if it names none.
};

/// A snapshot of all counters and gauges, in a fixed order. The values are read one after the other, while the runtime goes
/// on. Any thread; also without `initialize`, when the gauges are 0.
///
/// `docs/lost.md` names the counter of each loss.
///
/// @code
/// for (const Vorn35::Statistic& one : Vorn35::statistics()) {
///     std::printf("%s{%s} %.17g\n", one.name, one.labels, one.value);
/// }
/// @endcode
VORN35_API std::vector<Statistic> statistics();

/// Counts a message whose payload the application, or a layer above the runtime, could not read:
/// "vorn35_messages_malformed_total". Any thread.
/// @param _kind the kind of the member that received it.
VORN35_API void count_malformed_payload(Transaction _kind);

/// One connection that stands.
struct Connection_statistic {
    Addr peer;                         ///< The service's address, or the client's.
    bool is_client = false;            ///< This process is the client of the connection.
    double age = 0;                    ///< Seconds since its attempt began.
    std::uint64_t received_bytes = 0;  ///< Of messages, headers included.
    std::uint64_t sent_bytes = 0;      ///< The same.
    std::size_t queued_messages = 0;   ///< That wait to be sent.
    std::size_t queued_bytes = 0;      ///< In them.
    std::size_t waiting_messages = 0;  ///< Received, and not finished by a handler. 0 without `receive_messages`.
    std::size_t waiting_bytes = 0;     ///< In them.
    bool is_paused = false;            ///< Over its receive bounds, and not read.
};

/// A snapshot of the connections that stand, ordered by address: those to services, then those from clients. Any thread; empty
/// without `initialize`.
VORN35_API std::vector<Connection_statistic> connections();

/// The sum over all labels of a name; 0 for a name that does not exist.
inline double sum_of(const std::vector<Statistic>& _statistics, std::string_view _name) {
    double sum = 0;
    for (const Statistic& one : _statistics) {
        if (one.name == _name) sum += one.value;
    }
    return sum;
}

}  // namespace Vorn35
