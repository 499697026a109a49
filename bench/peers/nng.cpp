/// @file
/// nng: REQ/REP, whose sockets have one call outstanding each, so that 16 contexts are used for 16 calls; PUB/SUB;
/// PUSH/PULL.

#include <nng/nng.h>
#include <nng/protocol/pipeline0/pull.h>
#include <nng/protocol/pipeline0/push.h>
#include <nng/protocol/pubsub0/pub.h>
#include <nng/protocol/pubsub0/sub.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <unistd.h>

#include <cstring>
#include <list>
#include <stdexcept>
#include <string>

#include "harness/peer.h"

namespace bench {

namespace {

void check(int code) {
    if (code != 0) throw std::runtime_error(nng_strerror(code));
}

nng_msg* message_of(const void* data, std::size_t size) {
    nng_msg* message = nullptr;
    check(nng_msg_alloc(&message, size));
    std::memcpy(nng_msg_body(message), data, size);
    return message;
}

/// A context with an asynchronous operation that calls `go_on` when it completes.
struct Worker {
    virtual ~Worker() = default;
    void make(nng_socket socket) {
        check(nng_ctx_open(&context, socket));
        check(nng_aio_alloc(
            &aio, [](void* self) { static_cast<Worker*>(self)->go_on(); }, this));
    }
    virtual void go_on() = 0;

    nng_ctx context{};
    nng_aio* aio = nullptr;
    bool sending = false;
};

struct Echo : Worker {
    void go_on() override {
        if (!sending && nng_aio_result(aio) == 0) {
            nng_msg* const message = nng_aio_get_msg(aio);
            if (message != nullptr) {
                nng_aio_set_msg(aio, message);
                sending = true;
                nng_ctx_send(context, aio);
                return;
            }
        }
        sending = false;
        nng_ctx_recv(context, aio);
    }
};

struct Caller : Worker {
    void begin() {
        if (!window->may_send()) return;
        nng_aio_set_msg(aio, message_of(data, size));
        sending = true;
        nng_ctx_send(context, aio);
    }
    void go_on() override {
        check(nng_aio_result(aio));
        if (sending) {
            sending = false;
            nng_ctx_recv(context, aio);
            return;
        }
        nng_msg_free(nng_aio_get_msg(aio));
        window->answered();
        begin();
    }
    const void* data = nullptr;
    std::size_t size = 0;
    Window* window = nullptr;
};

class Nng : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        if (job.kind == "command") {
            check(nng_pull0_open(&socket_));
            listen();
            receive([this](const char* data, std::size_t) { shared.receipt(static_cast<unsigned char>(data[0])); });
        }
        check(nng_rep0_open(&socket_));
        if (job.kind == "async") {
            for (unsigned n = 0; n < job.window; ++n) {
                Echo& worker = echoes_.emplace_back();
                worker.make(socket_);
                nng_ctx_recv(worker.context, worker.aio);
            }
            listen();
            rest();
        }
        listen();
        for (nng_msg* message = nullptr;;) {
            check(nng_recvmsg(socket_, &message, 0));
            check(nng_sendmsg(socket_, message, 0));
        }
    }

    void open() override {
        check(nng_pub0_open(&socket_));
        nng_socket_set_int(socket_, NNG_OPT_SENDBUF, 8192);
        listen();
    }
    void publish(const void* data, std::size_t size) override { send(data, size); }

    void connect(unsigned short port, unsigned) override {
        check(job.kind == "command" ? nng_push0_open(&socket_) : nng_req0_open(&socket_));
        dial(port);
    }

    bool call(const void* data, std::size_t size) override {
        send(data, size);
        nng_msg* answer = nullptr;
        check(nng_recvmsg(socket_, &answer, 0));
        nng_msg_free(answer);
        return true;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        for (unsigned n = 0; n < window.size(); ++n) {
            Caller& caller = callers_.emplace_back();
            caller.make(socket_);
            caller.data = data;
            caller.size = size;
            caller.window = &window;
        }
        for (Caller& caller : callers_) caller.begin();
        rest();
    }

    void send(const void* data, std::size_t size) override { check(nng_sendmsg(socket_, message_of(data, size), 0)); }

    void subscribe(unsigned short port) override {
        check(nng_sub0_open(&socket_));
        check(nng_socket_set(socket_, NNG_OPT_SUB_SUBSCRIBE, "", 0));
        nng_socket_set_int(socket_, NNG_OPT_RECVBUF, 8192);
        dial(port);
        usleep(100000);  // a subscription is not acknowledged
        is_ready();
        receive([this](const char* data, std::size_t size) { received(data, size); });
    }

private:
    void listen() {
        nng_listener listener{};
        int port = 0;
        check(nng_listener_create(&listener, socket_, "tcp://127.0.0.1:0"));
        check(nng_listener_start(listener, 0));
        nng_listener_get_int(listener, NNG_OPT_TCP_BOUND_PORT, &port);
        is_open(static_cast<unsigned>(port));
    }
    void dial(unsigned short port) {
        nng_socket_set_size(socket_, NNG_OPT_RECVMAXSZ, 0);
        check(nng_dial(socket_, ("tcp://127.0.0.1:" + std::to_string(port)).c_str(), nullptr, 0));
    }
    template <class Use>
    [[noreturn]] void receive(Use use) {
        for (nng_msg* message = nullptr;;) {
            check(nng_recvmsg(socket_, &message, 0));
            use(static_cast<const char*>(nng_msg_body(message)), nng_msg_len(message));
            nng_msg_free(message);
        }
    }

    nng_socket socket_{};
    std::list<Echo> echoes_;
    std::list<Caller> callers_;
};

}  // namespace

bool takes_part(const Job& job) {
    return job.kind != "multicast" && job.kind != "idle" && !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Nng>(job, shared);
}

}  // namespace bench
