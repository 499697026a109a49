/// @file
/// The file through which a process shares its counters, while its runtime is up (`Runtime_options::share_counters`).
///
/// The counters themselves live in the file: the page of memory that holds them is replaced by a page of the file, so a
/// count costs the same as without it, and a process that stands still can be read. What must be computed, gauges and
/// connections, is written once a second.
///
/// The process holds a record lock on its file for as long as it lives. A file without a lock belongs to a dead process.
/// (Not a lock of the open file: a forked child would hold that one, too.)
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Vorn35/Process_statistics.h"
#include "Vorn35/Runtime_options.h"

namespace Vorn35::counters {

// --- the format ----------------------------------------------------------------------------------------
//
// Page 0 is the header, page 1 the counters. The tables follow. A reader finds everything through the header, texts
// included, so it need not know the counters of the version that wrote them. Native byte order.

inline constexpr std::size_t c_page = 4096;
inline constexpr std::array<char, 8> c_magic = {'V', 'O', 'R', 'N', '3', '5', 'C', '1'};
inline constexpr std::uint32_t c_file_version = 1;
inline constexpr std::size_t c_file_connections = 64;
inline constexpr const char* c_file_prefix = "vorn35-";
inline constexpr const char* c_file_suffix = ".counters";

/// A value of the file: a counter (an unsigned integer), or a gauge (a double).
struct File_value {
    std::uint32_t value_at;  ///< Offset in the file.
    std::uint32_t is_gauge;
    std::uint32_t name_at;  ///< Offset of a text that ends with a zero.
    std::uint32_t labels_at;
    std::uint32_t help_at;
};

struct File_connection {
    std::uint32_t ip;
    std::uint16_t port;
    std::uint8_t is_client;
    std::uint8_t is_paused;
    double age;
    std::uint64_t received_bytes;
    std::uint64_t sent_bytes;
    std::uint64_t queued_messages;
    std::uint64_t queued_bytes;
    std::uint64_t waiting_messages;
    std::uint64_t waiting_bytes;
};

struct File_header {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t size;  ///< Of the file.
    std::uint32_t pid;
    std::uint32_t values_at;
    std::uint32_t values;
    std::uint32_t connections_at;
    std::int64_t started;  ///< Nanoseconds of the steady clock, which is one for all processes of a host.
    std::array<char, 32> program;
    std::array<char, 32> runtime_version;
    std::array<char, 32> profile;
    /// Odd while gauges and connections are being written. The fields below and the tables belong to it.
    std::atomic<std::uint32_t> sequence;
    std::uint32_t connections;  ///< In the table.
    std::uint64_t connection_count;
    std::int64_t updated;  ///< When they were last written, as `started`.
};
static_assert(sizeof(File_header) <= c_page && std::atomic<std::uint32_t>::is_always_lock_free);

/// The directories that may hold such files, the preferred one first.
std::vector<std::string> shared_directories();

// --- the file of this process --------------------------------------------------------------------------

/// Creates it, for the options of a life that is about to begin. If that fails, the reason goes to standard error and the
/// counters stay private: they must not keep a program from running. No thread of the runtime runs.
void open_counters_file(const Runtime_options& _options);
/// Removes it; the counters keep their values. No thread of the runtime runs. A count by another thread may get lost.
void close_counters_file();
/// Once a second: gauges and connections. Without a file it does nothing.
void write_gauges();
/// If the path is the file of this process, calls `_read` with its descriptor. Not to be opened once more: to close any
/// descriptor of a file ends all record locks that the process holds on it.
/// @return whether it is.
bool with_own_file(const std::string& _path, const std::function<void(int _fd)>& _read);

}  // namespace Vorn35::counters
