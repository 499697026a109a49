/// The part of the C interface that belongs to no object: the runtime, the directory of names, texts.

#include "Vorn/Extern_Vorn/extern_vorn.h"

#include <arpa/inet.h>

#include <cstddef>

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

void vorn_msg_processing_by_serial_group(Vorn_msg_addr _a, Vorn_msg_addr _b) {
    msg_processing_by_serial_group(from_c(_a), from_c(_b));
}

void vorn_msg_processing_by_serial_alone(Vorn_msg_addr _a) {
    msg_processing_by_serial_alone(from_c(_a));
}

void vorn_msg_processing_by_parallel(Vorn_msg_addr _a) {
    msg_processing_by_parallel(from_c(_a));
}
