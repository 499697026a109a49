/// @file
/// The runtime itself, through its public headers.

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Vorn35/Vorn35.h"
#include "harness/peer.h"

namespace bench {

namespace {

using namespace Vorn35;

constexpr const char* c_name = "bench";
constexpr double c_limit = 10;  // seconds, where the answer is told to a callback
// An answer that beats its waiter costs the whole limit (see Proxy_call): such calls are counted as failed, and the
// limit is short so that the others get their turn.
constexpr double c_wait_limit = 0.02;

class Echo : public Stub_call {
public:
    explicit Echo(std::size_t size) : Stub_call(1, static_cast<Pksize>(size)) {}

private:
    Error on_call(Addr, const void* _in_, Pksize _in_size, void* _out_, Pksize* _out_size_, double, double) override {
        std::memcpy(_out_, _in_, _in_size);
        *_out_size_ = _in_size;
        return VORN_ERR_NONE_;
    }
};

/// Holds up its first call for ever, and with it all that follow.
class Slow : public Stub_call {
public:
    explicit Slow(const Stub& stub) : Stub_call(2, 4, stub) {}

private:
    Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override { rest(); }
};

class Collector : public Stub_command {
public:
    explicit Collector(Shared& shared) : Stub_command(1), shared_(shared) {}

private:
    void on_sync(Addr, Sync_model, double, double, const void* _buffer_, const Pksize) override {
        shared_.receipt(*static_cast<const unsigned char*>(_buffer_));
    }
    Shared& shared_;
};

void throw_if(Error error) {
    if (error != VORN_ERR_NONE_) throw std::runtime_error(get_err_str(error));
}

/// The part of each client that waits for the connection.
class Connecting : public virtual Proxy {
public:
    void bring_up(Addr addr) {
        throw_if(start(addr));
        connected_.wait(false);
    }

private:
    void on_connect() override {
        connected_ = true;
        connected_.notify_all();
    }
    std::atomic<bool> connected_{false};
};

/// A client that calls again from the callback of the answer.
class Caller : public Proxy_call, public Connecting {
public:
    Caller() : Proxy_call(1) {}
    void go_on() {
        while (window_->may_send()) {
            Msg_num num = 0;
            if (delegate_call(&num, data_, size_, c_limit) != VORN_ERR_NONE_) window_->failed();
        }
    }
    void begin(const void* data, std::size_t size, Window& window) {
        data_ = data;
        size_ = static_cast<Pksize>(size);
        window_ = &window;
        go_on();
    }

private:
    void on_return(Msg_num, Error _err, const void*, Pksize, double) override {
        _err == VORN_ERR_NONE_ ? window_->answered() : window_->failed();
        go_on();
    }
    const void* data_ = nullptr;
    Pksize size_ = 0;
    Window* window_ = nullptr;
};

class Commander : public Proxy_command, public Connecting {
public:
    Commander() : Proxy_command(1) {}
};

template <class Link>
void link(Link ask) {
    while (true) {
        const Error error = ask();
        if (error == VORN_ERR_NONE_ || error == VORN_ERR_ALREADY_CONNECTED_) return;
    }
}

class Vorn : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        initialize();
        if (job.kind == "command") {
            start(new Collector(shared));
        } else {
            auto* const echo = new Echo(job.size);
            const std::uint64_t begin = now_ns();
            gather(*echo);
            shared.crowd_ns = now_ns() - begin;
            start(echo);
        }
        rest();
    }

    void open() override {
        initialize();
        if (job.kind == "event") {
            start(event_ = new Stub_event(1));
        } else {
            start(information_ = new Stub_information(1));
        }
    }

    void publish(const void* data, std::size_t size) override {
        if (event_ != nullptr) {
            event_->event(data, static_cast<Pksize>(size));
        } else {
            information_->write(data, static_cast<Pksize>(size));
        }
    }

    void connect(unsigned short port, unsigned index) override {
        if (index == 0 || job.kind != "idle") initialize();
        Addr addr(Vorn35::inet_addr("127.0.0.1"), port);
        if (job.by_name) {
            while (get_address(c_name, &addr) == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        if (job.kind == "command") {
            command_ = new Commander;
            command_->bring_up(addr);
            link([&] { return command_->await_link_return(command_->async_link(0.2), nullptr); });
            return;
        }
        call_ = new Caller;
        if (job.kind == "idle") addr = at(index, port);
        call_->bring_up(addr);
        gather(addr);
    }

    bool call(const void* data, std::size_t size) override {
        answer_.resize(size);
        Pksize answer_size = static_cast<Pksize>(size);
        const Promise_ promise = call_->async_call(data, static_cast<Pksize>(size), c_wait_limit);
        return call_->await_return(promise, answer_.data(), &answer_size, nullptr) == VORN_ERR_NONE_;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        call_->begin(data, size, window);
        rest();
    }

    void send(const void* data, std::size_t size) override { command_->write(data, static_cast<Pksize>(size)); }

    void subscribe(unsigned short port) override {
        initialize();
        const Addr addr(Vorn35::inet_addr(job.kind == "multicast" ? "198.51.100.1" : "127.0.0.1"), port);
        if (job.kind == "event") {
            auto* const client = new Event_client(*this);
            client->bring_up(addr);
            link([&] { return client->await_link_return(client->async_link(0.2), nullptr); });
        } else {
            auto* const client = new Information_client(*this);
            client->bring_up(addr);
            const bool reliable = job.kind != "multicast";
            link([&] { return client->await_link_return(client->async_link(reliable, 0.2), nullptr); });
        }
        is_ready();
        rest();
    }

private:
    struct Event_client : Proxy_event, Connecting {
        explicit Event_client(Vorn& peer) : Proxy_event(1), peer(peer) {}
        void on_event(const void* _data_, Pksize _size, double) override { peer.received(_data_, _size); }
        Vorn& peer;
    };
    struct Information_client : Proxy_information, Connecting {
        explicit Information_client(Vorn& peer) : Proxy_information(1), peer(peer) {}
        void on_sync(Sync_model, double, double, const void* _data_, Pksize _size) override {
            peer.received(_data_, _size);
        }
        Vorn& peer;
    };

    /// The service's part of the crowd.
    void gather(const Stub& service) {
        if (job.crowd_of == "queued") new Slow(service);
        for (unsigned n = 0; n < job.crowd; ++n) {
            if (job.crowd_of == "members") new Stub_call(static_cast<Msg_code>(n + 10), 4, service);
            Port port = 0;
            if (job.crowd_of == "names") throw_if((new Stub)->start(("crowd" + std::to_string(n)).c_str(), &port));
        }
    }

    /// The client's part of it.
    void gather(Addr addr) {
        const std::uint64_t begin = now_ns();
        if (job.crowd_of == "connections") {
            for (unsigned n = 0; n < job.crowd; ++n) (new Caller)->bring_up(at(n + 1, addr.port));
        } else if (job.crowd_of == "queued") {
            auto* const slow = new Proxy_call(2, *call_);
            for (unsigned n = 0; n < job.crowd; ++n) {
                Msg_num num = 0;
                throw_if(slow->delegate_call(&num, "slow", 4, c_limit * 10));
                if (n % 8 == 7) call("calm", 4);  // the pipe takes no more than 16 at once
            }
        } else {
            return;
        }
        shared.crowd_ns = now_ns() - begin;
    }

    /// One client a service address: each takes another address of the loopback.
    static Addr at(unsigned index, Port port) {
        const std::string host = "127.0." + std::to_string(index / 200) + "." + std::to_string(index % 200 + 1);
        return {Vorn35::inet_addr(host.c_str()), port};
    }

    template <class Service>
    void start(Service* service) {
        Port port = 0;
        throw_if(service->start(c_name, &port));
        is_open(port);
    }

    // Never freed: the process ends without taking the runtime down.
    Caller* call_ = nullptr;
    Commander* command_ = nullptr;
    Stub_event* event_ = nullptr;
    Stub_information* information_ = nullptr;
    std::vector<char> answer_;
};

}  // namespace

bool takes_part(const Job&) {
    return true;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Vorn>(job, shared);
}

}  // namespace bench
