/// @file
/// What the two programs of the second half of the tour agree on.
#pragma once

#include "Vorn35/Vorn35.h"

namespace tour {

inline constexpr const char* c_streams_name = "tour_streams";
inline constexpr Vorn35::Port c_streams_port = 50200;

// Every member has a code; each kind has codes of its own, so 1 may be a call and an event as well.
inline constexpr Vorn35::Msg_code c_note = 1;         ///< Signal: a text. The service passes it on as an event.
inline constexpr Vorn35::Msg_code c_noted = 1;        ///< Event: the text of a note.
inline constexpr Vorn35::Msg_code c_level = 1;        ///< Information: a `Reading` 20 times a second.
inline constexpr Vorn35::Msg_code c_burst_level = 2;  ///< Information: `Reading`s in one go, when asked.
inline constexpr Vorn35::Msg_code c_target = 1;       ///< Command: an int written by a client.
inline constexpr Vorn35::Msg_code c_shout = 1;        ///< Datagram: a text to everybody.
inline constexpr Vorn35::Msg_code c_targets = 1;      ///< Call: the targets that the caller wrote, newest first.
inline constexpr Vorn35::Msg_code c_do_shout = 2;     ///< Call: the service shouts.
inline constexpr Vorn35::Msg_code c_do_burst = 3;     ///< Call: the service publishes a burst.
inline constexpr Vorn35::Msg_code c_end = 4;          ///< Call: the service ends.

struct Reading {
    int number;
    double value;
};

inline constexpr int c_kept = 5;              ///< Values that histories keep in this tour.
inline constexpr int c_burst_readings = 300;  ///< Droppable.
inline constexpr int c_burst_notes = 10;      ///< Not droppable; between the readings.

}  // namespace tour
