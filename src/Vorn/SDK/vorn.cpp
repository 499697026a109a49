/// Start and stop of the runtime.

#include <stdexcept>
#include <string>
#include <utility>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters_file.h"
#include "Vorn/mutex.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"
#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_utility.h"

namespace Vorn35 {

namespace {

constexpr std::size_t c_default_call_buffer_count = 16;

/// One start or stop at a time. Outermost of all.
Mutex<lock_order::life> g_life_mutex;

/// Owned from `initialize` to `finalize`; guarded by `g_life_mutex`. `gp_processor` is this pointer as long
/// as objects may use it. Not destroyed by the end of a process that did not call `finalize`: its threads
/// still run.
Vorn_processor* g_processor VORN35_GUARDED_BY(g_life_mutex) = nullptr;

/// Undoes `initialize`, also one that failed half-way.
void take_down() VORN35_REQUIRES(g_life_mutex) {
    stop_inet();
    delete std::exchange(g_processor, nullptr);
    del_udp(c_directory_port);
    finalize_inet();
    // Waiters that wake up late give their answers back under the shared hold.
    {
        const Exclusive_hold hold;
        finalize_memory();
    }
    counters::close_counters_file();
}

/// @param _options null: as configured.
/// @param _listeners null: as the options say.
Error set_up(const Runtime_options* _options, const std::size_t* _listeners, std::size_t _call_buffer_count) {
    const Lock_guard lock(g_life_mutex);
    if (g_processor != nullptr) return VORN_ERR_ALREADY_CREATED_;
    Runtime_options options = _options != nullptr ? *_options : configured_options();
    if (_listeners != nullptr) options.listeners = *_listeners;
    if (const std::string problem = options.problem(); _options != nullptr && !problem.empty()) {
        throw std::invalid_argument(problem);
    }
    apply_environment(&options);
    {
        const Exclusive_hold hold;
        g_options = options;
        g_receive_windows.reset();
        initialize_memory();
    }
    counters::open_counters_file(options);
    try {
        initialize_inet(send_sdk);
        add_udp(c_directory_port);
        g_processor = new Vorn_processor(options.listeners, _call_buffer_count);
        start_inet();
        g_processor->tell_names_soon(false);
    } catch (...) {
        take_down();
        throw;
    }
    return VORN_ERR_NONE_;
}

}  // namespace

Error initialize() {
    return set_up(nullptr, nullptr, c_default_call_buffer_count);
}

Error initialize(std::size_t _thread_count, std::size_t _call_buffer_count, std::size_t) {
    return set_up(nullptr, &_thread_count, _call_buffer_count);
}

Error initialize(const Runtime_options& _options) {
    return set_up(&_options, nullptr, c_default_call_buffer_count);
}

Error finalize() {
    const Lock_guard lock(g_life_mutex);
    if (g_processor != nullptr) take_down();
    return VORN_ERR_NONE_;
}

Error get_last_error() {
    return g_last_error;
}

std::size_t get_address(const char* _name_, Addr* _stub_addr_) {
    // Only reads, and so may be called where a shared hold stands already.
    const Shared_hold hold;
    return gp_processor == nullptr ? 0 : gp_processor->get_address(_name_, _stub_addr_);
}

std::vector<Known_name> known_names() {
    const Shared_hold hold;
    return gp_processor == nullptr ? std::vector<Known_name>() : gp_processor->known_names();
}

}  // namespace Vorn35
