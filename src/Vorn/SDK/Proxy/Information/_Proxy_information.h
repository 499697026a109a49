/// @file
#pragma once

#include <deque>
#include <vector>

#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/SDK/Proxy/link.h"
#include "Vorn/mutex.h"
#include "Vorn35/Proxy_information.h"

namespace Vorn35 {

/// Client side of an information.
class _Proxy_information final : public _Linking_method {
public:
    _Proxy_information(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_information* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    // `mutex_01` shared.

    void drop_membership();
    Letter_case_ see_history(std::size_t _size);

    // On a listener with `mutex_01` shared.

    void adapter_disconnect(Token _token);
    void adapter_sync(Token _token);

    std::atomic<std::size_t> history_size{1};
    std::atomic<bool> use_on_sync{true};

private:
    void tell_link(Msg_num _msg_num, Error _err, double _time) override { mp->on_link(_msg_num, _err, _time); }
    void tell_unlink(Error _err) override { mp->on_unlink(_err); }
    bool is_confirm(EMsg _type) const override;
    void take_answer(const Packet* _answer, bool _waited) override;
    EMsg shutdown_type() const override;
    IP shutdown_if() const override { return mct_if; }
    void begin_link() override;
    bool end_link() override;
    void link_has_begun() override;

    /// Keeps a value that has overtaken the answer to the request for its link, or the callback that tells it.
    bool hold_early(Token _token) VORN35_REQUIRES(information_mutex);
    void enter_early(Token* _value_) VORN35_REQUIRES(information_mutex);
    bool was_entered(Token _token) VORN35_REQUIRES(information_mutex);
    bool is_of_this_form(Token _value) const;
    void sync(Token _token);

    /// The link was confirmed as one by TCP.
    std::atomic<bool> tcp_confirm{false};
    /// Local interface of the membership. Known from an answer that was waited for, and from no other.
    std::atomic<IP> mct_if{0};
    /// Guards `history`, and the end of a link together with it. Taken after `mutex_01`.
    Mutex<lock_order::information> information_mutex;
    Value_queue history VORN35_GUARDED_BY(information_mutex);
    // Only with `Runtime_options::current_values`.
    /// Values that came ahead of their link. The link enters them into the history, and they return to the pipe for `on_sync`.
    std::deque<Token> early VORN35_GUARDED_BY(information_mutex);
    /// Those that are in the history already, and in the pipe. A reference to each header keeps its number from being reused.
    std::vector<Token> entered VORN35_GUARDED_BY(information_mutex);
    Proxy_information* const mp;
};

}  // namespace Vorn35
