// The typed bindings, both ends in one process: events, informations and commands. A scenario runs the calls and
// signals. Only `example`: a scenario compares `sample`, the same under other names, with it.

#include <set>
#include "Vorn35_Proxy_demo.h"
#include "Vorn35_Stub_demo.h"

#include "net/support/runtime.h"

namespace {

struct Typed_stub : Stub {
    net::Log log;
    Error on_example_event_link(Addr, double, double) override { return 0; }
    void on_example_event_unlink(Addr, Error) override { log.put("event unlink"); }
    void on_example_information_unlink(Addr, Error) override { log.put("information unlink"); }
    void on_example_command_unlink(Addr, Error) override { log.put("command unlink"); }
    void on_example_command_sync(Addr, Sync_model, double, double, const Example_input* _in_) override {
        log.put("command " + std::to_string(_in_->x));
    }
};
struct Typed_proxy : Proxy {
    net::Log log;
    void on_connect() override {}
    void on_example_event_link(Msg_num, Error _err, double) override { log.put("link " + std::to_string(_err)); }
    void on_example_information_link(Msg_num, Error _err, double) override { log.put("link " + std::to_string(_err)); }
    void on_example_command_link(Msg_num, Error _err, double) override { log.put("link " + std::to_string(_err)); }
    void on_example_event(const Example_output* _out_, double) override {
        log.put("event " + std::to_string(_out_ == nullptr ? -1 : _out_->x));
    }
    void on_example_information_sync(Sync_model, double, double, const Example_output* _out_) override {
        log.put("information " + std::to_string(_out_->x));
    }
    void on_example_datagram(Addr, const Example_output* _out_, double) override {
        log.put("datagram " + std::to_string(_out_->x));
    }
};

class Bindings : public net::Runtime {
protected:
    void SetUp() override {
        net::Runtime::SetUp();
        Vorn35::Port port = 0;
        EXPECT_EQ(stub.start(nullptr, &port), 0);
        EXPECT_EQ(proxy.start(Addr(0x0100007F, port)), 0);
        EXPECT_TRUE(net::eventually([this] { return proxy.is_connected(); }));
        Addr far;
        EXPECT_EQ(proxy.get_address(&near, &far), 0);
    }
    Addr near;
    Msg_num num = 0;
    Typed_stub& stub = make<Typed_stub>();
    Typed_proxy& proxy = make<Typed_proxy>();
};

}  // namespace

TEST_F(Bindings, EventsAndDatagrams) {
    const Example_output seven{7};
    for (int end = 0; end < 3; ++end) {
        EXPECT_EQ(proxy.example_event_delegate_link(&num, 5), 0);
        EXPECT_EQ(proxy.log.take(), "link 0");
        EXPECT_TRUE(proxy.example_event_is_linked());
        EXPECT_EQ(end == 0 ? stub.example_event() : stub.example_event(&seven), 0);
        EXPECT_EQ(proxy.log.take(), end == 0 ? "event -1" : "event 7");
        if (end == 0) stub.example_event_unlink_all_proxy();
        if (end == 1) stub.example_event_unlink(near);
        if (end == 2) proxy.example_event_unlink();
        EXPECT_TRUE(net::eventually([&] { return !proxy.example_event_is_linked(); }));
    }
    EXPECT_EQ(stub.log.take(), "event unlink");
    EXPECT_EQ(stub.example_datagram_cast(0x0100007F, &seven), 0);
    EXPECT_EQ(proxy.log.take(), "datagram 7");
}

TEST_F(Bindings, Values) {
    Example_output out{};
    Example_input in{};
    EXPECT_EQ(proxy.example_information_delegate_link(false, &num, 5), 0);
    EXPECT_EQ(proxy.log.take(), "link 0");
    stub.example_information_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !proxy.example_information_is_linked(); }));
    proxy.example_information_link(true, 0.1, nullptr);  // the wait may begin too late for the answer
    EXPECT_TRUE(net::eventually([&] { return proxy.example_information_is_linked(); }));
    proxy.example_information_set_history_size(2);
    for (int x = 11; x <= 13; ++x) {
        stub.example_information_get()->x = x;
        EXPECT_EQ(stub.example_information_post(), 0);
        EXPECT_EQ(proxy.log.take(), "information " + std::to_string(x));
    }
    EXPECT_TRUE(stub.example_information_read(&out) == 0 && out.x == 13);
    EXPECT_EQ(Vorn35::History(proxy.example_information_see_history(9)).size(), 2U);
    EXPECT_EQ(Vorn35::History(stub.example_information_see_history(9)).size(), 1U);
    proxy.example_information_set_sync(false);
    stub.example_information_set_sync_model(Vorn35::on_timer, 0.01);
    EXPECT_EQ(stub.example_information_write(&(out = {22})), 0);
    EXPECT_TRUE(net::eventually([&] { return proxy.example_information_read(&out) == 0 && out.x == 22; }));
    proxy.example_information_unlink();
    EXPECT_EQ(stub.log.take(), "information unlink");

    EXPECT_EQ(proxy.example_command_delegate_link(&num, 5), 0);
    EXPECT_EQ(proxy.log.take(), "link 0");
    stub.example_command_set_history_size(2);
    for (int x = 32; x <= 34; ++x) {
        proxy.example_command_get()->x = x;
        EXPECT_EQ(proxy.example_command_post(), 0);
        EXPECT_EQ(stub.log.take(), "command " + std::to_string(x));
    }
    EXPECT_TRUE(proxy.example_command_read(&in) == 0 && in.x == 34);
    EXPECT_EQ(Vorn35::History(stub.example_command_see_history(near, 9)).size(), 2U);
    EXPECT_EQ(Vorn35::History(proxy.example_command_see_history(9)).size(), 1U);
    stub.example_command_set_sync(false);
    EXPECT_EQ(proxy.example_command_write(&(in = {35})), 0);
    EXPECT_TRUE(net::eventually([&] { return stub.example_command_read(near, &in) == 0 && in.x == 35; }));
    proxy.example_command_set_sync_model(false, Vorn35::on_timer, 0.01);
    stub.example_command_set_sync(true);
    EXPECT_EQ(stub.log.take(), "command 35");
    stub.example_command_unlink(near);
    EXPECT_TRUE(net::eventually([&] { return !proxy.example_command_is_linked(); }));
}
