/// @file
/// Life of the runtime, and small helpers.
#pragma once

#include <cstddef>

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Brings the runtime up: 8 listener threads, 1 timer and 5 network threads. Must come first and once; may be
/// called again after `finalize`.
///
/// Settings come from the file "../Config/vorn.ini", relative to the working directory. No file, or one that is
/// not an INI file, means the defaults; a file that lacks one of the keys is an error.
///
/// A process may end without `finalize`; callbacks may then run until its end.
///
/// @return 0; "VORN_ERR_ALREADY_CREATED_" when the runtime is up. Failures of the network are not reported.
/// @throws std::exception when the configuration file lacks a key or holds a number that is none, or when a thread
///        cannot be had. Nothing is up then, and a later call may succeed.
///
/// @code
/// Vorn35::initialize();
/// ...
/// Vorn35::finalize();
/// @endcode
VORN35_API Error initialize();

/// The same with a number of listener threads of your own.
/// @param _thread_count listener threads that run callbacks; 0 for none.
/// @param _call_buffer_count kept as the pipe's `max_size`; changes no limit.
/// @param _udp_buffer_count ignored.
VORN35_API Error initialize(std::size_t _thread_count, std::size_t _call_buffer_count, std::size_t _udp_buffer_count);

/// Takes the runtime down: ends and joins all its threads. Never call it from a callback.
///
/// Objects that are still started are not started any more afterwards, without a callback; they may be destroyed
/// later, or started again after the next `initialize`. Callbacks that run are waited for.
/// @return 0.
VORN35_API Error finalize();

/// Finds a service by its name among those that were heard in the last eight seconds.
/// @param _name_ not null.
/// @param _stub_addr_ receives the address when found, and is left alone otherwise.
/// @return number of addresses found: 0 or 1. Any thread.
VORN35_API std::size_t get_address(const char* _name_, Addr* _stub_addr_);

/// The last reason that an `on_unlink` was given on this thread.
VORN35_API Error get_last_error();

/// IPv4 address of a text such as "198.51.100.1", as the C library's function of that name gives it.
VORN35_API IP inet_addr(const char* _text_);
/// Text of an address. Valid until the next call on the same thread.
VORN35_API const char* inet_ntoa(IP _ip);

/// Nanoseconds of the steady clock.
VORN35_API Clock get_cpu_clock();
/// Ticks of `get_cpu_clock` per second: 1000000000.
VORN35_API Clock get_cpu_hz();

}  // namespace Vorn35
