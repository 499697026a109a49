// The stop that waits for callbacks.

#include "Vorn/options.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Quiet : public Pair {};

TEST_F(Quiet, WaitsForCallbacksAndNotForItsOwn) {
    auto& other = make<Service>();
    const Other_client raw(service.open());
    const Other_client other_raw(other.open());
    EXPECT_EQ(make<Stub>().stop_and_wait(0), 0) << "not started: nothing runs";
    service.gate.close();
    raw.send(raw.call(1, {}));
    service.gate.until_reached();
    EXPECT_EQ(service.stop_and_wait(0.001), VORN_ERR_LOCAL_TIMEOUT_);
    EXPECT_FALSE(service.is_started());
    std::thread opens([&] { service.gate.open(); });
    EXPECT_EQ(service.stop_and_wait(c_no_limit), 0);
    opens.join();

    // In a callback of its own; in one of another object, after a stop that was deferred.
    client.connect(service.open());
    service.handler = [&](const Bytes&, Bytes*) {
        EXPECT_EQ(service.stop_and_wait(9), VORN_ERR_BUSY_);
        EXPECT_TRUE(service.is_started());
        return service.stop();
    };
    client.in_callback = [&] { EXPECT_EQ(client.stop_and_wait(9), VORN_ERR_BUSY_); };
    client.delegate_and_take({});
    other.handler = [&](const Bytes&, Bytes*) { return service.stop_and_wait(20) + client.stop_and_wait(20); };
    other_raw.send(other_raw.call(1, {}));
    EXPECT_EQ(other_raw.next().type, 0x31);
    EXPECT_TRUE(client.disconnected.empty()) << "a stop calls nothing back";
    const Exclusive_hold hold;
    EXPECT_EQ(gp_processor->local_stubes.size(), 1U);
    EXPECT_TRUE(gp_processor->remote_stubes.empty());
}

/// Objects of derived classes, destroyed while their peers still send.
TEST_F(Quiet, DestroyedUnderTraffic) {
    under_pressure = true;
    for (std::size_t life = many(50, 5000); life != 0; --life) {
        Service doomed;
        Client caller;
        const Other_client raw(doomed.open());
        EXPECT_EQ(caller.start({c_here, raw.service}), 0);
        // A full pipe refuses most of them, and even the notice of the connection: sent until some were taken.
        EXPECT_TRUE(eventually([&, num = std::uint16_t{0}]() mutable {
            Msg_num own = 0;
            for (int i = 0; i < 100; ++i) raw.send(raw.call(++num, {}));
            for (int i = 0; i < 10; ++i) caller.delegate_call(&own, nullptr, 0, 20);
            return doomed.called.size() >= 3 && (!g_options.keep_notices || !caller.returned.empty());
        }));
        EXPECT_EQ(caller.stop_and_wait(20), 0);
        EXPECT_EQ(doomed.stop_and_wait(20), 0);
    }
}

}  // namespace
