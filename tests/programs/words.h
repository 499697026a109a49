/// @file
/// What the words of the program `peer` share: counts, lines that begin with the time, and threads that act at a rate.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Vorn35/Vorn35.h"

namespace peer {

using namespace Vorn35;
using Clock_t = std::chrono::steady_clock;
using Count = std::atomic<std::uint64_t>;

inline constexpr double c_endless = 1e9;

/// What follows a word. A number that is missing is 0.
struct Arguments : std::vector<const char*> {
    double number(std::size_t _at) const { return _at < size() ? std::atof((*this)[_at]) : 0; }
    Port port(std::size_t _at) const { return static_cast<Port>(number(_at)); }
    Addr address(std::size_t _at) const { return {Vorn35::inet_addr((*this)[_at]), port(_at + 1)}; }
};

/// Told by name with each answer. Entries are made before the first thread.
inline std::map<std::string, Count> g_counts;
inline std::atomic<unsigned> g_round{1};  ///< Of counting: from one answer to the next.
inline std::atomic<bool> g_done{false};
inline std::atomic<double> g_rate{0};  ///< Set by an input line that is a number.

/// One write a line, so that lines of several threads do not mix.
inline void say(const std::string& _what) {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Clock_t::now().time_since_epoch());
    const std::string line = std::to_string(now.count()) + " " + _what + "\n";
    if (::write(STDOUT_FILENO, line.data(), line.size()) == -1) std::_Exit(1);
}
void tell_counts();

/// Calls `_step` so many times a second, and not while the rate is 0. Makes up for a delay, but for no long one.
template <class Step>
std::thread beat(const std::atomic<double>& _rate, Step _step) {
    return std::thread([&_rate, step = std::move(_step)]() mutable {
        for (auto next = Clock_t::now(); !g_done; std::this_thread::sleep_until(next)) {
            const double rate = _rate;
            const std::chrono::duration<double> interval(rate == 0 ? 0.01 : 1 / rate);
            next = std::max(next, Clock_t::now() - std::chrono::milliseconds(500)) +
                   std::chrono::duration_cast<Clock_t::duration>(interval);
            if (rate != 0) step();
        }
    });
}

/// Serves the input to its end, then ends these threads and the runtime, which the objects outlive.
template <class... Threads>
int run(Threads... _threads) {
    for (std::string line; std::getline(std::cin, line); tell_counts()) {
        if (!line.empty()) g_rate = std::stod(line);
    }
    g_done = true;
    (_threads.join(), ...);
    return finalize();
}

int serve_kinds(const Arguments& _arguments);
int drive_kinds(const Arguments& _arguments);
int demonstrate(const Arguments& _arguments);

}  // namespace peer
