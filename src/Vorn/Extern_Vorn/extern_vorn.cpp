/// The part of the C interface that belongs to no object: the runtime, the directory of names, texts.

#include "Vorn/Extern_Vorn/extern_vorn.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "Vorn35/Runtime_options.h"
#include "Vorn35/Statistics.h"
#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_serial_parallel.h"
#include "Vorn35/vorn_utility.h"

using namespace Vorn35;

// The types of both sides are laid out alike.
static_assert(sizeof(Vorn_addr) == 8 && sizeof(Vorn_addr) == sizeof(Addr) &&
              offsetof(Vorn_addr, ip) == offsetof(Addr, ip) && offsetof(Vorn_addr, port) == offsetof(Addr, port));
static_assert(sizeof(Vorn_msg_addr) == sizeof(Msg_addr) && offsetof(Vorn_msg_addr, code) == offsetof(Msg_addr, code) &&
              offsetof(Vorn_msg_addr, transaction) == offsetof(Msg_addr, transaction));
static_assert(sizeof(Vorn_sync_model) == sizeof(Sync_model));

const Vorn_sync_model vorn_on_post = on_post;
const Vorn_sync_model vorn_on_timer = on_timer;

const char* vorn_get_err_str(Vorn_error _err) {
    return get_err_str(_err);
}

size_t vorn_get_address(const char* _name_, Vorn_addr* _stub_addr_) {
    Addr stub_addr;
    const std::size_t found = get_address(_name_, &stub_addr);
    if (found != 0) *_stub_addr_ = to_c(stub_addr);
    return found;
}

Vorn_ip vorn_inet_addr(const char* _ip_) {
    return Vorn35::inet_addr(_ip_);
}

char* vorn_inet_ntoa(Vorn_ip _ip) {
    return ::inet_ntoa(in_addr{_ip});
}

Vorn_error vorn_initialize_default() {
    return initialize();
}

Vorn_error vorn_initialize(size_t _thread_count, size_t _call_buffer_count, size_t _udp_buffer_count) {
    return initialize(_thread_count, _call_buffer_count, _udp_buffer_count);
}

namespace {

/// Each option of both sides, once.
template <class Options, class C_options, class Copy>
void for_each_option(Options& _options, C_options& _c, Copy _copy) {
    _copy(_options.listeners, _c.listeners);
    _copy(_options.exact_waits, _c.exact_waits);
    _copy(_options.receive_messages, _c.receive_messages);
    _copy(_options.receive_bytes, _c.receive_bytes);
    _copy(_options.keep_notices, _c.keep_notices);
    _copy(_options.exact_order, _c.exact_order);
    _copy(_options.repeat_by_port, _c.repeat_by_port);
    _copy(_options.retry_resources, _c.retry_resources);
    _copy(_options.opening_limit, _c.opening_limit);
    _copy(_options.silence_limit, _c.silence_limit);
    _copy(_options.tell_silent_clients, _c.tell_silent_clients);
    _copy(_options.send_bytes, _c.send_bytes);
    _copy(_options.expire_queued, _c.expire_queued);
    _copy(_options.complete_stops, _c.complete_stops);
    _copy(_options.tell_names_at_once, _c.tell_names_at_once);
    _copy(_options.restore_links, _c.restore_links);
    _copy(_options.current_values, _c.current_values);
    _copy(_options.share_counters, _c.share_counters);
}

/// A caller of an earlier version has a shorter structure.
void give(const Runtime_options& _options, Vorn_options* _options_) {
    Vorn_options all{};
    for_each_option(_options, all, [](const auto& _from, auto& _to) { _to = _from; });
    all.size = std::min(_options_->size, sizeof all);
    std::memcpy(_options_, &all, all.size);
}

}  // namespace

void Vorn_options_standard(Vorn_options* _options_) {
    give(Runtime_options::standard(), _options_);
}

void Vorn_options_reliable(Vorn_options* _options_) {
    give(Runtime_options::reliable(), _options_);
}

Vorn_error Vorn_initialize_with(const Vorn_options* _options_) {
    Vorn_options given{};
    given.size = sizeof given;
    give(Runtime_options::standard(), &given);
    std::memcpy(&given, _options_, std::min(_options_->size, sizeof given));
    Runtime_options options;
    for_each_option(options, given, [](auto& _to, const auto& _from) { _to = _from; });
    try {
        return initialize(options);
    } catch (const std::invalid_argument& problem) {
        std::fprintf(stderr, "vorn35: %s\n", problem.what());
        return EINVAL;
    }
}

Vorn_error vorn_finalize() {
    return finalize();
}

size_t Vorn_statistics(Vorn_statistic* _statistics_, size_t _count) {
    const std::vector<Statistic> all = statistics();
    for (std::size_t i = 0; i < all.size() && i < _count; ++i) {
        _statistics_[i] = {all[i].name, all[i].labels, all[i].help, all[i].is_gauge, all[i].value};
    }
    return all.size();
}

size_t Vorn_known_names(Vorn_known_name* _names_, size_t _count) {
    const std::vector<Known_name> all = known_names();
    for (std::size_t i = 0; i < all.size() && i < _count; ++i) {
        const Known_name& one = all[i];
        Vorn_known_name& to = _names_[i];
        to = {{}, to_c(one.stub_addr), one.age, one.silence, to_c(one.rival)};
        one.name.copy(to.name, sizeof to.name - 1);
    }
    return all.size();
}

size_t Vorn_connections(Vorn_connection* _connections_, size_t _count) {
    const std::vector<Connection_statistic> all = connections();
    for (std::size_t i = 0; i < all.size() && i < _count; ++i) {
        const Connection_statistic& one = all[i];
        _connections_[i] = {to_c(one.peer),    one.is_client,       one.age,          one.received_bytes,
                            one.sent_bytes,    one.queued_messages, one.queued_bytes, one.waiting_messages,
                            one.waiting_bytes, one.is_paused};
    }
    return all.size();
}

void vorn_msg_processing_by_serial_group(Vorn_msg_addr _a, Vorn_msg_addr _b) {
    msg_processing_by_serial_group(from_c(_a), from_c(_b));
}

void vorn_msg_processing_by_serial_alone(Vorn_msg_addr _a) {
    msg_processing_by_serial_alone(from_c(_a));
}

void vorn_msg_processing_by_parallel(Vorn_msg_addr _a) {
    msg_processing_by_parallel(from_c(_a));
}
