/// @file
/// ZeroMQ: REQ/REP for blocking calls, DEALER/ROUTER for many, PUB/SUB, PUSH/PULL. Queues without a limit, as ours.

#include <unistd.h>
#include <zmq.hpp>

#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "harness/peer.h"

namespace bench {

namespace {

class Zeromq : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        if (job.kind == "command") {
            zmq::socket_t& socket = bind(zmq::socket_type::pull);
            for (zmq::message_t message;;) {
                static_cast<void>(socket.recv(message));
                shared.receipt(*static_cast<unsigned char*>(message.data()));
            }
        }
        if (job.kind == "call" || job.kind == "first") {
            zmq::socket_t& socket = bind(zmq::socket_type::rep);
            for (zmq::message_t message;;) {
                static_cast<void>(socket.recv(message));
                socket.send(message, zmq::send_flags::none);
            }
        }
        zmq::socket_t& socket = bind(zmq::socket_type::router);
        for (zmq::message_t sender, message;;) {
            static_cast<void>(socket.recv(sender));
            static_cast<void>(socket.recv(message));
            socket.send(sender, zmq::send_flags::sndmore);
            socket.send(message, zmq::send_flags::none);
        }
    }

    void open() override { bind(zmq::socket_type::pub); }

    void publish(const void* data, std::size_t size) override { send(data, size); }

    void connect(unsigned short port, unsigned) override {
        const bool blocking = job.kind == "call" || job.kind == "first";
        dial(port, job.kind == "command" ? zmq::socket_type::push
                   : blocking            ? zmq::socket_type::req
                                         : zmq::socket_type::dealer);
        if (job.kind == "idle") {
            // A connection is one for certain when something has come back.
            call("", 0);
        }
    }

    bool call(const void* data, std::size_t size) override {
        send(data, size);
        zmq::message_t answer;
        return sockets_.back().recv(answer).has_value();
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        zmq::socket_t& socket = sockets_.back();
        for (zmq::message_t answer; !window.is_over(); window.answered()) {
            while (window.may_send()) send(data, size);
            static_cast<void>(socket.recv(answer));
        }
    }

    void send(const void* data, std::size_t size) override {
        sockets_.back().send(zmq::const_buffer(data, size), zmq::send_flags::none);
    }

    void subscribe(unsigned short port) override {
        zmq::socket_t& socket = dial(port, zmq::socket_type::sub);
        socket.set(zmq::sockopt::subscribe, "");
        usleep(100000);  // a subscription is not acknowledged
        is_ready();
        for (zmq::message_t message;;) {
            static_cast<void>(socket.recv(message));
            received(message.data(), message.size());
        }
    }

private:
    zmq::socket_t& make(zmq::socket_type type) {
        if (!context_) {
            context_ = std::make_unique<zmq::context_t>(1);
            context_->set(zmq::ctxopt::max_sockets, 4096);
        }
        zmq::socket_t& socket = sockets_.emplace_back(*context_, type);
        socket.set(zmq::sockopt::sndhwm, 0);
        socket.set(zmq::sockopt::rcvhwm, 0);
        return socket;
    }
    zmq::socket_t& dial(unsigned short port, zmq::socket_type type) {
        zmq::socket_t& socket = make(type);
        socket.connect("tcp://127.0.0.1:" + std::to_string(port));
        return socket;
    }
    zmq::socket_t& bind(zmq::socket_type type) {
        zmq::socket_t& socket = make(type);
        socket.bind("tcp://127.0.0.1:*");
        const std::string end = socket.get(zmq::sockopt::last_endpoint);
        is_open(static_cast<unsigned>(std::stoul(end.substr(end.rfind(':') + 1))));
        return socket;
    }

    std::unique_ptr<zmq::context_t> context_;
    std::list<zmq::socket_t> sockets_;
};

}  // namespace

bool takes_part(const Job& job) {
    return job.kind != "multicast" && !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Zeromq>(job, shared);
}

}  // namespace bench
