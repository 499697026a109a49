// The examples of docs/kinds.md, as they stand there, do what they are there for.

#include "../../examples/kinds/call.cpp"
#include "../../examples/kinds/command.cpp"
#include "../../examples/kinds/datagram.cpp"
#include "../../examples/kinds/event.cpp"
#include "../../examples/kinds/information.cpp"
#include "../../examples/kinds/signal.cpp"
#include "net/support/objects.h"

using namespace net;

namespace {

class Kinds : public Runtime {
protected:
    /// Both ends, connected; by the address that this host broadcasts from.
    template <class Service, class Client, class... Arguments>
    std::pair<Service&, Client&> pair(Arguments&&... _arguments) {
        auto& service = make<Service>();
        auto& client = make<Client>(std::forward<Arguments>(_arguments)...);
        Port port = 0;
        EXPECT_EQ(service.start(nullptr, &port), 0);
        EXPECT_EQ(client.start({Vorn35::inet_addr("198.51.100.1"), port}), 0);
        EXPECT_TRUE(eventually([&client] { return client.is_connected(); }));
        return {service, client};
    }
};

TEST_F(Kinds, Call) {
    const auto [service, client] = pair<Halves, Proxy_call>(Msg_code{1});
    double value = 5;
    // Again where the answer was there before the wait.
    EXPECT_TRUE(eventually([&client = client, &value] { return half(client, &value) == 0; }));
    EXPECT_EQ(value, 2.5);
}

TEST_F(Kinds, Signal) {
    const auto [service, client] = pair<Bell, Visitor>();
    EXPECT_EQ(client.ring(), 0);
    EXPECT_TRUE(eventually([&bell = service, &visitor = client] { return visitor.arrived && bell.rung == 1; }));
}

TEST_F(Kinds, Event) {
    const auto [service, client] = pair<Door, Guard>();
    EXPECT_TRUE(eventually([&guard = client] { return guard.is_linked(); }));
    service.open();
    EXPECT_TRUE(eventually([&guard = client] { return guard.heard == 1; }));
}

TEST_F(Kinds, Information) {
    for (const bool reliable : {true, false}) {
        const auto [service, client] = pair<Gauge, Dial>(reliable);
        EXPECT_TRUE(eventually([&dial = client] { return dial.is_linked(); }));
        EXPECT_EQ(client.level(), -1);
        service.show(7);
        EXPECT_TRUE(eventually([&dial = client] { return dial.level() == 7; }));
    }
}

TEST_F(Kinds, Command) {
    const auto [service, client] = pair<Valve, Handle>();
    EXPECT_TRUE(eventually([&handle = client] { return handle.turn_to(90); }));
    Addr here;
    Addr there;
    EXPECT_EQ(client.get_address(&here, &there), 0);
    here.ip = there.ip;  // the service sees a client of its own host there
    EXPECT_TRUE(eventually([&valve = service, here] { return valve.wishes_of(here) == 1; }));
}

TEST_F(Kinds, Datagram) {
    const auto [service, client] = pair<Beacon, Lookout>();
    EXPECT_EQ(service.shine(), 0);
    EXPECT_TRUE(eventually([&lookout = client] { return lookout.seen == 1; }));
}

}  // namespace
