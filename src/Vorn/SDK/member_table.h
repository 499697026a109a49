/// @file
/// What the tables of members of a `Stub` and of a `Proxy` share.
#pragma once

#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

/// Enters a member. A code that is taken keeps its member, silently. Takes `mutex_01` exclusive.
template <class Map>
void add_member(Map* _members, Msg_code _code, typename Map::mapped_type _member) {
    const Exclusive_hold hold;
    _members->emplace(_code, _member);
}

/// Removes the member of a code, whichever it is. Takes `mutex_01` exclusive.
template <class Map>
void del_member(Map* _members, Msg_code _code) {
    const Exclusive_hold hold;
    _members->erase(_code);
}

/// The member of a code; null when there is none. `mutex_01` shared.
template <class Map>
typename Map::mapped_type find_member(const Map& _members, Msg_code _code) {
    const auto found = _members.find(_code);
    return found == _members.end() ? nullptr : found->second;
}

template <class Map, class Visit>
void for_each_code(const Map& _members, Visit _visit) {
    for (const auto& entry : _members) _visit(entry.first);
}

/// Visits every member. A callback in between runs without the lock and may change the table: the loop continues after the
/// last visited code.
template <class Map, class Visit>
void for_each_member(const Map& _members, Visit _visit) {
    auto next = _members.begin();
    while (next != _members.end()) {
        const Msg_code code = next->first;
        _visit(next->second);
        next = _members.upper_bound(code);
    }
}

}  // namespace Vorn35
