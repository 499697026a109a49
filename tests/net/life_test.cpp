// The life of the runtime and of the objects in it.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Life : public Runtime {
protected:
    Life() : Runtime(by_the_test) {}

    static std::size_t services() {
        const Exclusive_hold hold;
        return gp_processor->local_stubes.size();
    }
    static std::size_t clients() {
        const Exclusive_hold hold;
        return gp_processor->remote_stubes.size();
    }
};

/// A message for nobody.
Token message(EMsg _type, Msg_code _code = 1, Msg_num _num = 1) {
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(c_here, relay_clock(), c_no_limit);
    pkt->set_to_proxy(Addr(c_here, 1), Addr(c_here, 2));
    pkt->initialize_header(0, _num, _type, _code, 0);
    return token;
}
/// As the relay does it.
Error hand_in(Token _token) {
    const Error result = send_sdk(_token, _token.get_header_packet());
    if (result != 0) _token.free();
    return result;
}

TEST_F(Life, NoListenersAndTheBoundsOfThePipe) {
    const std::size_t before = threads();
    ASSERT_EQ(initialize(0, 16, 0), 0);
    EXPECT_EQ(threads(), before + 6) << "besides, there are eight listeners by default";
    for (const EMsg by_datagram : {EMsg::information_udp, EMsg::command_udp, EMsg::ctrl_broadcast}) {
        EXPECT_EQ(hand_in(message(by_datagram)), 0);
        EXPECT_EQ(hand_in(message(by_datagram)), 0);
        EXPECT_EQ(hand_in(message(by_datagram)), VORN_ERR_BUSY_);
        EXPECT_EQ(gp_processor->listener(), 0);
        EXPECT_EQ(gp_processor->listener(), 0);
    }
    for (int i = 0; i < 17; ++i) EXPECT_EQ(hand_in(message(EMsg::call)), 0) << i;
    EXPECT_EQ(hand_in(message(EMsg::call)), VORN_ERR_BUSY_);
    EXPECT_EQ(hand_in(message(EMsg::ctrl, c_tcp_connected_to_server)), VORN_ERR_BUSY_);
    // Answers pass the full pipe by, and so does the loss of a connection.
    const auto answered = std::make_shared<return_record_t>();
    const auto lost = std::make_shared<return_record_t>();
    const return_key_t first({c_here, 2}, EMsg::call, 1, 1);
    const return_key_t second({c_here, 2}, EMsg::call, 1, 2);
    gp_processor->add_return(first, answered.get());
    gp_processor->add_return(second, lost.get());
    EXPECT_EQ(hand_in(message(EMsg::call_return)), 0);
    EXPECT_TRUE(answered->returned);
    EXPECT_FALSE(lost->returned);
    EXPECT_EQ(hand_in(message(EMsg::ctrl, c_tcp_disconnected_from_server)), 0);
    EXPECT_TRUE(lost->returned);
    EXPECT_EQ(answered->token.get_header_packet()->get_msg_type(), EMsg::call_return) << "it keeps its answer";
    EXPECT_EQ(lost->token.get_header_packet()->get_msg_type(), EMsg::ctrl);
    gp_processor->del_return(first);
    gp_processor->del_return(second);
    answered->token.free();
    lost->token.free();
    for (int i = 0; i < 17; ++i) EXPECT_EQ(gp_processor->listener(), 0);
    // Instructions to sleep are no messages; one of no length goes by.
    EXPECT_EQ(gp_processor->eproc_send(Token{}, 16), Vorn_processor::success);
    EXPECT_EQ(gp_processor->listener(), 0);
}

TEST_F(Life, ObjectsOutliveTheRuntime) {
    auto service = std::make_unique<Service>();
    auto client = std::make_unique<Client>();
    const auto nothing_runs = [&] {
        Port port = 0;
        Msg_num num = 0;
        EXPECT_EQ(service->start("name", &port), VORN_ERR_NOT_INITIALIZE_);
        EXPECT_EQ(client->start({c_here, 5000}), VORN_ERR_NOT_INITIALIZE_);
        EXPECT_EQ(service->stop(), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_EQ(client->stop(), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_FALSE(service->is_started() || client->is_started() || client->is_connected());
        EXPECT_EQ(client->delegate_call(&num, nullptr, 0, 1), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_EQ(client->wait(client->ask({})).err, VORN_ERR_IS_NOT_CREATED_);
        client->cancel(0);
        Addr addr;
        EXPECT_EQ(get_address("name", &addr), 0U);
        msg_processing_by_serial_alone({1, 2, 3});
    };
    nothing_runs();
    for (int life = 0; life < 3; ++life) {
        ASSERT_EQ(initialize(), 0);
        client->connect(service->open("name"));
        EXPECT_EQ(client->delegate_and_take(text("x")).data, text("x"));
        EXPECT_EQ(finalize(), 0);  // with both of them started
        nothing_runs();
    }
    // One dies between two lives, its member with it, and one in the next.
    client.reset();
    ASSERT_EQ(initialize(), 0);
    service->open("name");
    service.reset();
    EXPECT_EQ(services(), 0U);
}

TEST_F(Life, OnePlaceForEach) {
    ASSERT_EQ(initialize(), 0);
    auto& service = make<Service>();
    auto& other = make<Service>();
    const Addr address = service.open("name");
    Port port = address.port;
    EXPECT_EQ(service.start("other", &port), VORN_ERR_ALREADY_CREATED_);
    EXPECT_EQ(other.start("name", &port), VORN_ERR_ALREADY_USED_NAME_) << "before it looks at the port";
    EXPECT_EQ(other.start("other", &port), VORN_ERR_ALREADY_USED_ADDR_);
    const Raw_server stranger;
    port = stranger.port();
    EXPECT_EQ(other.start("other", &port), EADDRINUSE);
    EXPECT_FALSE(other.is_started());
    other.open("other");  // a name that failed is still free
    EXPECT_EQ(service.stop(), 0);
    port = 0;
    EXPECT_EQ(service.start("name", &port), VORN_ERR_ALREADY_USED_NAME_) << "a name stays in use";
    EXPECT_EQ(service.start_for_python(nullptr, address.port), 0);

    auto& client = make<Client>();
    auto& second = make<Client>();
    client.connect(address);
    EXPECT_EQ(client.start(address), VORN_ERR_ALREADY_CREATED_);
    EXPECT_EQ(second.start(address), VORN_ERR_ALREADY_USED_ADDR_);
    EXPECT_FALSE(second.is_started());
    EXPECT_EQ(client.stop(), 0);
    second.connect(address);
}

TEST_F(Life, ServiceStoppedInItsOwnHandler) {
    ASSERT_EQ(initialize(), 0);
    auto service = std::make_unique<Service>();
    auto& client = make<Client>();
    const Addr address = service->open("deferred");
    client.connect(address);
    Events<Error> stops;
    service->handler = [&](const Bytes& _in, Bytes*) {
        if (_in == text("stop")) stops.put(service->stop());
        return 0;
    };
    EXPECT_EQ(client.delegate_and_take(text("stop")).err, 0);
    EXPECT_EQ(stops.take(), 0);
    EXPECT_FALSE(service->is_started());
    EXPECT_EQ(service->stop(), VORN_ERR_IS_NOT_CREATED_);
    // It is reached as before, by those who are there and by those who come.
    EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
    const Raw_client raw(address.port);
    raw.open();
    raw.send(raw.call(100, text("y")));
    EXPECT_EQ(raw.next().payload, text("y"));
    // It may be started once more elsewhere, and then stopped in earnest: the first port stays.
    service->open();
    EXPECT_EQ(services(), 2U);
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(services(), 1U);
    EXPECT_EQ(client.delegate_and_take(text("stop")).err, 0);
    EXPECT_EQ(stops.take(), VORN_ERR_IS_NOT_CREATED_);
    client.call({});  // the last callback has returned
    service.reset();
    EXPECT_EQ(services(), 0U);
    EXPECT_EQ(gp_processor->destroy_vect.size(), 0U);
    EXPECT_EQ(client.delegate_and_take({}).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
    EXPECT_EQ(make<Service>().open(nullptr, 0).ip, c_here);
}

TEST_F(Life, ClientStoppedInItsOwnCallback) {
    ASSERT_EQ(initialize(), 0);
    auto& service = make<Service>();
    auto& neighbour_service = make<Service>();
    auto& neighbour = make<Client>();
    const Addr address = service.open();
    const Addr other = neighbour_service.open();
    neighbour.connect(other);
    auto client = std::make_unique<Client>();
    client->connect(address);
    Events<Error> results;
    client->in_callback = [&] {
        results.put(client->stop());
        results.put(client->is_started() || client->is_connected());
        results.put(client->start(address));
    };
    client->delegate_and_take({});
    EXPECT_EQ(results.take(), 0);
    EXPECT_EQ(results.take(), 0);
    EXPECT_EQ(results.take(), VORN_ERR_ALREADY_USED_ADDR_);
    EXPECT_EQ(clients(), 2U);
    EXPECT_EQ(client->start(other), VORN_ERR_ALREADY_USED_ADDR_) << "that one is its neighbour's";
    service.gate.open();
    client.reset();
    EXPECT_EQ(clients(), 1U) << "gone, and only that";
    EXPECT_EQ(gp_processor->destroy_proxy_vect.size(), 0U);
    service.disconnected.take();
    EXPECT_EQ(neighbour.delegate_and_take(text("x")).data, text("x"));
    EXPECT_TRUE(neighbour.disconnected.empty());
    make<Client>().connect(address);
}

TEST_F(Life, ClientRestartedAtOnce) {
    under_pressure = true;
    ASSERT_EQ(initialize(), 0);
    auto& service = make<Service>();
    auto& client = make<Client>();
    const Addr address = service.open();
    // The first peer never closes, so that its connection is still there in all that follows.
    for (int round = 0; round < 200; ++round) {
        client.connect(address);
        for (int i = 0; i < 3; ++i) client.delegate(text("left behind"));
        if (round % 2 == 0) client.delegate_and_take(text("answered"));
        ASSERT_EQ(client.stop(), 0);
        if (round % 7 == 0) {
            ASSERT_EQ(client.start(address), 0);  // and stopped before it has connected
            ASSERT_EQ(client.stop(), 0);
            while (!client.connected.empty()) client.connected.take();
        }
    }
    client.connect(address);
    const Msg_num last = client.delegate(text("last"));
    while (client.returned.take().num != last) {
    }
    EXPECT_TRUE(client.disconnected.empty()) << "the end of a closed connection reached its successor";
    EXPECT_EQ(clients(), 1U);
}

TEST_F(Life, OfTwoMembersOfOneCodeTheFirstAnswers) {
    ASSERT_EQ(initialize(), 0);
    EXPECT_EQ(threads(), threads_before + 14);
    auto& base = make<Service>();
    const auto answers = [](const char* _text) {
        return [_text](const Bytes&, Bytes* _out_) {
            *_out_ = text(_text);
            return 0;
        };
    };
    auto first = std::make_unique<Service>(base, Msg_code{20});
    auto second = std::make_unique<Service>(base, Msg_code{20});
    first->handler = answers("first");
    second->handler = answers("second");
    auto& client = make<Client>();
    auto& attached = make<Client>(client, Msg_code{20});
    client.connect(base.open());
    EXPECT_EQ(attached.delegate_and_take({}).data, text("first"));
    // The end of one member is the end of the whole service, and of whoever has its code.
    second.reset();
    EXPECT_FALSE(base.is_started());
    client.stop();
    client.connect(base.open());
    EXPECT_EQ(attached.delegate_and_take({}).err, VORN_ERR_NOT_SUPPORT_CODE_);
    EXPECT_EQ(client.delegate_and_take(text("own")).data, text("own"));
}

/// Has a listener tell that a connection came up or was lost at a time.
void tell(Client* _client, bool _up, ks_clock_t _made, Port _gate = 1) {
    Token event = message(EMsg::ctrl, _up ? c_tcp_connected_to_server : c_tcp_disconnected_from_server);
    event.get_header_packet()->arrival_cpu_clock_counter = _made;
    event.get_header_packet()->set_dst_port(_gate);
    {
        const Shared_hold hold;
        _Proxy::of(_client)->adapter_proxy(event);
    }
    event.free();
}

TEST_F(Life, ConnectionEventsInAnyOrder) {
    ASSERT_EQ(initialize(), 0);
    const auto us = [](int _count) { return std::chrono::microseconds(_count); };
    const Addr nobody(c_here, Raw_server().port());
    auto& client = make<Client>();
    std::array<int, 4> order{0, 1, 2, 3};  // up, down, up, down
    do {
        ASSERT_EQ(client.start(nobody), 0);
        const ks_clock_t started = relay_clock();
        std::string told;
        for (const int i : order) {
            told += " " + std::to_string(i);
            tell(&client, i % 2 == 0, started + us(i + 1));
        }
        EXPECT_FALSE(client.is_connected()) << told;
        EXPECT_EQ(client.connected.size(), client.disconnected.size()) << told;
        EXPECT_EQ(client.stop(), 0);
        for (Events<int>* events : {&client.connected, &client.disconnected}) events->take(events->size());
    } while (std::next_permutation(order.begin(), order.end()));

    // Of two that came up ahead of a loss the later one stands.
    client.connect(make<Service>().open());
    Addr here;
    Addr there;
    ASSERT_EQ(client.get_address(&here, &there), 0);
    const ks_clock_t now = relay_clock();
    tell(&client, true, now + us(3), here.port);
    tell(&client, true, now + us(2));
    tell(&client, false, now + us(1));
    client.disconnected.take();
    client.connected.take();
    EXPECT_TRUE(client.is_connected());
}

// --- configuration ---------------------------------------------------------------------------------------

const char* const c_all_keys =
    "[OTHER]\nA=1\n[VORN]\nAUTO_DISCONNECT = No \nSERVER_SOCKET_REUSE=no\nSERVER_LISTEN_BACKLOG=3\n"
    "SERVER_LINGER_USE=off\n"
    "SERVER_LINGER_TIME=-7\nSERVER_NAGLE_OFF_USE=NO\nCLIENT_LINGER_USE=no\nCLIENT_LINGER_TIME=8\n"
    "CLIENT_NAGLE_OFF_USE=\n";

TEST_F(Life, ConfigurationFiles) {
    namespace fs = std::filesystem;
    char pattern[] = "/tmp/vorn_net_XXXXXX";
    const fs::path home = ::mkdtemp(pattern);
    const fs::path was = fs::current_path();
    fs::create_directories(home / "work");
    fs::create_directories(home / "Config");
    fs::current_path(home / "work");
    const auto write = [](const std::string& _text) { std::ofstream("../Config/vorn.ini") << _text; };
    const auto expect_defaults = [] {
        ASSERT_EQ(initialize(), 0);
        EXPECT_TRUE(g_auto_disconnect && g_server_socket_reuse && g_server_linger_use && g_server_nagle_off_use &&
                    g_client_linger_use && g_client_nagle_off_use);
        EXPECT_EQ(g_listen_backlog, 5);
        EXPECT_EQ(g_server_linger_time, 1024);
        EXPECT_EQ(g_client_linger_time, 1024);
        finalize();
    };
    expect_defaults();  // no file
    for (const char* malformed : {"[VORN\nA=no\n", "no equals sign\n", "[VORN]\nA=1\nA=2\n"}) {
        write(malformed);
        expect_defaults();
    }
    const std::string all = c_all_keys;
    std::vector<std::string> partials{"", "[OTHER]\nA=1\n", all.substr(0, all.rfind("CLIENT_NAGLE"))};
    for (const char* no_integer : {"=ten", "=5x", "=", "=99999999999"})
        partials.push_back(std::string(all).replace(all.find("=3"), 2, no_integer));
    for (const std::string& partial : partials) {
        write(partial);
        EXPECT_THROW(initialize(), std::runtime_error) << partial;
        EXPECT_EQ(gp_processor, nullptr);
        EXPECT_EQ(gp_memory, nullptr);
    }
    write(c_all_keys);
    ASSERT_EQ(initialize(), 0);
    EXPECT_FALSE(g_auto_disconnect || g_server_socket_reuse || g_server_nagle_off_use || g_client_linger_use);
    EXPECT_TRUE(g_server_linger_use && g_client_nagle_off_use) << "whatever is not no is a yes";
    EXPECT_EQ(g_listen_backlog, 3);
    EXPECT_EQ(g_server_linger_time, -7);
    EXPECT_EQ(g_client_linger_time, 8);
    auto& service = make<Service>();
    auto& client = make<Client>();
    client.connect(service.open());
    EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
    fs::current_path(was);
    fs::remove_all(home);
}

}  // namespace
