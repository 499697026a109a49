/// @file
/// What the programs of the scenarios share: a service that echoes, many clients, and figures of a process.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/INet_Relay/EPoll/epoll.h"
#include "Vorn/Memory/Ref_memory.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn35/Vorn35.h"

namespace support {

using namespace Vorn35;
using Count = std::uint64_t;
using Clock_t = std::chrono::steady_clock;

/// Of this process. What takes a descriptor to look at is 0 where there is none left.
struct Size {
    Count resident = 0;  ///< Bytes.
    Count descriptors = 0;
    Count blocks = 0;
    Count block_bytes = 0;
};
inline Size size_now() {
    Size size;
    std::ifstream("/proc/self/statm") >> size.resident >> size.resident;
    size.resident *= static_cast<Count>(::sysconf(_SC_PAGESIZE));
    std::error_code none_left;
    const std::filesystem::directory_iterator files("/proc/self/fd", none_left);
    size.descriptors = static_cast<Count>(std::distance(begin(files), end(files)));
    const std::lock_guard lock(gp_memory->mtx);
    size.blocks = gp_memory->allocs.size();
    size.block_bytes = gp_memory->alloc_total;
    return size;
}

/// Processor time of this process so far.
inline double processor_seconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& _time) {
        return static_cast<double>(_time.tv_sec) + static_cast<double>(_time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Messages that came to this process and were refused by its full pipe, by type.
inline std::array<std::atomic<Count>, 256> refused;

inline Count refusals(EMsg _type) {
    return refused[static_cast<std::size_t>(_type)];
}

/// Counts from here on; directly after `initialize`, while no message is under way.
inline void count_refusals() {
    send_sdk__ = [](Token _token, Packet* _pkt) -> int {
        const auto type = static_cast<std::size_t>(_pkt->get_msg_type());
        const Error result = send_sdk(_token, _pkt);
        if (result != 0) ++refused[type];
        return result;
    };
}

inline Clock_t::duration time_of(double _seconds) {
    return std::chrono::duration_cast<Clock_t::duration>(std::chrono::duration<double>(_seconds));
}
inline double seconds_since(Clock_t::time_point _begin) {
    return std::chrono::duration<double>(Clock_t::now() - _begin).count();
}

/// Waits for a state that nobody announces. False: it did not come in time.
template <class Condition>
bool eventually(double _seconds, Condition _condition) {
    const auto begin = Clock_t::now();
    while (!_condition()) {
        if (seconds_since(begin) > _seconds) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

template <class Number>
void figure(const std::string& _name, Number _value, const char* _unit = "") {
    std::printf("figure: %s = %.6g %s\n", _name.c_str(), static_cast<double>(_value), _unit);
    std::fflush(stdout);
}

/// Answers calls with what they bring.
struct Echo : Stub_call {
    using Stub_call::Stub_call;
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        called(_in, _in_size);
        *_size_ = std::min(_in_size, *_size_);
        if (*_size_ != 0) std::memcpy(_out_, _in, *_size_);
        return 0;
    }
    virtual void called(const void* _in, Pksize _size) = 0;
};

/// One process has one `Proxy` for an address; the loopback has addresses enough.
inline Addr loopback(std::size_t _i, Port _port) {
    return {127 | static_cast<IP>(_i / 250) << 16 | static_cast<IP>(_i % 250 + 1) << 24, _port};
}

template <class Clients>
std::size_t count_connected(const Clients& _clients) {
    const auto is_up = [](const auto& _one) { return _one->is_connected(); };
    return static_cast<std::size_t>(std::count_if(_clients.begin(), _clients.end(), is_up));
}

/// Starts those that are not connected, each by its own address of the loopback, and those again that are not after so
/// many seconds, to the end: a notice that a full pipe refuses leaves a client "not connected" for good, although its
/// connection stands. @return the number of starts.
template <class Clients>
Count start_all(const Clients& _clients, Port _port, double _patience) {
    Count starts = 0;
    do {
        for (std::size_t i = 0; i < _clients.size(); ++i) {
            if (_clients[i]->is_connected()) continue;
            _clients[i]->stop();
            _clients[i]->start(loopback(i, _port));
            ++starts;
        }
    } while (!eventually(_patience, [&] { return count_connected(_clients) == _clients.size(); }));
    return starts;
}

}  // namespace support
