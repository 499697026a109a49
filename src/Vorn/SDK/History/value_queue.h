/// @file
/// The live queue of values behind a `History`.
#pragma once

#include <cstddef>
#include <deque>

#include "Vorn/SDK/History/Letter_case.h"

namespace Vorn35 {

using history_t = std::deque<Token>;

/// The last values that a member saw, newest first. Owns one reference to each block of each token. Guarded
/// by its owner's mutex.
class Value_queue {
public:
    Value_queue() = default;
    Value_queue(const Value_queue&) = delete;
    Value_queue& operator=(const Value_queue&) = delete;
    ~Value_queue() { clear(); }

    /// Adds a value and a reference to each of its blocks; the caller keeps its references. Then frees the oldest values until
    /// at most `_keep` are left.
    void push(Token _token, std::size_t _keep);
    /// The block of the newest value, which stays owned by the queue; 0 if there is none.
    mm_t newest() const { return history.empty() ? 0 : history.front().data_mm; }
    /// The newest values, at most so many. The caller owns the snapshot.
    Letter_case_ snapshot(std::size_t _size) const;
    void clear();
    /// Removes the values but keeps their references: their blocks stay allocated.
    void abandon() { history.clear(); }

private:
    history_t history;
};

/// Copies the newest value of a snapshot, which it frees.
/// @param _size_ in: size of the buffer. Out: size of the value if that is smaller; a larger one is cut.
/// @return 0, or "VORN_ERR_EMPTY_HISTORY_".
Error read_newest(Letter_case_ _letter_case_, void* _data_, Pksize* _size_);

}  // namespace Vorn35
