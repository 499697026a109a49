/// @file
/// `History`: a handle on a snapshot of the last values of an information or command member.
#pragma once

#include <cstddef>

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// The snapshot itself. It holds its messages; applications only hand it from `see_history` to a `History`.
struct Letter_case;
/// How a snapshot is handed over.
using Letter_case_ = Letter_case*;

/// One value of a `History`.
template <class T>
struct THistory_elem;

/// One value as it came: the bytes, untyped. The default is an element with every field 0.
template <>
struct THistory_elem<void> {
    void* buffer_ = nullptr;  ///< The bytes; null when there are none. Valid as long as the `History` it is from.
    Pksize size = 0;          ///< Number of bytes.
    double interval = 0;      ///< The time limit that the value was sent with, in seconds.
    Clock clock = 0;          ///< When it came, or was last stamped: a tick of `get_cpu_clock`.
};

/// Owner of one snapshot, with deep copy: a copy holds the same messages by references of its own, and every
/// `History` gives back exactly what it holds. The messages stay as long as any handle holds them, however
/// the live queue moves on, and also past `finalize`.
///
/// One thread uses one handle at a time; copies may live on different threads.
///
/// @code
/// Vorn35::History history = proxy_information.see_history(10);
/// for (unsigned int i = 0; i < history.size(); ++i) use(history[i].buffer_, history[i].size);
/// @endcode
class VORN35_API History {
public:
    History() = default;
    /// Takes over the snapshot, which may be null. Not explicit: `see_history` initialises a `History`.
    History(Letter_case_ _letter_case_) : letter_case_(_letter_case_) {}
    /// Holds the messages of the other by references of its own.
    History(const History& _other);
    ~History();

    /// Releases the present snapshot and takes over the given one.
    History& operator=(Letter_case_ _letter_case_);
    /// Releases the present snapshot and copies the other's. Assigning a handle to itself changes nothing.
    History& operator=(const History& _other);

    /// True when there is a snapshot, be it empty.
    operator bool() const { return letter_case_ != nullptr; }
    /// The element at an index; one with every field 0 when there is none. In a snapshot of `see_history`, 0
    /// is the newest.
    THistory_elem<void> operator[](unsigned int _index) const;
    /// Number of elements; 0 without a snapshot.
    std::size_t size() const;
    /// True also without a snapshot.
    bool empty() const { return size() == 0; }
    /// Releases the snapshot.
    void clear();

private:
    Letter_case_ letter_case_ = nullptr;
};

}  // namespace Vorn35
