/// @file
/// What a contender implements: one small file each. The processes, the clock and the counting are the harness's.
#pragma once

#include <cstddef>
#include <memory>

#include "harness/job.h"
#include "harness/shared.h"

namespace bench {

/// Calls under way. A peer sends as long as `may_send` allows and reports each answer:
/// from one loop, or from callbacks on several threads.
class Window {
public:
    Window(const Job& job, Shared& shared) : window_(job.window), most_(job.most), shared_(shared) {}

    /// Takes one of the places for a call that is sent next. False: all are taken, or the run is over.
    bool may_send();
    /// A call was answered, the oldest one as far as the clock is concerned; its place is free.
    void answered();
    /// A call failed; its place is free.
    void failed();
    bool is_over() const { return shared_.is_over(); }
    unsigned size() const { return window_; }

private:
    static constexpr std::size_t c_times = 1024;
    const std::uint64_t window_;
    const std::uint64_t most_;
    Shared& shared_;
    std::atomic<std::uint64_t> begun_{0};
    std::atomic<std::uint64_t> ended_{0};
    std::atomic<std::uint64_t> times_[c_times] = {};
};

/// One contender in one process: the service's, or one client's. What it does not override it cannot do.
class Peer {
public:
    Peer(const Job& job, Shared& shared) : job(job), shared(shared) {}
    Peer(const Peer&) = delete;
    virtual ~Peer() = default;

    // In the service's process.

    /// Opens the service, tells its port with `is_open`, and for ever answers every call with as many bytes; for
    /// `command` it calls `receipt` for each message instead, whose first byte is the client.
    virtual void serve() { absent(); }
    /// Opens the publisher and tells its port.
    virtual void open() { absent(); }
    virtual void publish(const void*, std::size_t) { absent(); }

    // In a client's process. `index` is the client's number; for `idle`, that of the connection.

    /// Returns when a call, or a message, can be sent.
    virtual void connect(unsigned short /*port*/, unsigned /*index*/) { absent(); }
    /// One blocking call. False: it failed.
    virtual bool call(const void*, std::size_t) { absent(); }
    /// Calls until the window is over.
    virtual void call_many(const void*, std::size_t, Window&) { absent(); }
    virtual void send(const void*, std::size_t) { absent(); }
    /// Subscribes, tells `is_ready`, and for ever calls `received` for each message.
    virtual void subscribe(unsigned short /*port*/) { absent(); }

protected:
    const Job& job;
    Shared& shared;

    void is_open(unsigned port) { shared.port = port; }
    void is_ready() { ++shared.ready; }
    /// A message came. It begins with the time of its sending if it is long enough.
    void received(const void* data, std::size_t size);

    [[noreturn]] static void absent();
};

/// For processes whose work is done by other threads, or is done.
[[noreturn]] void rest();

// What each contender's file defines.

bool takes_part(const Job& job);
/// Does nothing yet: the time that a library takes to come up belongs to `connect`.
std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared);

}  // namespace bench
