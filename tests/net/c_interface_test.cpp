// The C interface: each function is called, with an outcome that shows where the call went.

#include "Vorn/options.h"
#include "Vorn35/Vorn.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

std::map<Vorn_inst*, Log> g_logs;  ///< One for each object, all there before any callback runs.
std::atomic<Error> g_decision{0};

std::string text_of(Vorn_addr _addr) {
    return std::string(vorn_inet_ntoa(_addr.ip)) + ":" + std::to_string(_addr.port);
}

/// The arguments of a callback as text, but for times.
struct Line {
    std::string text;
    const void* data_ = nullptr;
    bool is_size = false;

    void add(Vorn_addr _addr) { text += " " + text_of(_addr); }
    void add(bool _reliable) { text += _reliable ? " tcp" : " udp"; }
    void add(Vorn_error _err) { text += " " + name_of(_err); }
    void add(Vorn_sync_model _model) { text += _model == vorn_on_timer ? " timer" : " post"; }
    void add(double) {}
    void add(const void* _data) { data_ = _data, is_size = true; }
    void add(std::uint32_t _number) { text += " " + (is_size ? bytes_of(data_, _number) : std::to_string(_number)); }
    void add(void* _answer_) { static_cast<char*>(_answer_)[0] = 'X'; }
    void add(Vorn_pksize* _size_) { *_size_ = 1; }
};
template <class Result, class... Arguments>
using callback_t = Result(Vorn_inst*, Arguments...);
/// Becomes the callback that a parameter wants.
template <char c_name>
struct On {
    template <class Result, class... Arguments>
    static Result called(Vorn_inst* _inst_, Arguments... _arguments) {
        Line line{{c_name}};
        (line.add(_arguments), ...);
        g_logs.at(_inst_).put(line.text);
        return static_cast<Result>(g_decision.load());
    }
    template <class Result, class... Arguments>
    operator callback_t<Result, Arguments...>*() const {
        return called<Result, Arguments...>;
    }
};
constexpr On<'+'> c_up;    ///< connected, linked, answered
constexpr On<'-'> c_down;  ///< disconnected, unlinked, cancelled
constexpr On<'='> c_data;

/// Of a wait that is repeated when the answer was there before it had begun.
constexpr double c_short = 0.1;

/// A service and a client in one process, each with a member of every kind.
class C_interface : public Runtime {
protected:
    C_interface() : Runtime(by_the_test) {}

    Vorn_inst* own(Vorn_inst* _inst_, void (*_free)(Vorn_inst*)) {
        objects.emplace_back(_inst_, _free);
        return g_logs.erase(_inst_), g_logs[_inst_], _inst_;
    }
    void connect() {
        g_decision = 0;
        ASSERT_EQ(vorn_initialize_default(), 0);
        ASSERT_EQ(vorn_stub_start(stub, "c", &service.port), 0);
        ASSERT_EQ(vorn_proxy_start(proxy, service), 0);
        ASSERT_EQ(next(proxy), "+");
        Vorn_addr there{};
        ASSERT_EQ(vorn_proxy_get_address(proxy, &address, &there), 0);
        EXPECT_EQ(text_of(there), text_of(service));
        self = " " + text_of(address);
        ASSERT_EQ(next(stub), "+" + self);
    }
    static std::string next(Vorn_inst* _inst_) { return g_logs.at(_inst_).take(); }
    /// An operation that succeeds, and a line that follows from it.
    static void says(Vorn_error _err, Vorn_inst* _inst_, const std::string& _line) {
        EXPECT_TRUE(_err == 0 && next(_inst_) == _line) << name_of(_err) << " and not " << _line;
    }
    /// What a snapshot holds, newest first. Takes it over, which no function in C does.
    static std::string see(Vorn_letter_case* _snapshot_) {
        return joined(static_cast<Letter_case_>(static_cast<void*>(_snapshot_)));
    }
    template <class Read, class... Which>
    static std::string read(Read _read, Which... _which) {
        return newest_of([&](void* _buffer, Pksize* _size) { return _read(_which..., _buffer, _size); });
    }

    Vorn_inst* const stub = own(vorn_stub_alloc(c_up, c_down), vorn_stub_free);
    Vorn_inst* const stub_call = own(vorn_stub_call_alloc(1, 16, stub, c_data, c_down), vorn_stub_call_free);
    Vorn_inst* const stub_signal = own(vorn_stub_signal_alloc(2, stub, c_data, c_down), vorn_stub_signal_free);
    Vorn_inst* const stub_event = own(vorn_stub_event_alloc(3, stub, c_up, c_down), vorn_stub_event_free);
    Vorn_inst* const publisher = own(vorn_stub_information_alloc(4, stub, c_up, c_down), vorn_stub_information_free);
    Vorn_inst* const acceptor = own(vorn_stub_command_alloc(5, stub, c_data, c_up, c_down), vorn_stub_command_free);
    Vorn_inst* const stub_datagram = own(vorn_stub_datagram_alloc(6, stub), vorn_stub_datagram_free);
    Vorn_inst* const proxy = own(vorn_proxy_alloc(c_up, c_down), vorn_proxy_free);
    Vorn_inst* const proxy_call = own(vorn_proxy_call_alloc(1, proxy, c_data), vorn_proxy_call_free);
    Vorn_inst* const proxy_signal = own(vorn_proxy_signal_alloc(2, proxy, c_up), vorn_proxy_signal_free);
    Vorn_inst* const proxy_event = own(vorn_proxy_event_alloc(3, proxy, c_up, c_down, c_data), vorn_proxy_event_free);
    Vorn_inst* const follower =
        own(vorn_proxy_information_alloc(4, proxy, c_up, c_down, c_data), vorn_proxy_information_free);
    Vorn_inst* const writer = own(vorn_proxy_command_alloc(5, proxy, c_up, c_down), vorn_proxy_command_free);
    Vorn_inst* const proxy_datagram = own(vorn_proxy_datagram_alloc(6, proxy, c_data), vorn_proxy_datagram_free);
    Vorn_addr service{c_here, 0};
    Vorn_addr address{};
    std::string self;  ///< The client in a line.
};

/// The tour in C shows the other forms of these.
TEST_F(C_interface, Requests) {
    connect();
    Vorn_seq seq = 0;
    g_decision = c_refusal;
    says(vorn_proxy_call_delegate_call(proxy_call, &seq, "a", 1, 20), stub_call, "=" + self + " a");
    says(0, proxy_call, "= " + std::to_string(seq) + " 77 ");
    vorn_proxy_call_cancel(proxy_call, -5);
    says(0, stub_call, "-" + self + " " + name_of(-5));
    says(vorn_proxy_signal_delegate_signal(proxy_signal, &seq, "a", 1, 20), stub_signal, "=" + self + " a");
    says(0, proxy_signal, "+ " + std::to_string(seq) + " 0");
    // A wait may begin too late for the answer; the signal arrives all the same.
    vorn_proxy_signal_signal(proxy_signal, "b", 1, c_short, nullptr);
    says(0, stub_signal, "=" + self + " b");
    vorn_proxy_signal_await_return(proxy_signal, vorn_proxy_signal_async_signal(proxy_signal, "c", 1, c_short),
                                   nullptr);
    says(0, stub_signal, "=" + self + " c");
    vorn_proxy_signal_cancel(proxy_signal, -5);
    says(0, stub_signal, "-" + self + " " + name_of(-5));
    says(vorn_stub_datagram_cast(stub_datagram, c_here, "a", 1), proxy_datagram, "= " + text_of(service) + " a");
}

TEST_F(C_interface, Links) {
    connect();
    // `_choice` is a limit; of an information the transport, and no limit.
    const auto link = [&](Vorn_inst* _served_, Vorn_inst* _member_, const char* _transport, double _choice,
                          auto _delegate, auto _is_linked, auto _unlink, auto _unlink_client, auto _unlink_all) {
        for (int end = 0; end < 4; ++end) {
            g_decision = end == 0 ? c_refusal : 0;
            Vorn_msg_num num = 0;
            says(_delegate(_member_, &num, _choice), _served_, "+" + self + _transport);
            says(0, _member_, "+ " + std::to_string(num) + " " + name_of(g_decision));
            EXPECT_EQ(_is_linked(_member_), end != 0);
            if (end == 1) _unlink(_member_), says(0, _served_, "-" + self + " 0");
            if (end == 2) _unlink_client(_served_, address);
            if (end == 3) _unlink_all(_served_);
            if (end >= 2) says(0, _member_, "- 0");
        }
    };
    link(stub_event, proxy_event, "", 1, vorn_proxy_event_delegate_link, vorn_proxy_event_is_linked,
         vorn_proxy_event_unlink, vorn_stub_event_unlink, vorn_stub_event_unlink_all_proxy);
    link(publisher, follower, " udp", 0, vorn_proxy_information_delegate_link, vorn_proxy_information_is_linked,
         vorn_proxy_information_unlink, vorn_stub_information_unlink, vorn_stub_information_unlink_all_proxy);
    link(acceptor, writer, "", 1, vorn_proxy_command_delegate_link, vorn_proxy_command_is_linked,
         vorn_proxy_command_unlink, vorn_stub_command_unlink, vorn_stub_command_unlink_all_proxy);
    vorn_proxy_event_await_link_return(proxy_event, vorn_proxy_event_async_link(proxy_event, c_short), nullptr);
    EXPECT_TRUE(eventually([&] { return vorn_proxy_event_is_linked(proxy_event); }));
    says(vorn_stub_event_event_nodata(stub_event), proxy_event, "= ");
}

TEST_F(C_interface, Values) {
    connect();
    Vorn_msg_num num = 0;
    says(vorn_proxy_information_delegate_link(follower, &num, 1000), publisher, "+" + self + " tcp");
    says(0, follower, "+ 1 0");
    vorn_stub_information_set_history_size(publisher, 1);
    vorn_proxy_information_set_history_size(follower, 2);
    EXPECT_NE(vorn_stub_information_get(publisher, 3), nullptr);
    vorn_stub_information_cancel(publisher);
    EXPECT_EQ(vorn_stub_information_post(publisher, 3), vorn_err_dont_get);
    says(vorn_stub_information_write(publisher, "one", 3), follower, "= post one");
    std::memcpy(vorn_stub_information_get(publisher, 8), "two", 3);
    says(vorn_stub_information_post(publisher, 3), follower, "= post two");
    EXPECT_EQ(see(vorn_stub_information_see_history(publisher, 9)), "two,");
    EXPECT_EQ(see(vorn_proxy_information_see_history(follower, 9)), "two,one,");
    vorn_proxy_information_set_sync(follower, false);
    EXPECT_EQ(vorn_stub_information_write(publisher, "silent", 6), 0);
    EXPECT_EQ(read(vorn_stub_information_read, publisher), "silent");
    EXPECT_TRUE(eventually([&] { return read(vorn_proxy_information_read, follower) == "silent"; }));
    EXPECT_TRUE(g_logs[follower].empty());

    says(vorn_proxy_command_delegate_link(writer, &num, 1), acceptor, "+" + self);
    says(0, writer, "+ 2 0");
    vorn_stub_command_set_history_size(acceptor, 1);
    vorn_proxy_command_set_history_size(writer, 2);
    EXPECT_NE(vorn_proxy_command_get(writer, 3), nullptr);
    vorn_proxy_command_cancel(writer);
    EXPECT_EQ(vorn_proxy_command_post(writer, 3), vorn_err_dont_get);
    says(vorn_proxy_command_write(writer, "one", 3), acceptor, "=" + self + " post one");
    std::memcpy(vorn_proxy_command_get(writer, 8), "two", 3);
    says(vorn_proxy_command_post(writer, 3), acceptor, "=" + self + " post two");
    EXPECT_EQ(see(vorn_stub_command_see_history(acceptor, address, 9)), "two,");
    EXPECT_EQ(see(vorn_proxy_command_see_history(writer, 9)), "two,one,");
    EXPECT_EQ(read(vorn_proxy_command_read, writer), "two");
    vorn_proxy_command_set_sync_model(writer, true, vorn_on_timer, 0.125);
    says(0, acceptor, "=" + self + " timer two");
    vorn_proxy_command_set_sync_model(writer, true, vorn_on_post, 0);
    vorn_stub_command_set_sync(acceptor, false);
    EXPECT_EQ(vorn_proxy_command_write(writer, "silent", 6), 0);
    EXPECT_TRUE(eventually([&] { return read(vorn_stub_command_read, acceptor, address) == "silent"; }));
    vorn_stub_command_unlink_all_proxy(acceptor);  // or what the service has of it is lost with the connection
    says(0, writer, "- 0");
}

TEST_F(C_interface, LifeAndOrdering) {
    Vorn_options options{};
    options.size = sizeof options;
    Vorn_options_reliable(&options);
    options.send_bytes = 12345;
    options.silence_limit = 1;
    EXPECT_EQ(Vorn_initialize_with(&options), EINVAL);
    options.silence_limit = 10;
    options.size = offsetof(Vorn_options, silence_limit);  // of an earlier version: the rest is standard
    EXPECT_EQ(Vorn_initialize_with(&options), 0);
    EXPECT_TRUE(g_options.exact_waits && g_options.send_bytes == 0 && g_options.silence_limit == 8888);
    EXPECT_EQ(vorn_finalize(), 0);
    EXPECT_EQ(vorn_initialize(3, 16, 0), 0);
    EXPECT_EQ(threads(), threads_before + 3 + 6);
    EXPECT_EQ(vorn_finalize(), 0);
    connect();
    Vorn_connection first{};
    EXPECT_TRUE(eventually([&first] { return Vorn_connections(&first, 1) == 2; })) << "one, seen from both ends";
    EXPECT_TRUE(first.is_client);
    EXPECT_EQ(first.peer.port, service.port);
    Vorn_known_name name{};
    EXPECT_TRUE(eventually([&name] { return Vorn_known_names(&name, 1) == 1; }));
    EXPECT_EQ(name.addr.port, service.port);
    const Vorn_msg_addr calls{service.port, 1, 1};
    const auto in_the_queue_of_calls = [&]() -> int {  // keys
        const Exclusive_hold hold;
        const auto found = gp_processor->qbuffer_map.find(Msg_addr(service.port, 1, 1));
        return found == gp_processor->qbuffer_map.end() ? 0 : found->second->m_ref;
    };
    vorn_msg_processing_by_serial_group(calls, {service.port, 2, 2});
    EXPECT_EQ(in_the_queue_of_calls(), 2);
    vorn_msg_processing_by_parallel(calls);
    EXPECT_EQ(in_the_queue_of_calls(), 0);
    vorn_msg_processing_by_serial_alone(calls);
    EXPECT_EQ(in_the_queue_of_calls(), 1);
    Vorn_addr found{};
    EXPECT_TRUE(eventually([&] { return vorn_get_address("c", &found) == 1; }));
    EXPECT_EQ(found.port, service.port);
    EXPECT_EQ(vorn_stub_stop(stub), 0);
    EXPECT_EQ(vorn_proxy_stop(proxy), 0);
    EXPECT_FALSE(vorn_stub_is_started(stub) || vorn_proxy_is_started(proxy) || vorn_proxy_is_connected(proxy));
}

}  // namespace
