// The life of the runtime and of the objects in it.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Life : public Pair {
protected:
    Life() : Pair(by_the_test) {}

    static std::size_t services() {
        const Exclusive_hold hold;
        return gp_processor->local_stubes.size();
    }
    static std::size_t clients() {
        const Exclusive_hold hold;
        return gp_processor->remote_stubes.size();
    }
};

/// As the relay does it.
Error hand_in(Token _token) {
    const Error result = send_sdk(_token, _token.get_header_packet());
    if (result != 0) _token.free();
    return result;
}

TEST_F(Life, NoListenersAndTheBoundsOfThePipe) {
    ASSERT_EQ(initialize(0, 16, 0), 0);
    EXPECT_EQ(threads(), threads_before + 6);
    const auto listen = [](int _times) {
        for (; _times != 0; --_times) EXPECT_EQ(gp_processor->listener(), 0);
    };
    for (const EMsg by_datagram : {EMsg::information_udp, EMsg::command_udp, EMsg::ctrl_broadcast}) {
        EXPECT_EQ(hand_in(message(by_datagram)), 0);
        EXPECT_EQ(hand_in(message(by_datagram)), 0);
        EXPECT_EQ(hand_in(message(by_datagram)), VORN_ERR_BUSY_);
        listen(2);
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
    EXPECT_TRUE(answered->returned && !lost->returned);
    EXPECT_EQ(hand_in(message(EMsg::ctrl, c_tcp_disconnected_from_server)), 0);
    EXPECT_TRUE(lost->returned);
    EXPECT_EQ(answered->token.get_header_packet()->get_msg_type(), EMsg::call_return) << "it keeps its answer";
    EXPECT_EQ(lost->token.get_header_packet()->get_msg_type(), EMsg::ctrl);
    gp_processor->del_return(first);
    gp_processor->del_return(second);
    answered->token.free();
    lost->token.free();
    listen(17);
    // An instruction to sleep is no message; one of no length goes by.
    EXPECT_EQ(gp_processor->eproc_send(Token{}, 16), Vorn_processor::success);
    listen(1);
}

TEST_F(Life, ObjectsOutliveTheRuntime) {
    auto server = std::make_unique<Service>();
    auto caller = std::make_unique<Client>();
    for (int life = 0; life < 3; ++life) {
        Port port = 0;
        Msg_num num = 0;
        Addr addr;
        EXPECT_EQ(server->start("name", &port), VORN_ERR_NOT_INITIALIZE_);
        EXPECT_EQ(caller->start({c_here, 5000}), VORN_ERR_NOT_INITIALIZE_);
        EXPECT_EQ(server->stop(), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_EQ(caller->stop(), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_FALSE(server->is_started() || caller->is_started() || caller->is_connected());
        EXPECT_EQ(caller->delegate_call(&num, nullptr, 0, 1), VORN_ERR_IS_NOT_CREATED_);
        EXPECT_EQ(caller->wait(caller->ask({})).err, VORN_ERR_IS_NOT_CREATED_);
        EXPECT_EQ(caller->wait(nullptr).err, VORN_ERR_NULL_RETURN_OBJECT_);
        caller->cancel(0);
        EXPECT_EQ(get_address("name", &addr), 0U);
        msg_processing_by_serial_alone({1, 2, 3});
        ASSERT_EQ(initialize(), 0);
        EXPECT_EQ(threads(), threads_before + 14);
        caller->connect(server->open("name"));
        EXPECT_EQ(caller->delegate_and_take(text("x")).data, text("x"));
        EXPECT_EQ(finalize(), 0);  // with both of them started
    }
    caller.reset();  // one dies between two lives, and one in the next
    ASSERT_EQ(initialize(), 0);
    server->open("name");
    server.reset();
    EXPECT_EQ(services(), 0U);
}

TEST_F(Life, OnePlaceForEach) {
    ASSERT_EQ(initialize(), 0);
    auto& other = make<Service>();
    address = service.open("name");
    Port port = address.port;
    Port foreign = 0;
    const Raw_server stranger;
    EXPECT_EQ(service.start("other", &port), VORN_ERR_ALREADY_CREATED_);
    EXPECT_EQ(other.start("name", &port), VORN_ERR_ALREADY_USED_NAME_) << "before it looks at the port";
    EXPECT_EQ(other.start("other", &port), VORN_ERR_ALREADY_USED_ADDR_);
    EXPECT_EQ(other.start("other", &(foreign = stranger.port())), EADDRINUSE);
    EXPECT_FALSE(other.is_started());
    other.open("other");  // a name that failed is still free
    EXPECT_EQ(service.stop(), 0);
    EXPECT_EQ(service.start("name", &(port = 0)), VORN_ERR_ALREADY_USED_NAME_) << "a name stays in use";
    EXPECT_EQ(service.start_for_python(nullptr, address.port), 0);

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
    auto stopped = std::make_unique<Service>();
    address = stopped->open("deferred");
    client.connect(address);
    Events<Error> stops;
    stopped->handler = [&](const Bytes&, Bytes*) { return stops.put(stopped->stop()), 0; };
    EXPECT_EQ(client.delegate_and_take({}).err, 0);
    EXPECT_EQ(stops.take(), 0);
    EXPECT_FALSE(stopped->is_started());
    EXPECT_EQ(stopped->stop(), VORN_ERR_IS_NOT_CREATED_);
    // Its address is served as before, also for a new client. It may be started once more elsewhere, and stopped.
    const Other_client raw(address);
    stopped->open();
    EXPECT_EQ(services(), 2U);
    EXPECT_EQ(stopped->stop(), 0);
    EXPECT_EQ(services(), 1U);
    raw.send(raw.call(100, {}));
    EXPECT_EQ(raw.next().type, 0x31);
    client.call({});  // the last callback has returned
    stopped.reset();
    EXPECT_EQ(services(), 0U);
    EXPECT_EQ(gp_processor->destroy_vect.size(), 0U);
    EXPECT_EQ(client.delegate_and_take({}).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
}

TEST_F(Life, ClientStoppedInItsOwnCallback) {
    ASSERT_EQ(initialize(), 0);
    auto& neighbour = make<Client>();
    address = service.open();
    const Addr other = make<Service>().open();
    neighbour.connect(other);
    auto stopped = std::make_unique<Client>();
    stopped->connect(address);
    Events<Error> results;
    stopped->in_callback = [&] {
        for (const Error one : {stopped->stop(), Error{stopped->is_started()}, stopped->start(address)})
            results.put(one);
    };
    stopped->delegate_and_take({});
    for (const Error expected : {Error{0}, Error{0}, Error{VORN_ERR_ALREADY_USED_ADDR_}})
        EXPECT_EQ(results.take(), expected);
    EXPECT_EQ(clients(), 2U);
    stopped.reset();
    EXPECT_EQ(clients(), 1U);
    EXPECT_EQ(gp_processor->destroy_proxy_vect.size(), 0U);
    service.disconnected.take();
    EXPECT_EQ(neighbour.delegate_and_take(text("x")).data, text("x"));
    EXPECT_TRUE(neighbour.disconnected.empty());
    client.connect(address);
}

/// Destroys itself in the callback of that name, and says so.
struct Mortal {
    const std::string end;
    Log& log;
    std::function<void()> destroy;
    void in(const std::string& _callback) const {
        if (_callback != end) return;
        Log& outlives = log;
        destroy();
        outlives.put("destroyed in " + _callback);
    }
};
struct Mortal_client : Mortal, Proxy_event, Proxy_call {
    Mortal_client(const std::string& _end, Log& _log)
        : Mortal{_end, _log, [this] { delete this; }}, Proxy_event(c_code), Proxy_call(c_code) {}
    void on_connect() override {
        Msg_num num = 0;
        if (links) static_cast<void>(delegate_link(&num, 20));
        in("on_connect");
    }
    void on_link(Msg_num, Error, double) override {
        Msg_num num = 0;
        if (calls) {
            EXPECT_EQ(delegate_call(&num, "", 0, 20), 0);
        }
        in("on_link");
    }
    void on_return(Msg_num, Error, const void*, Pksize, double) override { in("on_return"); }
    bool links = true;
    bool calls = false;  ///< An answer to a connection that is closing would be lost.
    void on_event(const void*, Pksize, double) override { in("on_event"); }
    void on_unlink(Error) override { in("on_unlink"); }
    void on_disconnect() override { in("on_disconnect"); }
};
struct Mortal_service : Mortal, Stub_event, Stub_call {
    Mortal_service(const std::string& _end, Log& _log)
        : Mortal{_end, _log, [this] { delete this; }}, Stub_event(c_code), Stub_call(c_code, 4) {}
    void on_connect(Addr) override { in("on_connect"); }
    Error on_link(Addr, double, double) override { return in("link"), 0; }
    Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override { return in("on_call"), 0; }
    void on_unlink(Addr, Error) override { in("on_unlink"); }
    void on_disconnect(Addr) override { in("on_disconnect"); }
};

/// The address sanitizer sees a dispatch that uses what its callback has destroyed.
TEST_F(Life, DestroyedInItsOwnCallback) {
    under_pressure = true;  // cancels handed to a closing connection are lost
    for (const Runtime_options& profile : {Runtime_options::standard(), Runtime_options::reliable()}) {
        ASSERT_EQ(initialize(profile), 0);
        Log log;
        Port port = 0;
        const auto linked = [](auto* _client) { return eventually([_client] { return _client->is_linked(); }); };
        for (const std::string callback :
             {"on_connect", "on_link", "on_return", "on_event", "on_unlink", "on_disconnect"}) {
            Mortal_service living("", log);
            ASSERT_EQ(living.start(nullptr, &(port = 0)), 0);
            auto* const mortal = new Mortal_client(callback, log);
            mortal->links = callback != "on_connect";
            mortal->calls = callback == "on_return";
            EXPECT_EQ(mortal->start({c_here, port}), 0);
            if (callback == "on_event") {
                EXPECT_TRUE(linked(mortal));
                living.event("x", 1);
            } else if (callback == "on_unlink" || callback == "on_disconnect") {
                EXPECT_TRUE(linked(mortal));
                const std::lock_guard lock(g_establish_server_map_lock);
                for (const auto& [client, record] : g_establish_server_map) ::shutdown(record->socket, SHUT_RDWR);
            }
            EXPECT_EQ(log.take(), "destroyed in " + callback);
            EXPECT_EQ(living.stop_and_wait(20), 0);
        }
        for (const std::string callback : {"on_connect", "link", "on_call", "on_unlink", "on_disconnect"}) {
            Mortal_client living("", log);
            EXPECT_EQ((new Mortal_service(callback, log))->start(nullptr, &(port = 0)), 0);
            living.links = callback != "on_connect";  // no other callback may run at the same time
            living.calls = callback == "on_call";
            living.start({c_here, port});
            if (callback == "on_unlink" || callback == "on_disconnect") {
                EXPECT_TRUE(linked(&living));
                living.stop();
            }
            EXPECT_EQ(log.take(), "destroyed in " + callback);
            EXPECT_EQ(living.stop_and_wait(20), 0);
        }
        ASSERT_EQ(finalize(), 0);
    }
}

TEST_F(Life, ClientRestartedAtOnce) {
    under_pressure = true;
    ASSERT_EQ(initialize(), 0);
    address = service.open();
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
    for (const Msg_num last = client.delegate({}); client.returned.take().num != last;) continue;
    EXPECT_TRUE(client.disconnected.empty()) << "the end of a closed connection reached its successor";
    EXPECT_EQ(clients(), 1U);
}

/// A listener reports that a connection came up or was lost at a time.
void tell(Client* _client, bool _up, ks_clock_t _made) {
    Token event = message(EMsg::ctrl, _up ? c_tcp_connected_to_server : c_tcp_disconnected_from_server);
    event.get_header_packet()->arrival_cpu_clock_counter = _made;
    event.get_header_packet()->set_dst_port(1);
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
    std::array<int, 4> order{0, 1, 2, 3};  // up, down, up, down
    do {
        ASSERT_EQ(client.start(nobody), 0);
        const ks_clock_t started = relay_clock();
        for (const int i : order) tell(&client, i % 2 == 0, started + us(i + 1));
        EXPECT_FALSE(client.is_connected()) << testing::PrintToString(order);
        EXPECT_EQ(client.connected.size(), client.disconnected.size()) << testing::PrintToString(order);
        EXPECT_EQ(client.stop(), 0);
        for (Events<int>* events : {&client.connected, &client.disconnected}) events->take(events->size());
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(Life, ConfigurationFiles) {
    namespace fs = std::filesystem;
    char pattern[] = "/tmp/vorn_net_XXXXXX";
    const fs::path home = ::mkdtemp(pattern);
    const fs::path was = fs::current_path();
    fs::create_directories(home / "work");
    fs::create_directories(home / "Config");
    fs::current_path(home / "work");
    const std::string all =
        "[OTHER]\nA=1\n[VORN]\nAUTO_DISCONNECT = No \nSERVER_SOCKET_REUSE=no\nSERVER_LISTEN_BACKLOG=3\n"
        "SERVER_LINGER_USE=off\nSERVER_LINGER_TIME=-7\nSERVER_NAGLE_OFF_USE=NO\nCLIENT_LINGER_USE=no\n"
        "CLIENT_LINGER_TIME=8\nCLIENT_NAGLE_OFF_USE=\n";
    const auto read = [&](const std::string& _file) {
        std::ofstream("../Config/vorn.ini") << _file;
        EXPECT_EQ(initialize(), 0);
        connect();
        finalize();
        return std::vector<int>{g_auto_disconnect,      g_server_socket_reuse, g_server_linger_use,
                                g_server_nagle_off_use, g_client_linger_use,   g_client_nagle_off_use,
                                g_listen_backlog,       g_server_linger_time,  g_client_linger_time};
    };
    for (const char* malformed : {"[VORN\nA=no\n", "no equals sign\n", "[VORN]\nA=1\nA=2\n"})
        EXPECT_EQ(read(malformed), (std::vector<int>{1, 1, 1, 1, 1, 1, 5, 1024, 1024})) << malformed;
    EXPECT_EQ(read(all), (std::vector<int>{0, 0, 1, 0, 0, 1, 3, -7, 8})) << "what is not no is a yes";
    std::vector<std::string> incomplete{"", "[OTHER]\nA=1\n", all.substr(0, all.rfind("CLIENT_NAGLE"))};
    for (const char* no_integer : {"=ten", "=5x", "=", "=99999999999"})
        incomplete.push_back(std::string(all).replace(all.find("=3"), 2, no_integer));
    for (const std::string& file : incomplete) {
        EXPECT_THROW(read(file), std::runtime_error) << file;
        EXPECT_TRUE(gp_processor == nullptr && gp_memory == nullptr);
    }
    fs::current_path(was);
    fs::remove_all(home);
}

}  // namespace
