/// @file
#pragma once

#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/SDK/Proxy/link.h"
#include "Vorn/mutex.h"
#include "Vorn35/Proxy_information.h"

namespace Vorn35 {

/// Client side of an information.
class _Proxy_information final : public _Linking_method {
public:
    _Proxy_information(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_information* _mp);
    ~_Proxy_information();

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
    bool end_link() override;

    void sync(Token _token);

    /// The link was confirmed as one by TCP.
    std::atomic<bool> tcp_confirm{false};
    /// Local interface of the membership. Known from an answer that was waited for, and from no other.
    std::atomic<IP> mct_if{0};
    /// Guards `history`, and the end of a link together with it. Taken after `mutex_01`.
    Mutex<lock_order::information> information_mutex;
    Value_queue history VORN35_GUARDED_BY(information_mutex);
    Proxy_information* const mp;
};

}  // namespace Vorn35
