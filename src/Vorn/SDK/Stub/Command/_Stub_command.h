/// @file
#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "Vorn/SDK/Stub/Command/sync_turns.h"
#include "Vorn/SDK/Stub/links.h"
#include "Vorn35/Stub_command.h"

namespace Vorn35 {

using cmd_connections_t = std::map<Addr, cmd_link_t>;

/// Service side of a command.
class _Stub_command final : public _Linked_method {
public:
    _Stub_command(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_command* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// On a listener with `mutex_01` shared.
    void adapter_sync(Token _token);

    /// `mutex_01` shared.
    Letter_case_ see_history(Addr _client, std::size_t _size);

    std::atomic<std::size_t> history_size{1};
    std::atomic<bool> use_on_sync{true};

private:
    Error ask_application(const Packet* _request) override;
    void tell_application(Addr _client, Error _error) override;
    std::vector<Addr> linked() const override;
    EMsg disconnect_type(Addr _client) const override;
    bool enter(const Packet* _request) override;
    void erase(Addr _client) override;
    void lose(Addr _client) override;
    void erase_all() override;
    void wait_for_callbacks(const Addr* _client) override;

    /// Calls `on_sync` when the turn comes, unless the link has ended by then.
    void sync(Token _token, Sync_turns::turn_t _turn, const cmd_link_t& _link);

    cmd_connections_t connections;  ///< Guarded by `connections_mutex`, with all the histories.
    const std::shared_ptr<Sync_turns> turns = std::make_shared<Sync_turns>();
    Stub_command* const mp;
};

}  // namespace Vorn35
