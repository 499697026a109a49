// Each loss moves its own counter.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Counters : public Pair {
protected:
    /// Moves exactly so far while `_cause` runs, or soon after.
    template <class Cause>
    static void moves(const char* _name, double _by, Cause _cause) {
        const double before = sum_of(statistics(), _name);
        _cause();
        EXPECT_TRUE(eventually([&] { return sum_of(statistics(), _name) >= before + _by; })) << _name;
        EXPECT_EQ(sum_of(statistics(), _name) - before, _by) << _name;
    }
    static double value_of(std::string_view _name, std::string_view _labels) {
        for (const Statistic& one : statistics()) {
            if (one.name == _name && one.labels == _labels) return one.value;
        }
        ADD_FAILURE() << _name << _labels;
        return -1;
    }
};

TEST_F(Counters, EachLossHasItsOwn) {
    connect();
    const Other_client raw(address);
    EXPECT_EQ(value_of("vorn35_connections", "side=\"client\""), 1);
    EXPECT_TRUE(eventually([] { return value_of("vorn35_connections", "side=\"service\"") == 2; }));
    EXPECT_EQ(value_of("vorn35_listeners", ""), 8);
    EXPECT_EQ(value_of("vorn35_directory_port_bound", ""), 1);
    EXPECT_GT(value_of("vorn35_memory_bytes", ""), 0);
    const double bytes = value_of("vorn35_received_bytes_total", "kind=\"call\"");
    raw.send(raw.call(1, text("payload")));
    raw.next();
    EXPECT_EQ(value_of("vorn35_received_bytes_total", "kind=\"call\"") - bytes, 27);

    moves("vorn35_requests_repeated_total", 1, [&] {
        for (int i = 0; i < 2; ++i) raw.send(raw.call(2, {}));
        raw.next();
    });
    moves("vorn35_messages_expired_total", 1, [&] {
        Wire_message old = raw.call(3, {});
        old.limit = 0;
        raw.send(old);
    });
    moves("vorn35_answers_late_total", 1, [&] {
        moves("vorn35_waits_timed_out_total", 1, [&] {
            service.gate.close();
            EXPECT_EQ(client.wait(client.ask({}, 0.01)).err, VORN_ERR_LOCAL_TIMEOUT_);
        });
        service.gate.open();
    });
    moves("vorn35_messages_queue_dropped_total", 2, [&] {
        service.gate.close();
        for (const std::uint16_t num : {100, 101, 102}) raw.send(raw.call(num, {}));
        const Msg_addr key(address.port, c_code, 1);
        EXPECT_TRUE(eventually([&] {
            const Exclusive_hold hold;
            const std::lock_guard lock(gp_processor->qbuffer_map.at(key)->m_lock);
            return gp_processor->qbuffer_map.at(key)->size() == 2;
        }));
        msg_processing_by_parallel(key);
        service.gate.open();
        raw.next();
    });
    moves("vorn35_waits_disconnected_total", 1, [&] {
        service.gate.close();
        Waiter waiter(client, client.ask({}));
        service.gate.until_reached();
        with_server_record(client.self().port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
        EXPECT_EQ(waiter.answer().err, VORN_ERR_DISCONNECTED_TCP_);
        service.gate.open();
    });
    service.stop();
    const double unaddressed = value_of("vorn35_messages_unaddressed_total", "kind=\"call\"");
    raw.send(raw.call(9, {}));
    raw.next();
    EXPECT_GT(value_of("vorn35_messages_unaddressed_total", "kind=\"call\""), unaddressed);
    moves("vorn35_datagrams_malformed_total", 1,
          [&] { Raw_socket(::socket(AF_INET, SOCK_DGRAM, 0)).send_to(c_directory_port, text("short")); });
}

}  // namespace
