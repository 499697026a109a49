/// @file
/// Cap'n Proto RPC: one thread a process, as its event loop is made for.

#include <capnp/ez-rpc.h>

#include <limits>
#include <string>

#include "bench.capnp.h"
#include "harness/peer.h"

namespace bench {

namespace {

// A message above 64 MiB in total would be refused otherwise.
capnp::ReaderOptions no_limit() {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = std::numeric_limits<std::uint64_t>::max();
    return options;
}

class Echo final : public wire::Echo::Server {
    kj::Promise<void> call(CallContext context) override {
        context.getResults().setData(context.getParams().getData());
        return kj::READY_NOW;
    }
};

class Capnp : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        capnp::EzRpcServer server(kj::heap<Echo>(), "127.0.0.1", 0, no_limit());
        is_open(server.getPort().wait(server.getWaitScope()));
        kj::NEVER_DONE.wait(server.getWaitScope());
    }

    void connect(unsigned short port, unsigned) override {
        client_ = std::make_unique<capnp::EzRpcClient>("127.0.0.1", port, no_limit());
        echo_ = std::make_unique<wire::Echo::Client>(client_->getMain<wire::Echo>());
        call("", 0);
    }

    bool call(const void* data, std::size_t size) override {
        const auto answer = request(data, size).send().wait(client_->getWaitScope());
        return answer.getData().size() == size;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        kj::Vector<kj::Promise<void>> callers;
        for (unsigned n = 0; n < window.size(); ++n) callers.add(go_on(data, size, window));
        kj::joinPromises(callers.releaseAsArray()).wait(client_->getWaitScope());
    }

private:
    capnp::Request<wire::Echo::CallParams, wire::Echo::CallResults> request(const void* data, std::size_t size) {
        auto made = echo_->callRequest(capnp::MessageSize{size / 8 + 16, 0});
        made.setData(kj::arrayPtr(static_cast<const kj::byte*>(data), size));
        return made;
    }
    kj::Promise<void> go_on(const void* data, std::size_t size, Window& window) {
        if (!window.may_send()) return kj::READY_NOW;
        return request(data, size).send().then([this, data, size, &window](auto) {
            window.answered();
            return go_on(data, size, window);
        });
    }

    std::unique_ptr<capnp::EzRpcClient> client_;
    std::unique_ptr<wire::Echo::Client> echo_;
};

}  // namespace

bool takes_part(const Job& job) {
    return (job.kind == "call" || job.kind == "async" || job.kind == "first") && !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Capnp>(job, shared);
}

}  // namespace bench
