/// The typed bindings, both ends in one process, seen through the lines that the handlers of the demonstration print.
/// Only `example`: a scenario compares `sample`, the same under other names, with it, and another runs the calls.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "Vorn35_Proxy_demo.h"
#include "Vorn35_Stub_demo.h"
#include "net/support/runtime.h"

namespace {

/// The demonstration's service, but for the link that it refuses.
class Willing : public Stub {
    Error on_example_event_link(Addr, double, double) override { return 0; }
};

class Bindings : public net::Runtime {
protected:
    /// Connected, with the link of the example command that `Proxy::on_connect` asks for.
    void SetUp() override {
        net::Runtime::SetUp();
        std::fflush(stdout);
        dup2(fileno(file), STDOUT_FILENO);
        Vorn35::Port port = 0;
        EXPECT_EQ(stub.start(nullptr, &port), 0);
        EXPECT_EQ(proxy.start(Addr(0x0100007F, port)), 0);
        says("proxy on_example_command_link(1, VORN_ERR_NONE_, ");
        Addr far;
        EXPECT_EQ(proxy.get_address(&near, &far), 0);
        client = "(127.0.0.1:" + std::to_string(near.port);
    }
    void TearDown() override {
        net::Runtime::TearDown();
        const std::string all = printed();
        dup2(before, STDOUT_FILENO);
        if (HasFailure()) std::fputs(all.c_str(), stdout);  // with the reports of failures
        close(before);
        std::fclose(file);
    }
    std::string printed() const {
        std::fflush(stdout);
        std::string all(100'000, '\0');
        all.resize(static_cast<std::size_t>(pread(fileno(file), all.data(), all.size(), 0)));
        return "\n" + all;
    }
    /// Waits for a line that begins so.
    void says(const std::string& _begin) const {
        EXPECT_TRUE(net::eventually([&] { return printed().find("\n" + _begin) != std::string::npos; })) << _begin;
    }
    static constexpr double c_limit = 0.3;
    const int before = dup(STDOUT_FILENO);
    std::FILE* const file = std::tmpfile();
    Addr near;
    std::string client;  ///< In a line of the service.
    Msg_num num = 0;
    Willing& stub = make<Willing>();
    Proxy& proxy = make<Proxy>();
};

}  // namespace

TEST_F(Bindings, RequestsEventsAndDatagrams) {
    const Example_input three{3};
    ASSERT_EQ(proxy.Proxy_example_call::delegate_call(&num, &three, 3, 5), 0);  // too short to be a structure
    says("stub on_example_call" + client + ", 0) = 0\n");
    proxy.example_call_cancel(Vorn35::VORN_ERR_BUSY_);
    says("stub on_example_call_cancel" + client + ", err=VORN_ERR_BUSY_)");
    Example_output output{};
    // Waits that may begin too late for the answer.
    EXPECT_TRUE(net::eventually([&] { return proxy.example_call(&three, &output, c_limit, nullptr) == 1; }));
    EXPECT_TRUE(net::eventually([&] {
        return proxy.example_signal_await_return(proxy.example_signal_async_signal(&three, c_limit), nullptr) == 0;
    }));
    says("stub on_example_signal" + client + " , 3)\n");
    proxy.example_signal_cancel(-1);
    says("stub on_example_signal_cancel" + client + ", err=VORN_ERR_UNKNOWN_)");

    const Example_output seven{7};
    for (int end = 0; end < 3; ++end) {
        ASSERT_EQ(proxy.example_event_delegate_link(&num, 5), 0);
        says("proxy on_example_event_link(" + std::to_string(num) + ", VORN_ERR_NONE_, ");
        EXPECT_TRUE(proxy.example_event_is_linked());
        EXPECT_EQ(end == 0 ? stub.example_event() : stub.example_event(&seven), 0);
        says(end == 0 ? "proxy on_example_event 0\n" : "proxy on_example_event 7\n");
        if (end == 0) stub.example_event_unlink_all_proxy();
        if (end == 1) stub.example_event_unlink(near);
        if (end == 2) proxy.example_event_unlink();
        EXPECT_TRUE(net::eventually([&] { return !proxy.example_event_is_linked(); }));
    }
    says("stub on_example_event_unlink" + client + ")\n");
    EXPECT_EQ(stub.example_datagram_cast(0x0100007F, &seven), 0);
    says("proxy on_example_datagram 7\n");
}

TEST_F(Bindings, Informations) {
    ASSERT_EQ(proxy.example_information_delegate_link(false, &num, 5), 0);
    says("proxy on_example_information_link(2, VORN_ERR_NONE_, ");
    stub.example_information_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !proxy.example_information_is_linked(); }));
    proxy.example_information_link(true, c_limit, nullptr);
    EXPECT_TRUE(net::eventually([&] { return proxy.example_information_is_linked(); }));
    proxy.example_information_set_history_size(2);
    for (int x = 11; x <= 13; ++x) {
        stub.example_information_get()->x = x;
        EXPECT_EQ(stub.example_information_post(), 0);
        says("proxy on_example_information_sync " + std::to_string(x) + "\n");
    }
    Example_output read{};
    EXPECT_TRUE(stub.example_information_read(&read) == 0 && read.x == 13);
    EXPECT_EQ(Vorn35::History(proxy.example_information_see_history(9)).size(), 2U);
    EXPECT_EQ(Vorn35::History(stub.example_information_see_history(9)).size(), 1U);
    proxy.example_information_set_sync(false);
    stub.example_information_set_sync_model(Vorn35::on_timer, 0.01);
    const Example_output next{22};
    EXPECT_EQ(stub.example_information_write(&next), 0);
    EXPECT_TRUE(net::eventually([&] { return proxy.example_information_read(&read) == 0 && read.x == 22; }));
    EXPECT_EQ(printed().find("on_example_information_sync 22"), std::string::npos);
    proxy.example_information_unlink();
    says("stub on_example_information_unlink" + client + ")\n");
}

TEST_F(Bindings, Commands) {
    EXPECT_TRUE(proxy.example_command_is_linked());
    stub.example_command_set_history_size(2);
    for (int x = 32; x <= 34; ++x) {
        proxy.example_command_get()->x = x;
        EXPECT_EQ(proxy.example_command_post(), 0);
        says("stub on_example_command_sync" + client + ", " + std::to_string(x) + ")\n");
    }
    Example_input read{};
    EXPECT_TRUE(proxy.example_command_read(&read) == 0 && read.x == 34);
    EXPECT_EQ(Vorn35::History(stub.example_command_see_history(near, 9)).size(), 2U);
    proxy.example_command_set_history_size(0);
    stub.example_command_set_sync(false);
    const Example_input last{35};
    EXPECT_EQ(proxy.example_command_write(&last), 0);
    EXPECT_EQ(Vorn35::History(proxy.example_command_see_history(9)).size(), 0U);
    EXPECT_TRUE(net::eventually([&] { return stub.example_command_read(near, &read) == 0 && read.x == 35; }));
    proxy.example_command_set_sync_model(false, Vorn35::on_timer, 0.01);
    stub.example_command_set_sync(true);
    says("stub on_example_command_sync" + client + ", 35)");
    stub.example_command_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !proxy.example_command_is_linked(); }));
}
