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

/// A connection to or from the runtime as its table has it.
using Is_ours = std::function<bool(const struct_epoll_overlapped_tcp&)>;

/// The bytes that arrived at the process by these connections were all read.
void until_read(const Is_ours& _is_ours);

/// Nothing that has arrived waits to be read, and no message to be processed.
bool is_quiet();
inline void until_processed() {
    until([] { return gp_processor->test_empty(); }, "messages are processed");
}

/// Sends in pieces whose lengths follow from `_seed`, 0: all at once, until the runtime has read all. Each piece is
/// read before the next is sent, so that the receiver meets each end.
void send_in_pieces(const net::Raw_socket& _to, const Bytes& _bytes, std::uint8_t _seed, const Is_ours& _is_ours);

/// One input for a process whose runtime is started with the first one. Ends the process unless afterwards no message
/// is under way, all records and blocks are given back, now and then also descriptors, and a pair of a service and a
/// client that have nothing to do with the inputs goes on.
/// @param _is_lost messages that the rules of the system lose with their blocks, besides the share of the waiters in
///     the loss of a server that the pipe has no room for.
/// @return 0.
int test_one(void (*_run)(Input), bool (*_is_lost)(const Packet&), Input _in);

}  // namespace fuzz
