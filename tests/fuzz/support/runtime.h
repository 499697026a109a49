/// @file
/// The runtime under a fuzzer: started once in the process, and after each input it must be as it was before.
#pragma once

#include <functional>
#include <map>

#include "fuzz/support/input.h"
#include "net/support/objects.h"

namespace fuzz {

using namespace Vorn35;

/// Reads all bytes, so that a sanitizer sees whether they are there.
void look_at(const void* _data, std::size_t _size);

/// Until `_condition` holds: at once when it does, and without sleeping while it soon may. Ends the process when it
/// never does.
template <class Condition>
void until(Condition _condition, const char* _promise) {
    for (int i = 0; i < 2000; ++i) {
        if (_condition()) return;
        std::this_thread::yield();
    }
    require(net::eventually(_condition), _promise);
}

/// Makes failures of the test vocabulary end the process, and starts the runtime. To be called once.
void start_runtime();

/// The bytes that arrived at the process by this connection were all read. `_is_ours` picks its record.
void until_read(const std::function<bool(const struct_epoll_overlapped_tcp&)>& _is_ours);

/// Nothing that has arrived waits to be read, and no message to be processed.
bool is_quiet();

/// What the runtime may hold between two inputs, and a pair of a service and a client that have nothing to do with them.
class Invariants {
public:
    /// @param _is_lost messages that the rules of the system lose with their blocks.
    /// The objects of the target are up and have done once what they do with each input.
    explicit Invariants(std::function<bool(const Packet&)> _is_lost);

    /// After an input: no message under way, all records and blocks given back; now and then also descriptors, and
    /// that the others are served.
    void check();

private:
    bool is_at_rest() const;
    /// Headers of messages that the rules have lost, it seems, each with its data or 0.
    std::map<mm_t, mm_t> lost() const;
    /// Gives back what is still lost at a second look.
    void free_lost() const;

    const std::function<bool(const Packet&)> is_lost;
    std::size_t connections = 0;
    std::size_t blocks = 0;
    std::size_t files = 0;
    unsigned inputs = 0;
};

}  // namespace fuzz
