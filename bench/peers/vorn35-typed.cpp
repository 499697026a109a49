/// @file
/// The typed layer of the runtime, with messages as those of gRPC. Calls only: the other kinds take the same steps.

#include <stdexcept>
#include <string>

#include "Vorn35/Vorn35.h"
#include "harness/peer.h"
#include "peers/typed.vorn35.h"

namespace bench {

namespace {

using typed_wire::Bytes;
using Vorn35::typed::Result;

constexpr double c_wait_limit = 0.02;  // as for the raw call

class Echo : public typed_wire::Echo_service {
    Result<Bytes> call(const Bytes& _request, const Vorn35::typed::Call_context&) override {
        Bytes answer;
        answer.set_data(_request.data());
        return answer;
    }
};

class Typed : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        Vorn35::initialize();
        const Result<Vorn35::Port> port = (new Echo)->start();
        if (!port) throw std::runtime_error(port.failure().message());
        is_open(*port);
        rest();
    }

    void connect(unsigned short port, unsigned) override {
        Vorn35::initialize();
        client_ = new typed_wire::Echo_client;
        client_->start(Vorn35::Addr(Vorn35::inet_addr("127.0.0.1"), port));
        if (!client_->wait_until_ready(10)) throw std::runtime_error("no connection");
    }

    bool call(const void* data, std::size_t size) override {
        Bytes request;
        request.set_data(data, size);
        return static_cast<bool>(client_->call(request, c_wait_limit));
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        request_.set_data(data, size);
        window_ = &window;
        go_on();
        rest();
    }

private:
    void go_on() {
        while (window_->may_send()) {
            client_->call.delegate(request_, [this](const Result<Bytes>& _answer) {
                _answer ? window_->answered() : window_->failed();
                go_on();
            });
        }
    }

    // Never freed: the process ends without taking the runtime down.
    typed_wire::Echo_client* client_ = nullptr;
    Bytes request_;
    Window* window_ = nullptr;
};

}  // namespace

bool takes_part(const Job& job) {
    return (job.kind == "call" || job.kind == "async") && job.crowd_of == "-";
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Typed>(job, shared);
}

}  // namespace bench
