/// The typed bindings, both ends in one process: each operation once, seen through the lines that the
/// handlers of the demonstration print.
///
/// At run time mostly `example`: that `sample` is the same under other names, a scenario compares.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "Vorn35_Proxy_demo.h"
#include "Vorn35_Stub_demo.h"
#include "net/support/runtime.h"

namespace {

/// What is printed while it lives.
class Printed {
public:
    Printed() {
        std::fflush(stdout);
        dup2(fileno(file), STDOUT_FILENO);
    }
    Printed(const Printed&) = delete;
    ~Printed() {
        const std::string all = text();
        dup2(before, STDOUT_FILENO);
        if (testing::Test::HasFailure()) std::fputs(all.c_str(), stdout);  // with the reports of failures
        close(before);
        std::fclose(file);
    }
    /// Number of lines that begin so.
    std::size_t count(const std::string& _begin) {
        const std::string all = "\n" + text();
        std::size_t found = 0;
        for (std::size_t at = all.find("\n" + _begin); at != std::string::npos; at = all.find("\n" + _begin, at + 1))
            ++found;
        return found;
    }
    void await(const std::string& _begin) {
        EXPECT_TRUE(net::eventually([&] { return count(_begin) != 0; })) << _begin << " in\n" << text();
    }
    std::string text() {
        std::fflush(stdout);
        std::string all;
        char part[4096];
        for (ssize_t size; (size = pread(fileno(file), part, sizeof part, static_cast<off_t>(all.size()))) > 0;)
            all.append(part, static_cast<std::size_t>(size));
        return all;
    }

private:
    const int before = dup(STDOUT_FILENO);
    std::FILE* const file = std::tmpfile();
};

/// The demonstration's service, but for what it refuses.
class Willing : public Stub {
public:
    Error on_example_call(Addr _proxy, const Example_input* _in_, Example_output* _out_, double _elapsed,
                          double _limit) override {
        Stub::on_example_call(_proxy, _in_, _out_, _elapsed, _limit);
        return 0;
    }
    Error on_example_event_link(Addr _proxy, double _elapsed, double _limit) override {
        Stub::on_example_event_link(_proxy, _elapsed, _limit);
        return 0;
    }
};

class Bindings : public net::Runtime {
protected:
    /// Connected, with the link of the example command that `Proxy::on_connect` asks for.
    template <class Service>
    Stub& connect() {
        Stub& stub = make<Service>();
        Vorn35::Port port = 0;
        EXPECT_EQ(stub.start(nullptr, &port), 0);
        EXPECT_EQ(proxy().start(Addr(c_here, port)), 0);
        proxy_says("on_example_command_link(1, VORN_ERR_NONE_, ");
        Addr far;
        EXPECT_EQ(proxy().get_address(&near, &far), 0);
        return stub;
    }
    Proxy& proxy() { return *proxy_; }
    std::string of_stub(const std::string& _what, const std::string& _rest) const {
        return "stub " + _what + "(127.0.0.1:" + std::to_string(near.port) + _rest;
    }
    void stub_says(const std::string& _what, const std::string& _rest = "") { printed.await(of_stub(_what, _rest)); }
    void proxy_says(const std::string& _what) { printed.await("proxy " + _what); }
    /// The callback of the request made last.
    void answers(const std::string& _what, const std::string& _rest) {
        proxy_says(_what + "(" + std::to_string(num) + ", " + _rest);
    }
    /// The answer may be there before the wait for it has begun; such a wait runs to its limit.
    template <class Ask>
    static void expect_in_time(Error _expected, Ask _ask) {
        Error err = Vorn35::VORN_ERR_LOCAL_TIMEOUT_;
        for (int i = 0; i < 40 && err == Vorn35::VORN_ERR_LOCAL_TIMEOUT_; ++i) err = _ask();
        EXPECT_EQ(err, _expected);
    }
    void SetUp() override {
        net::Runtime::SetUp();
        proxy_ = &make<Proxy>();
    }

    static constexpr IP c_here = 0x0100007F;
    static constexpr double c_limit = 0.3;
    Printed printed;
    Addr near;
    Msg_num num = 0;

private:
    Proxy* proxy_ = nullptr;
};

}  // namespace

TEST_F(Bindings, calls) {
    connect<Willing>();
    stub_says("on_connect");
    const Example_input three{3};
    ASSERT_EQ(proxy().example_delegate_call(&num, &three, 5), 0);
    stub_says("on_example_call", ", 3) = 9\n");
    answers("on_example_cal_return", "0, 9, ");
    Example_output output{};
    double time = 0;
    expect_in_time(0, [&] { return proxy().example_call(&three, &output, c_limit, &time); });
    EXPECT_EQ(output.x, 9);
    EXPECT_GT(time, 0);
    // `sample` has the callback, though not the operation that leads to it.
    const Sample_input four{4};
    ASSERT_EQ(proxy().Proxy_sample_call::delegate_call(&num, &four, sizeof four, 5), 0);
    answers("on_sample_return", "1, 0, ");
    proxy().example_call_cancel(Vorn35::VORN_ERR_BUSY_);
    stub_says("on_example_call_cancel", ", err=VORN_ERR_BUSY_)");
    // A payload that is too short is no structure.
    const char data[7] = {3, 0, 0, 0, 9, 9, 9};
    for (const Pksize size : {0, 3, 7}) {
        ASSERT_EQ(proxy().Proxy_example_call::delegate_call(&num, data, size, 5), 0);
        answers("on_example_cal_return", size < 4 ? "0, 0, " : "0, 9, ");
    }
    EXPECT_EQ(printed.count(of_stub("on_example_call", ", 0) = 0\n")), 2U);
}

TEST_F(Bindings, signals) {
    connect<Stub>();
    const Example_input input{5};
    ASSERT_EQ(proxy().example_delegate_signal(&num, &input, 5), 0);
    stub_says("on_example_signal", " , 5)\n");
    answers("on_example_sig_return", "0, ");
    const Example_input next{6};
    expect_in_time(0, [&] {
        const Vorn35::Promise_ promise = proxy().example_signal_async_signal(&next, c_limit);
        return proxy().example_signal_await_return(promise, nullptr);
    });
    stub_says("on_example_signal", " , 6)\n");
    const Sample_input sample{7};
    expect_in_time(0, [&] { return proxy().sample_signal(&sample, c_limit, nullptr); });
    stub_says("on_sample_signal", " , 7)\n");
    proxy().example_signal_cancel(-1);
    stub_says("on_example_signal_cancel", ", err=VORN_ERR_UNKNOWN_)");
}

TEST_F(Bindings, events) {
    Stub& stub = connect<Willing>();
    const auto link = [&] {
        ASSERT_EQ(proxy().example_event_delegate_link(&num, 5), 0);
        answers("on_example_event_link", "VORN_ERR_NONE_, ");
        EXPECT_TRUE(proxy().example_event_is_linked());
    };
    link();
    const Example_output seven{7};
    EXPECT_EQ(stub.example_event(&seven), 0);
    proxy_says("on_example_event 7\n");
    EXPECT_EQ(stub.example_event(), 0);
    proxy_says("on_example_event 0\n");
    proxy().example_event_unlink();
    stub_says("on_example_event_unlink", ")\n");
    // The end of a link does not come to the typed handler, which has a slot of its own.
    for (const bool all : {true, false}) {
        link();
        all ? stub.example_event_unlink_all_proxy() : stub.example_event_unlink(near);
        EXPECT_TRUE(net::eventually([&] { return !proxy().example_event_is_linked(); }));
    }
    EXPECT_EQ(printed.count("proxy on_example_event_unlink"), 0U);
    proxy().Proxy_example_event::on_unlink();
    EXPECT_EQ(printed.count("proxy on_example_event_unlink\n"), 1U);
}

TEST_F(Bindings, the_demonstration_refuses_the_link_of_the_example_event) {
    connect<Stub>();
    expect_in_time(1, [&] { return proxy().example_event_link(c_limit, nullptr); });
    EXPECT_FALSE(proxy().example_event_is_linked());
}

TEST_F(Bindings, informations) {
    Stub& stub = connect<Stub>();
    Proxy& client = proxy();
    expect_in_time(0, [&] {
        const Error err = client.example_information_link(true, c_limit, nullptr);
        return client.example_information_is_linked() ? 0 : err;
    });
    stub_says("on_example_information_link", ")\n");
    stub.example_information_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !client.example_information_is_linked(); }));
    ASSERT_EQ(client.example_information_delegate_link(false, &num, 5), 0);
    answers("on_example_information_link", "VORN_ERR_NONE_, ");

    client.example_information_set_history_size(2);
    for (int x = 11; x <= 13; ++x) {
        const Example_output value{x};
        EXPECT_EQ(stub.example_information_write(&value), 0);
        proxy_says("on_example_information_sync " + std::to_string(x) + "\n");
    }
    Example_output read{};
    EXPECT_TRUE(client.example_information_read(&read) == 0 && read.x == 13);
    EXPECT_EQ(Vorn35::History(client.example_information_see_history(9)).size(), 2U);
    ASSERT_NE(stub.example_information_get(), nullptr);
    stub.example_information_cancel();
    EXPECT_EQ(stub.example_information_post(), Vorn35::VORN_ERR_DONT_GET_);
    stub.example_information_get()->x = 21;
    EXPECT_EQ(stub.example_information_post(), 0);
    EXPECT_TRUE(stub.example_information_read(&read) == 0 && read.x == 21);
    EXPECT_EQ(Vorn35::History(stub.example_information_see_history(9)).size(), 1U);
    proxy_says("on_example_information_sync 21\n");
    client.example_information_set_sync(false);
    stub.example_information_set_sync_model(Vorn35::on_timer, 0.01);
    const Example_output next{22};
    EXPECT_EQ(stub.example_information_write(&next), 0);
    EXPECT_TRUE(net::eventually([&] { return client.example_information_read(&read) == 0 && read.x == 22; }));
    stub.example_information_set_sync_model(Vorn35::on_post, 0);
    EXPECT_EQ(printed.count("proxy on_example_information_sync 22\n"), 0U);
    client.example_information_unlink();
    stub_says("on_example_information_unlink", ")\n");
}

TEST_F(Bindings, commands) {
    Stub& stub = connect<Stub>();  // links the example command
    Proxy& client = proxy();
    EXPECT_TRUE(client.example_command_is_linked());
    stub.example_command_set_history_size(2);
    for (int x = 32; x <= 34; ++x) {
        ASSERT_NE(client.example_command_get(), nullptr);
        client.example_command_cancel();
        EXPECT_EQ(client.example_command_post(), Vorn35::VORN_ERR_DONT_GET_);
        client.example_command_get()->x = x;
        EXPECT_EQ(client.example_command_post(), 0);
        stub_says("on_example_command_sync", ", " + std::to_string(x) + ")\n");
    }
    Example_input read{};
    EXPECT_TRUE(stub.example_command_read(near, &read) == 0 && read.x == 34);
    EXPECT_EQ(Vorn35::History(stub.example_command_see_history(near, 9)).size(), 2U);
    EXPECT_TRUE(client.example_command_read(&read) == 0 && read.x == 34);
    client.example_command_set_history_size(0);
    stub.example_command_set_sync(false);
    const Example_input last{35};
    EXPECT_EQ(client.example_command_write(&last), 0);
    EXPECT_EQ(Vorn35::History(client.example_command_see_history(9)).size(), 0U);
    EXPECT_TRUE(net::eventually([&] { return stub.example_command_read(near, &read) == 0 && read.x == 35; }));
    EXPECT_EQ(printed.count(of_stub("on_example_command_sync", ", 35)")), 0U);
    client.example_command_set_sync_model(false, Vorn35::on_timer, 0.01);
    stub.example_command_set_sync(true);
    stub_says("on_example_command_sync", ", 35)");

    stub.example_command_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !client.example_command_is_linked(); }));
    ASSERT_EQ(client.example_command_delegate_link(&num, 5), 0);
    answers("on_example_command_link", "VORN_ERR_NONE_, ");
    client.example_command_unlink();
    stub_says("on_example_command_unlink", ")\n");
}

TEST_F(Bindings, datagrams) {
    Stub& stub = connect<Stub>();
    const Example_output value{41};
    EXPECT_EQ(stub.example_datagram_cast(c_here, &value), 0);
    proxy_says("on_example_datagram 41\n");
}
