/// @file
/// What event, information and command share on the client side: the link.
#pragma once

#include <atomic>

#include "Vorn/SDK/Proxy/_Proxy_method.h"
#include "Vorn35/Promise.h"

namespace Vorn35 {

/// A member that links to a member of the service. A link ends with its connection and does not return with the next one.
class _Linking_method : public _Proxy_method {
public:
    bool is_linked() const { return connect_state; }

    // The application's operations; `mutex_01` shared, but for `await_link_return`, which takes it itself.

    Error delegate_link(EMsg _type, Msg_num* _msg_num_, double _limit_time);
    Promise_ async_link(EMsg _type, double _limit_time);
    Error await_link_return(Promise_ _promise_, double* _time_);
    /// Ends the link without a callback.
    /// @param _send false: sends no message; the caller may hold `mutex_01` exclusive then.
    void disconnect(bool _send);

    // On a listener with `mutex_01` shared.

    /// The connection is up again: asks for the link that ended with the connection before, unless the application has
    /// unlinked or asked itself (`Runtime_options::restore_links`).
    void restore();
    /// The service has ended the link, or the connection is gone.
    void adapter_disconnect(Token _token);
    void adapter_delegate_on_link(Token _token);

protected:
    using _Proxy_method::_Proxy_method;
    ~_Linking_method() = default;

    /// The connection that an answer came over is known to be lost, or another one stands. `mutex_01` shared.
    bool is_of_the_past(const Packet* _answer) const;

    /// The link is established. Has no lock: two concurrent requests may both find it false and be sent.
    std::atomic<bool> connect_state{false};

private:
    /// Notes a request of the application, which takes the place of a restoration.
    void asked(EMsg _type, double _limit_time);

    std::atomic<EMsg> asked_type{EMsg::null};  ///< The last request, in its `delegate_` form.
    std::atomic<double> asked_limit{0};
    std::atomic<bool> is_to_restore{false};

    // The application's part; no lock held.

    virtual void tell_link(Msg_num _msg_num, Error _err, double _time) = 0;
    virtual void tell_unlink(Error _err) = 0;

    // The kind's part; `mutex_01` shared.

    /// Whether the answer to a plain request confirms the link.
    virtual bool is_confirm(EMsg _type) const = 0;
    /// An answer to a request is in, and the link not yet up.
    /// @param _waited it answers a plain request.
    virtual void take_answer(const Packet*, bool) {}
    /// Type of the message by which the client leaves.
    virtual EMsg shutdown_type() const = 0;
    /// Local interface that this message carries.
    virtual IP shutdown_if() const { return c_loopback_ip; }
    /// The link is down. False: it was before.
    virtual bool end_link() { return connect_state.exchange(false); }

    void stand(const Packet* _answer);
};

}  // namespace Vorn35
