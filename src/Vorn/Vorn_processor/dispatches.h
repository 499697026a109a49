/// @file
/// Which dispatches of an object are under way, and the wait until none is.
#pragma once

#include <atomic>
#include <memory>

namespace Vorn35 {

/// Counts the dispatches of one `Stub` or `Proxy`, with those of its members. An application callback runs inside a
/// dispatch only.
///
/// A dispatch begins under the shared hold of `mutex_01` under which its object was found in a table, or its message was taken
/// from a queue. So a thread that removes the object from the tables, and its messages from the queues, under the exclusive
/// hold, and then waits until the count is 0, meets no later callback.
class Dispatches {
public:
    /// The calling thread is inside a dispatch of this object.
    bool are_own() const;
    /// Waits until no dispatch is under way; no lock held, and not on a thread whose own dispatch it is.
    /// @param _limit seconds.
    /// @return false: the limit has passed.
    bool wait_for_none(double _limit) const;

private:
    friend class Dispatch;
    std::atomic<int> under_way{0};
};
using dispatches_t = std::shared_ptr<Dispatches>;

/// One dispatch, for as long as it lives. Shares the count: the callback may destroy the object.
class Dispatch {
public:
    explicit Dispatch(const dispatches_t& _of);
    ~Dispatch();
    Dispatch(const Dispatch&) = delete;
    Dispatch& operator=(const Dispatch&) = delete;

private:
    friend class Dispatches;
    const dispatches_t of;
    const Dispatch* const outer;  ///< The thread's dispatch around this one, if a callback dispatches a message itself.
};

}  // namespace Vorn35
