// The C interface: every function is called through it, with an outcome that shows where the call went.

#include "Vorn35/Vorn.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

// --- callbacks that leave lines --------------------------------------------------------------------------

struct Logs {
    std::mutex mutex;
    std::map<Vorn_inst*, Log> of;
};
Logs g_logs;

/// A line arrives here only if the callback was given the object that it belongs to.
Log& log_of(Vorn_inst* _inst_) {
    const std::lock_guard lock(g_logs.mutex);
    return g_logs.of[_inst_];
}
std::string next(Vorn_inst* _inst_) {
    return log_of(_inst_).take();
}

std::string text_of(Vorn_addr _addr) {
    return std::string(vorn_inet_ntoa(_addr.ip)) + ":" + std::to_string(_addr.port);
}
std::string model_of(Vorn_sync_model _model, double _limit) {
    if (_model == vorn_on_timer) return _limit > 0 && _limit < 0.126 ? "timer " : "unlikely limit ";
    return _limit == c_endless ? "post " : "unlikely limit ";
}

std::atomic<Error> g_decision{0};
Gate g_gate;

struct On {
    using Inst = Vorn_inst*;
    using Addr = Vorn_addr;
    using Size = Vorn_pksize;
    using Data = const void*;

    static void line(Inst _i, const std::string& _line) { log_of(_i).put(_line); }
    static void stub_connect(Inst _i, Addr _a) { line(_i, "connect " + text_of(_a)); }
    static void stub_disconnect(Inst _i, Addr _a) { line(_i, "disconnect " + text_of(_a)); }
    static void proxy_connect(Inst _i) { line(_i, "connect"); }
    static void proxy_disconnect(Inst _i) { line(_i, "disconnect"); }
    /// Answers the request with an 'X' behind it.
    static Error call(Inst _i, Addr, Data _in, Size _size, void* _out_, Size* _out_size_, double _elapsed,
                      double _limit) {
        EXPECT_TRUE(_elapsed >= 0 && _limit > 0);
        const std::string answer = bytes_of(_in, _size) + "X";
        line(_i, "call " + answer);
        g_gate.pass();
        EXPECT_GE(*_out_size_, answer.size());
        std::memcpy(_out_, answer.data(), answer.size());
        *_out_size_ = static_cast<Size>(answer.size());
        return g_decision;
    }
    static void cancel(Inst _i, Addr _a, Error _err) { line(_i, "cancel " + text_of(_a) + " " + name_of(_err)); }
    static void signal(Inst _i, Addr _a, Data _data, Size _size, double) {
        line(_i, "signal " + text_of(_a) + " " + bytes_of(_data, _size));
    }
    static Error ask(Inst _i, Addr _a, double _elapsed, double _limit) {
        EXPECT_TRUE(_elapsed >= 0 && _limit > 0);
        line(_i, "link " + text_of(_a));
        return g_decision;
    }
    /// Of the limits that the test asks for, none lies in this range but those that the runtime is to see.
    static Error ask_information(Inst _i, Addr, bool _reliability, double, double _limit) {
        line(_i, std::string(_reliability ? "tcp" : "udp") + (_limit <= 1 && _limit > 0.01 ? "" : " at an odd limit"));
        return g_decision;
    }
    static void client_unlink(Inst _i, Addr _a, Error _err) { line(_i, "unlink " + text_of(_a) + " " + name_of(_err)); }
    static void command(Inst _i, Addr _a, Vorn_sync_model _model, double, double _limit, Data _data, Size _size) {
        line(_i, "sync " + text_of(_a) + " " + model_of(_model, _limit) + bytes_of(_data, _size));
    }
    static void call_return(Inst _i, Vorn_seq _seq, Error _err, Data _data, Size _size, double) {
        line(_i, "return " + std::to_string(_seq) + " " + name_of(_err) + " " + bytes_of(_data, _size));
    }
    static void answer(Inst _i, Vorn_seq _seq, Error _err, double) {
        line(_i, "answer " + std::to_string(_seq) + " " + name_of(_err));
    }
    static void unlink(Inst _i, Error _err) { line(_i, "unlink " + name_of(_err)); }
    static void event(Inst _i, Data _data, Size _size, double) { line(_i, "event " + bytes_of(_data, _size)); }
    static void information(Inst _i, Vorn_sync_model _model, double, double _limit, Data _data, Size _size) {
        line(_i, "sync " + model_of(_model, _limit) + bytes_of(_data, _size));
    }
    static void datagram(Inst _i, Addr _a, Data _data, Size _size, double) {
        line(_i, "datagram " + text_of(_a) + " " + bytes_of(_data, _size));
    }
};

constexpr double c_long = 20;
/// Of a wait that is repeated when the answer was there before it had begun.
constexpr double c_short = 0.3;

class C_life : public Runtime {
protected:
    C_life() : Runtime(by_the_test) {}
    Vorn_inst* own(Vorn_inst* _inst_, void (*_free)(Vorn_inst*)) {
        EXPECT_NE(_inst_, nullptr);
        objects.emplace_back(_inst_, [_free](Vorn_inst* _which_) {
            _free(nullptr);
            _free(_which_);
        });
        const std::lock_guard lock(g_logs.mutex);
        g_logs.of.erase(_inst_);
        return _inst_;
    }
    Vorn_inst* new_stub() { return own(vorn_stub_alloc(On::stub_connect, On::stub_disconnect), vorn_stub_free); }
    Vorn_inst* new_proxy() { return own(vorn_proxy_alloc(On::proxy_connect, On::proxy_disconnect), vorn_proxy_free); }
};

/// A service and a client in one process, each with a member of every kind.
class C_interface : public C_life {
protected:
    struct Members {
        Vorn_inst *object, *call, *signal, *event, *information, *command, *datagram;
    };
    struct Writing {
        void* (*get)(Vorn_inst*, Vorn_pksize);
        void (*cancel)(Vorn_inst*);
        Vorn_error (*post)(Vorn_inst*, Vorn_pksize);
        Vorn_error (*write)(Vorn_inst*, const void*, Vorn_pksize);
    };
    struct Linking_ends {
        Vorn_error (*await)(Vorn_inst*, Vorn_promise*, double*);
        bool (*is_linked)(Vorn_inst*);
        void (*unlink)(Vorn_inst*);
        void (*unlink_client)(Vorn_inst*, Vorn_addr);
        void (*unlink_all)(Vorn_inst*);
    };

    void SetUp() override {
        C_life::SetUp();
        g_decision = 0;
        ASSERT_EQ(vorn_initialize_default(), 0);
    }
    void connect() {
        Vorn_port port = 0;
        ASSERT_EQ(vorn_stub_start(stub.object, nullptr, &port), 0);
        service = {c_here, port};
        ASSERT_EQ(vorn_proxy_start(proxy.object, service), 0);
        ASSERT_EQ(next(proxy.object), "connect");
        Vorn_addr there{};
        ASSERT_EQ(vorn_proxy_get_address(proxy.object, &self, &there), 0);
        ASSERT_EQ(next(stub.object), "connect " + text_of(self));
    }
    /// Asks until the wait saw the answer, and takes one line of the service for each time that was asked.
    template <class Ask>
    static void ask(Vorn_inst* _served_, const std::string& _line, Ask _ask) {
        Vorn_error err = vorn_err_local_timeout;
        for (int i = 0; err == vorn_err_local_timeout && i < 40; ++i) {
            err = _ask();
            EXPECT_EQ(next(_served_), _line);
        }
        EXPECT_EQ(err, 0);
    }
    /// By delegate and by waiting, refused and not, ended from both sides; linked at the end.
    template <class Delegate, class Async>
    void link(Vorn_inst* _served_, Vorn_inst* _member_, const std::string& _line, Delegate _delegate, Async _async,
              Linking_ends _ends) {
        const auto delegate = [&](Error _decision) {
            g_decision = _decision;
            Vorn_msg_num num = 0;
            EXPECT_EQ(_delegate(&num), 0);
            EXPECT_EQ(next(_member_), "answer " + std::to_string(num) + " " + name_of(_decision));
            EXPECT_EQ(next(_served_), _line);
            EXPECT_EQ(_ends.is_linked(_member_), _decision == 0);
        };
        delegate(c_refusal);
        delegate(0);
        _ends.unlink(_member_);
        EXPECT_FALSE(_ends.is_linked(_member_));
        EXPECT_EQ(next(_served_), "unlink " + text_of(self) + " 0");
        delegate(0);
        _ends.unlink_client(_served_, {c_here, 1});
        _ends.unlink_client(_served_, self);
        EXPECT_EQ(next(_member_), "unlink 0");
        delegate(0);
        _ends.unlink_all(_served_);
        EXPECT_EQ(next(_member_), "unlink 0");
        ask(_served_, _line, [&] { return _ends.await(_member_, _async(), nullptr); });
        EXPECT_TRUE(_ends.is_linked(_member_));
        EXPECT_EQ(_ends.await(_member_, _async(), nullptr), vorn_err_already_connected);
    }
    /// What a snapshot holds, newest first. Takes it over, which no function in C does.
    static std::string see(Vorn_letter_case* _snapshot_) {
        if (_snapshot_ == nullptr) return "null";
        const History history = static_cast<Letter_case_>(static_cast<void*>(_snapshot_));
        std::string all;
        for (unsigned int i = 0; i < history.size(); ++i) all += bytes_of(history[i].buffer_, history[i].size) + " ";
        return all;
    }
    /// What a read gives, for a buffer of 8 bytes.
    template <class Read, class... Which>
    static std::string read(Read _read, Vorn_inst* _inst_, Which... _which) {
        char buffer[8] = {};
        Vorn_pksize size = sizeof buffer;
        const Vorn_error err = _read(_inst_, _which..., buffer, &size);
        return err == 0 ? bytes_of(buffer, size) : name_of(err);
    }
    /// What a writer refuses. Publishes "one", "two" and "three", each when the one before has come: two that follow each
    /// other closely may overtake.
    static void fill(Vorn_inst* _inst_, Writing _by, Vorn_inst* _receiver_, const std::string& _line) {
        EXPECT_EQ(_by.post(_inst_, 1), vorn_err_dont_get);
        EXPECT_NE(_by.get(_inst_, 3), nullptr);
        EXPECT_EQ(_by.post(_inst_, 4), vorn_err_too_big_size);
        _by.cancel(_inst_);
        EXPECT_EQ(_by.post(_inst_, 3), vorn_err_dont_get);
        EXPECT_EQ(_by.write(_inst_, "one", 3), 0);
        EXPECT_EQ(next(_receiver_), _line + "one");
        std::memcpy(_by.get(_inst_, 8), "two", 3);
        EXPECT_EQ(_by.post(_inst_, 3), 0);
        EXPECT_EQ(next(_receiver_), _line + "two");
        EXPECT_EQ(_by.write(_inst_, "three", 5), 0);
        EXPECT_EQ(next(_receiver_), _line + "three");
    }

private:
    Members stub_members() {
        Vorn_inst* const on = new_stub();
        return {
            on,
            own(vorn_stub_call_alloc(1, 16, on, On::call, On::cancel), vorn_stub_call_free),
            own(vorn_stub_signal_alloc(2, on, On::signal, On::cancel), vorn_stub_signal_free),
            own(vorn_stub_event_alloc(3, on, On::ask, On::client_unlink), vorn_stub_event_free),
            own(vorn_stub_information_alloc(4, on, On::ask_information, On::client_unlink), vorn_stub_information_free),
            own(vorn_stub_command_alloc(5, on, On::command, On::ask, On::client_unlink), vorn_stub_command_free),
            own(vorn_stub_datagram_alloc(6, on), vorn_stub_datagram_free)};
    }
    Members proxy_members() {
        Vorn_inst* const on = new_proxy();
        return {on,
                own(vorn_proxy_call_alloc(1, on, On::call_return), vorn_proxy_call_free),
                own(vorn_proxy_signal_alloc(2, on, On::answer), vorn_proxy_signal_free),
                own(vorn_proxy_event_alloc(3, on, On::answer, On::unlink, On::event), vorn_proxy_event_free),
                own(vorn_proxy_information_alloc(4, on, On::answer, On::unlink, On::information),
                    vorn_proxy_information_free),
                own(vorn_proxy_command_alloc(5, on, On::answer, On::unlink), vorn_proxy_command_free),
                own(vorn_proxy_datagram_alloc(6, on, On::datagram), vorn_proxy_datagram_free)};
    }

protected:
    const Members stub = stub_members();
    const Members proxy = proxy_members();
    Vorn_addr service{};
    Vorn_addr self{};
};

// --- life ------------------------------------------------------------------------------------------------

TEST_F(C_life, RuntimeAndConnection) {
    Vorn_inst* const service = new_stub();
    Vorn_inst* const client = new_proxy();
    Vorn_port port = 0;
    EXPECT_EQ(vorn_stub_start(service, "c_life", &port), vorn_err_not_initialize);
    EXPECT_EQ(vorn_proxy_start(client, {c_here, 1}), vorn_err_not_initialize);
    EXPECT_EQ(vorn_initialize(3, 16, 0), 0);
    const std::size_t threads_of_three = threads();
    EXPECT_EQ(vorn_initialize_default(), vorn_err_already_created);
    EXPECT_EQ(vorn_finalize(), 0);
    EXPECT_EQ(vorn_initialize_default(), 0);
    EXPECT_TRUE(eventually([=] { return threads() == threads_of_three + 5; })) << "eight listeners";

    EXPECT_STREQ(vorn_get_err_str(vorn_err_busy), "VORN_ERR_BUSY_");
    EXPECT_EQ(vorn_inet_addr("198.51.100.7"), 0x076433C6U);
    EXPECT_STREQ(vorn_inet_ntoa(0x076433C6U), "198.51.100.7");
    EXPECT_FALSE(vorn_stub_is_started(service) || vorn_proxy_is_started(client) || vorn_proxy_is_connected(client));
    EXPECT_EQ(vorn_stub_start(service, "c_life", &port), 0);
    const Vorn_addr address{c_here, port};
    Vorn_addr self{1, 2};
    Vorn_addr there{3, 4};
    EXPECT_EQ(vorn_proxy_get_address(client, &self, &there), vorn_err_object_is_not_exist);
    EXPECT_EQ(vorn_get_address("nobody", &there), 0U);
    EXPECT_EQ(text_of(self) + " " + text_of(there), "1.0.0.0:2 3.0.0.0:4");
    EXPECT_EQ(vorn_proxy_start(client, address), 0);
    for (const bool lost : {true, false}) {
        EXPECT_EQ(next(client), "connect");
        EXPECT_TRUE(vorn_stub_is_started(service) && vorn_proxy_is_started(client) && vorn_proxy_is_connected(client));
        EXPECT_EQ(vorn_proxy_get_address(client, &self, &there), 0);
        EXPECT_EQ(text_of(there), text_of(address));
        EXPECT_EQ(next(service), "connect " + text_of(self));
        if (lost) {
            with_server_record(self.port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
            EXPECT_EQ(next(client), "disconnect");
        } else {
            EXPECT_EQ(vorn_proxy_stop(client), 0);
        }
        EXPECT_EQ(next(service), "disconnect " + text_of(self));
    }
    EXPECT_EQ(vorn_proxy_stop(client), vorn_err_is_not_created);
    EXPECT_TRUE(eventually([&] { return vorn_get_address("c_life", &there) == 1; }));
    EXPECT_EQ(there.port, port);
    EXPECT_EQ(vorn_stub_stop(service), 0);
    EXPECT_EQ(vorn_stub_stop(service), vorn_err_is_not_created);
}

TEST_F(C_interface, AnyMemberThatIsFreedStopsItsObject) {
    Vorn_port port = 0;
    EXPECT_EQ(vorn_stub_start(stub.object, nullptr, &port), 0);
    for (int member = 0; member < 6; ++member) {
        EXPECT_EQ(vorn_proxy_start(proxy.object, {c_here, 1}), 0);
        objects.pop_back();
        EXPECT_FALSE(vorn_proxy_is_started(proxy.object));
    }
    // An address whose owner was freed is free again.
    EXPECT_EQ(vorn_proxy_start(proxy.object, {c_here, 1}), 0);
    objects.pop_back();
    Vorn_inst* const next_owner = new_proxy();
    EXPECT_EQ(vorn_proxy_start(next_owner, {c_here, 1}), 0);
    objects.pop_back();
    EXPECT_TRUE(vorn_stub_is_started(stub.object));
    for (int member = 0; member < 6; ++member) {
        objects.pop_back();
        EXPECT_FALSE(vorn_stub_is_started(stub.object));
        EXPECT_EQ(vorn_stub_start(stub.object, nullptr, &port), 0);
    }
    objects.pop_back();
    EXPECT_EQ(vorn_stub_start(new_stub(), nullptr, &port), 0);
}

// --- the kinds -------------------------------------------------------------------------------------------

TEST_F(C_interface, Call) {
    const auto async = [&](const char* _text) { return vorn_proxy_call_async_call(proxy.call, _text, 1, c_short); };
    const auto await = [&](Vorn_promise* _promise_) {
        return vorn_proxy_call_await_return(proxy.call, _promise_, nullptr, nullptr, nullptr);
    };
    Vorn_seq seq = 0xFFFFFFFF;
    EXPECT_EQ(vorn_proxy_call_delegate_call(proxy.call, &seq, "a", 1, c_long), vorn_err_is_not_created);
    EXPECT_EQ(seq, 0U);
    EXPECT_EQ(await(async("a")), vorn_err_is_not_created);
    connect();
    for (const Error decision : {Error{0}, c_refusal}) {
        g_decision = decision;
        seq = 0xFFFFFFFF;
        EXPECT_EQ(vorn_proxy_call_delegate_call(proxy.call, &seq, "a", 1, c_long), 0);
        EXPECT_LE(seq, 0xFFFFU);
        EXPECT_EQ(next(stub.call), "call aX");
        EXPECT_EQ(next(proxy.call), "return " + std::to_string(seq) + (decision == 0 ? " 0 aX" : " 77 "));
    }
    g_decision = 0;
    char answer[8] = {};
    Vorn_pksize size = sizeof answer;
    double seconds = -1;
    ask(stub.call, "call cX",
        [&] { return vorn_proxy_call_await_return(proxy.call, async("c"), answer, &size, &seconds); });
    EXPECT_EQ(bytes_of(answer, size), "cX");
    EXPECT_GE(seconds, 0);
    EXPECT_EQ(await(nullptr), vorn_err_null_return_object);
    vorn_proxy_call_cancel(proxy.call, -5);
    EXPECT_EQ(next(stub.call), "cancel " + text_of(self) + " " + name_of(-5));
}

TEST_F(C_interface, Signal) {
    connect();
    const std::string line = "signal " + text_of(self);
    Vorn_inst* const signal = proxy.signal;
    Vorn_seq seq = 0xFFFFFFFF;
    EXPECT_EQ(vorn_proxy_signal_delegate_signal(signal, &seq, "a", 1, c_long), 0);
    EXPECT_EQ(next(signal), "answer " + std::to_string(seq) + " 0");
    EXPECT_EQ(next(stub.signal), line + " a");
    double seconds = -1;
    ask(stub.signal, line + " b", [&] {
        return vorn_proxy_signal_await_return(signal, vorn_proxy_signal_async_signal(signal, "b", 1, c_short),
                                              &seconds);
    });
    EXPECT_GE(seconds, 0);
    ask(stub.signal, line + " c", [&] { return vorn_proxy_signal_signal(signal, "c", 1, c_short, &seconds); });
    EXPECT_EQ(vorn_proxy_signal_await_return(signal, nullptr, nullptr), vorn_err_null_return_object);
    vorn_proxy_signal_cancel(signal, -5);
    EXPECT_EQ(next(stub.signal), "cancel " + text_of(self) + " " + name_of(-5));
}

TEST_F(C_interface, Event) {
    EXPECT_EQ(vorn_stub_event_event(stub.event, "a", 1), vorn_err_is_not_created);
    connect();
    link(
        stub.event, proxy.event, "link " + text_of(self),
        [&](Vorn_msg_num* _num_) { return vorn_proxy_event_delegate_link(proxy.event, _num_, c_long); },
        [&] { return vorn_proxy_event_async_link(proxy.event, c_short); },
        {vorn_proxy_event_await_link_return, vorn_proxy_event_is_linked, vorn_proxy_event_unlink,
         vorn_stub_event_unlink, vorn_stub_event_unlink_all_proxy});
    EXPECT_EQ(vorn_stub_event_event(stub.event, "a", 1), 0);
    EXPECT_EQ(next(proxy.event), "event a");
    EXPECT_EQ(vorn_stub_event_event_nodata(stub.event), 0);
    EXPECT_EQ(next(proxy.event), "event ");
}

TEST_F(C_interface, Information) {
    Vorn_inst* const served = stub.information;
    Vorn_inst* const member = proxy.information;
    EXPECT_EQ(vorn_stub_information_get(served, 1), nullptr);
    EXPECT_EQ(see(vorn_stub_information_see_history(served, 1)), "null");
    EXPECT_EQ(read(vorn_stub_information_read, served), "VORN_ERR_IS_NOT_CREATED_");
    connect();
    EXPECT_EQ(see(vorn_proxy_information_see_history(member, 1)), "null");
    // The last argument of the delegate form chooses the transport and is no limit.
    for (const double choice : {0.0, 1e-9, 1000.0}) {
        const bool reliable = choice != 0;
        link(
            served, member, reliable ? "tcp" : "udp",
            [&](Vorn_msg_num* _num_) { return vorn_proxy_information_delegate_link(member, _num_, choice); },
            [&] { return vorn_proxy_information_async_link(member, reliable, c_short); },
            {vorn_proxy_information_await_link_return, vorn_proxy_information_is_linked, vorn_proxy_information_unlink,
             vorn_stub_information_unlink, vorn_stub_information_unlink_all_proxy});
        if (choice == 1000) break;
        vorn_proxy_information_unlink(member);
        EXPECT_EQ(next(served), "unlink " + text_of(self) + " 0");
    }
    vorn_stub_information_set_history_size(served, 2);
    vorn_proxy_information_set_history_size(member, 2);
    EXPECT_EQ(read(vorn_proxy_information_read, member), "VORN_ERR_EMPTY_HISTORY_");
    fill(served,
         {vorn_stub_information_get, vorn_stub_information_cancel, vorn_stub_information_post,
          vorn_stub_information_write},
         member, "sync post ");
    EXPECT_EQ(see(vorn_stub_information_see_history(served, 9)), "three two ");
    EXPECT_EQ(see(vorn_proxy_information_see_history(member, 9)), "three two ");
    EXPECT_EQ(see(vorn_proxy_information_see_history(member, 1)), "three ");
    EXPECT_EQ(read(vorn_stub_information_read, served), "three");
    vorn_proxy_information_set_sync(member, false);
    EXPECT_EQ(vorn_stub_information_write(served, "silent", 6), 0);
    EXPECT_TRUE(eventually([&] { return read(vorn_proxy_information_read, member) == "silent"; }));
    vorn_proxy_information_set_sync(member, true);
    EXPECT_EQ(vorn_stub_information_write(served, "loud", 4), 0);
    EXPECT_EQ(next(member), "sync post loud");
}

TEST_F(C_interface, Command) {
    Vorn_inst* const served = stub.command;
    Vorn_inst* const member = proxy.command;
    EXPECT_EQ(see(vorn_stub_command_see_history(served, self, 1)), "null");
    EXPECT_EQ(vorn_proxy_command_get(member, 1), nullptr);
    connect();
    EXPECT_EQ(read(vorn_proxy_command_read, member), "VORN_ERR_EMPTY_HISTORY_");
    link(
        served, member, "link " + text_of(self),
        [&](Vorn_msg_num* _num_) { return vorn_proxy_command_delegate_link(member, _num_, c_long); },
        [&] { return vorn_proxy_command_async_link(member, c_short); },
        {vorn_proxy_command_await_link_return, vorn_proxy_command_is_linked, vorn_proxy_command_unlink,
         vorn_stub_command_unlink, vorn_stub_command_unlink_all_proxy});
    vorn_stub_command_set_history_size(served, 2);
    vorn_proxy_command_set_history_size(member, 2);
    const std::string line = "sync " + text_of(self);
    fill(member, {vorn_proxy_command_get, vorn_proxy_command_cancel, vorn_proxy_command_post, vorn_proxy_command_write},
         served, line + " post ");
    EXPECT_EQ(see(vorn_stub_command_see_history(served, self, 9)), "three two ");
    EXPECT_EQ(see(vorn_stub_command_see_history(served, {c_here, 1}, 9)), "");
    EXPECT_EQ(see(vorn_proxy_command_see_history(member, 9)), "three two ");
    EXPECT_EQ(read(vorn_proxy_command_read, member), "three");
    vorn_proxy_command_set_sync_model(member, true, vorn_on_timer, 0.125);
    EXPECT_EQ(next(served), line + " timer three");
    vorn_proxy_command_set_sync_model(member, true, vorn_on_post, 0);
    vorn_stub_command_set_sync(served, false);
    EXPECT_EQ(vorn_proxy_command_write(member, "silent", 6), 0);
    EXPECT_TRUE(eventually([&] { return read(vorn_stub_command_read, served, self) == "silent"; }));
    vorn_stub_command_set_sync(served, true);
    EXPECT_EQ(vorn_proxy_command_write(member, "loud", 4), 0);
    std::string told;
    do told = next(served);
    while (told == line + " timer three");
    EXPECT_EQ(told, line + " post loud");
    vorn_stub_command_unlink_all_proxy(served);  // or what the service has of it is lost with the connection
    EXPECT_EQ(next(member), "unlink 0");
}

TEST_F(C_interface, Datagram) {
    // A broadcast comes from the address of the host's network.
    Vorn_inst* const neighbour = new_proxy();
    Vorn_inst* const heard = own(vorn_proxy_datagram_alloc(6, neighbour, On::datagram), vorn_proxy_datagram_free);
    EXPECT_EQ(vorn_stub_datagram_cast(stub.datagram, c_here, "a", 1), vorn_err_is_not_created);
    connect();
    const Vorn_addr on_network{vorn_inet_addr("198.51.100.1"), service.port};
    EXPECT_EQ(vorn_proxy_start(neighbour, on_network), 0);
    EXPECT_EQ(next(neighbour), "connect");
    EXPECT_EQ(vorn_stub_datagram_cast(stub.datagram, c_here, "a", 65001), vorn_err_too_big_size);
    EXPECT_EQ(vorn_stub_datagram_cast(stub.datagram, c_here, "a", 1), 0);
    EXPECT_EQ(next(proxy.datagram), "datagram " + text_of(service) + " a");
    EXPECT_EQ(vorn_stub_datagram_broadcast(stub.datagram, "all", 3), 0);
    EXPECT_EQ(next(heard), "datagram " + text_of(on_network) + " all");
}

TEST_F(C_interface, Ordering) {
    std::map<Vorn_code, Vorn_inst*> served{{1, stub.call}};
    std::map<Vorn_code, Vorn_inst*> call{{1, proxy.call}};
    for (const Vorn_code code : {Vorn_code{7}, Vorn_code{8}}) {
        served[code] = own(vorn_stub_call_alloc(code, 16, stub.object, On::call, On::cancel), vorn_stub_call_free);
        call[code] = own(vorn_proxy_call_alloc(code, proxy.object, On::call_return), vorn_proxy_call_free);
    }
    connect();
    const auto key = [&](Vorn_code _code) { return Vorn_msg_addr{service.port, _code, 1}; };
    const auto starts = [&](Vorn_code _code) {
        Vorn_seq seq = 0;
        EXPECT_EQ(vorn_proxy_call_delegate_call(call[_code], &seq, "a", 1, c_long), 0);
        return [&, _code] { EXPECT_EQ(next(served[_code]), "call aX"); };
    };
    const auto second_waits = [&](Vorn_code _first, Vorn_code _second, bool _waits) {
        g_gate.close();
        starts(_first)();
        const auto second = starts(_second);
        starts(8)();  // once this one runs, the one before it has been looked at
        if (_waits) {
            EXPECT_TRUE(log_of(served[_second]).empty());
        } else {
            second();
        }
        g_gate.open();
        if (_waits) second();
        for (const Vorn_code code : {_first, _second, Vorn_code{8}}) next(call[code]);
    };
    second_waits(1, 1, true);  // as a start declares it
    second_waits(1, 7, false);
    vorn_msg_processing_by_serial_group(key(1), key(7));
    second_waits(1, 7, true);
    vorn_msg_processing_by_parallel(key(1));
    second_waits(1, 7, false);
    second_waits(1, 1, false);
    vorn_msg_processing_by_serial_alone(key(1));
    second_waits(1, 1, true);
}

}  // namespace
