/// @file
/// What the programs that load the runtime share: the size of a process, and what its pipe refuses.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Vorn/INet_Relay/EPoll/epoll.h"
#include "Vorn/Memory/Ref_memory.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn35/Vorn35.h"

namespace load {

using namespace Vorn35;
using Count = std::uint64_t;

inline Count entries_of(const char* _directory) {
    const std::filesystem::directory_iterator all(_directory);
    return static_cast<Count>(std::distance(begin(all), end(all)));
}

/// Of this process.
struct Size {
    Count resident_kib = 0;
    Count descriptors = 0;
    Count blocks = 0;
};
inline Size size_now() {
    Size size;
    Count pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> size.resident_kib;
    size.resident_kib *= static_cast<Count>(::sysconf(_SC_PAGESIZE)) / 1024;
    size.descriptors = entries_of("/proc/self/fd");
    const std::lock_guard lock(gp_memory->mtx);
    size.blocks = gp_memory->allocs.size();
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

/// Waits for a state that nobody announces. False: it did not come in time.
template <class Condition>
bool eventually(double _seconds, Condition _condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(_seconds);
    while (!_condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

template <class Number>
void figure(const std::string& _name, Number _value, const char* _unit) {
    std::printf("figure: %s = %.6g %s\n", _name.c_str(), static_cast<double>(_value), _unit);
    std::fflush(stdout);
}

}  // namespace load
