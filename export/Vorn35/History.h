/// @file
/// `History`: a handle on a snapshot of the last values of an information or command member.
#pragma once

#include <cstddef>

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// A snapshot of values. `see_history` makes it; pass it to a `History`, which reads and frees it.
struct Letter_case;
/// Pointer to a snapshot that its receiver must free, by passing it to a `History`.
using Letter_case_ = Letter_case*;

/// One value of a `History`.
template <class T>
struct THistory_elem;

/// One value as untyped bytes. The default is an element with every field 0.
template <>
struct THistory_elem<void> {
    void* buffer_ = nullptr;  ///< The bytes; null when there are none. Valid as long as the `History` it comes from.
    Pksize size = 0;          ///< Number of bytes.
    double interval = 0;      ///< The time limit that the value was sent with, in seconds.
    Clock clock = 0;          ///< When the value arrived or was last stamped: a tick of `get_cpu_clock`.
};

/// Owns one snapshot. A copy shares the values by reference count and owns its references. The values stay valid until
/// the last `History` that holds them is cleared or destroyed, also when the member has newer values and after
/// `finalize`.
///
/// Threads: one thread at a time may use one `History`. Copies may be used on different threads at the same time.
///
/// @code
/// Vorn35::History history = proxy_information.see_history(10);
/// for (unsigned int i = 0; i < history.size(); ++i) use(history[i].buffer_, history[i].size);
/// @endcode
class VORN35_API History {
public:
    History() = default;
    /// Takes ownership of the snapshot, which may be null. Not explicit, so that `see_history` initialises a `History`.
    History(Letter_case_ _letter_case_) : letter_case_(_letter_case_) {}
    /// Shares the values of the other.
    History(const History& _other);
    /// Releases the snapshot.
    ~History();

    /// Releases the present snapshot and takes ownership of the given one.
    History& operator=(Letter_case_ _letter_case_);
    /// Releases the present snapshot and shares the other's values. Assigning an object to itself changes nothing.
    History& operator=(const History& _other);

    /// True when there is a snapshot, even an empty one.
    operator bool() const { return letter_case_ != nullptr; }
    /// The value at an index; 0 is the newest. Every field is 0 when the index is too large.
    THistory_elem<void> operator[](unsigned int _index) const;
    /// Number of values; 0 without a snapshot.
    std::size_t size() const;
    /// True when there is no value, or no snapshot.
    bool empty() const { return size() == 0; }
    /// Releases the snapshot.
    void clear();

private:
    Letter_case_ letter_case_ = nullptr;
};

}  // namespace Vorn35
