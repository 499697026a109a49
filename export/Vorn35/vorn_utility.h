/// @file
/// Start and end of the runtime, the directory of names, and small helpers.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Vorn35/Runtime_options.h"
#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Starts the runtime: 8 listener threads, 1 timer thread and 5 network threads. Call it once, before any `start`;
/// after `finalize` it may be called again.
///
/// Settings come from the file "../Config/vorn.ini", relative to the working directory. Without the file, or if it is
/// not an INI file, the defaults apply. A file that lacks one of the keys is an error.
///
/// A process may end without `finalize`. Callbacks may then run until its end.
///
/// @return 0, or "VORN_ERR_ALREADY_CREATED_" when the runtime is running. Failures of the network are not reported.
/// @throws std::exception when the configuration file lacks a key or has a value that is not a number, or when a thread
///        cannot be created. The runtime is not running then, and a later call may succeed.
///
/// @code
/// Vorn35::initialize();
/// ...
/// Vorn35::finalize();
/// @endcode
VORN35_API Error initialize();

/// `initialize` with a chosen number of listener threads.
/// @param _thread_count number of listener threads, which run the callbacks. With 0 no callback runs.
/// @param _call_buffer_count stored, but changes no limit.
/// @param _udp_buffer_count ignored.
VORN35_API Error initialize(std::size_t _thread_count, std::size_t _call_buffer_count, std::size_t _udp_buffer_count);

/// `initialize` with options (Runtime_options.h), for instance `Runtime_options::reliable()`. Without options, the environment
/// variable "VORN35_PROFILE", or else the key "PROFILE" in vorn.ini, chooses the profile: "standard" or "reliable".
/// @throws std::invalid_argument for an option out of range, and in `initialize` without options for a profile that does
///        not exist. It names the option; the runtime is not running then.
VORN35_API Error initialize(const Runtime_options& _options);

/// Ends the runtime: waits for running callbacks, then ends and joins all its threads. Never call it from a callback.
///
/// Stops all objects that are started, without callbacks. They may be destroyed later, or started again after the next
/// `initialize`. After `finalize` no callback runs.
/// @return 0.
VORN35_API Error finalize();

/// Finds a service by its name, among the names received in the last eight seconds. Each process broadcasts the names
/// of its services once a second. Any thread may call it.
/// @param _name_ not null.
/// @param _stub_addr_ receives the address if the name is found. Not null.
/// @return number of addresses found: 0 or 1.
VORN35_API std::size_t get_address(const char* _name_, Addr* _stub_addr_);

/// One name of the directory.
struct Known_name {
    std::string name;    ///< As it was told, at most as long as its record.
    Addr stub_addr;      ///< The service that was heard last under this name.
    double age = 0;      ///< Seconds since the name was first heard without a pause of eight seconds.
    double silence = 0;  ///< Seconds since it was last heard.
    /// Another service that takes turns with `stub_addr` in using the name. Port 0 if there is none.
    Addr rival;
};
/// The names that `get_address` finds, ordered by name. Those of this process are among them. Any thread may call it;
/// empty without `initialize`.
VORN35_API std::vector<Known_name> known_names();

/// The `Error` that the last `on_unlink` on this thread received.
VORN35_API Error get_last_error();

/// IPv4 address of a text such as "198.51.100.1", like the C library's function of that name: 255.255.255.255 for a
/// text that is no address, or null.
VORN35_API IP inet_addr(const char* _text_);
/// Text of an address. Valid until the next call on the same thread.
VORN35_API const char* inet_ntoa(IP _ip);

/// Nanoseconds of the steady clock.
VORN35_API Clock get_cpu_clock();
/// Ticks of `get_cpu_clock` per second: 1000000000.
VORN35_API Clock get_cpu_hz();

}  // namespace Vorn35
