/// @file
/// Which dispatches of an object are under way, and the wait until none is.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

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
    /// On a thread that is inside a dispatch of this object, keeps something alive until no dispatch of it is under way.
    /// Elsewhere it ends at once.
    void keep(std::shared_ptr<void> _kept);

private:
    friend class Dispatch;
    std::atomic<int> under_way{0};
    std::atomic<bool> keeps{false};
    std::vector<std::shared_ptr<void>> kept;  ///< Guarded by the lock of the waits (dispatches.cpp).
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

/// Deletes an internal object whose owner is being destroyed. If a callback of the owner destroys it on this thread, the end of
/// its last dispatch deletes the internal object, which the dispatches still use.
template <class Internal>
void dispose(Internal* _internal, const dispatches_t& _of) {
    _of->keep(std::shared_ptr<void>(std::unique_ptr<Internal>(_internal)));
}

/// `dispose` for a member, which leaves its owner's table first.
template <class Member>
void end_member(Member* _member, const dispatches_t& _of) {
    _member->leave_table();
    dispose(_member, _of);
}

}  // namespace Vorn35
