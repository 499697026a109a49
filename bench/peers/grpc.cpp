/// @file
/// gRPC without encryption: the synchronous interface for blocking calls, the callback interface for the rest.

#include <grpcpp/grpcpp.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "bench.grpc.pb.h"
#include "harness/peer.h"

namespace bench {

namespace {

using wire::Bytes;

grpc::Status answer(const Bytes* in, Bytes* out) {
    out->set_data(in->data());
    return grpc::Status::OK;
}

/// Answers on the server's own thread that read the request.
class Echo : public wire::Echo::CallbackService {
    grpc::ServerUnaryReactor* Call(grpc::CallbackServerContext* context, const Bytes* in, Bytes* out) override {
        grpc::ServerUnaryReactor* const reactor = context->DefaultReactor();
        reactor->Finish(answer(in, out));
        return reactor;
    }
};

/// A pool of threads, for blocking calls and streams.
class Blocking : public wire::Echo::Service {
public:
    Blocking(const Job& job, Shared& shared) : job_(job), shared_(shared) {}

    void publish(const Bytes& message) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return subscribers_.size() == job_.clients; });
        for (auto* subscriber : subscribers_) subscriber->Write(message);
    }

private:
    grpc::Status Call(grpc::ServerContext*, const Bytes* in, Bytes* out) override { return answer(in, out); }
    grpc::Status Send(grpc::ServerContext*, grpc::ServerReader<Bytes>* reader, Bytes*) override {
        for (Bytes message; reader->Read(&message);) {
            shared_.receipt(static_cast<unsigned char>(message.data()[0]));
        }
        return grpc::Status::OK;
    }
    grpc::Status Subscribe(grpc::ServerContext*, const Bytes*, grpc::ServerWriter<Bytes>* writer) override {
        {
            const std::lock_guard lock(mutex_);
            subscribers_.push_back(writer);
        }
        writer->SendInitialMetadata();
        changed_.notify_all();
        rest();
    }

    const Job& job_;
    Shared& shared_;
    std::mutex mutex_;  ///< Guards `subscribers_`.
    std::condition_variable changed_;
    std::vector<grpc::ServerWriter<Bytes>*> subscribers_;
};

class Grpc : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        if (job.kind == "async") {
            listen(new Echo);
        } else {
            open();
        }
        rest();
    }
    void open() override { listen(publisher_ = new Blocking(job, shared)); }
    void publish(const void* data, std::size_t size) override {
        message_.set_data(data, size);
        publisher_->publish(message_);
    }

    void connect(unsigned short port, unsigned) override {
        channel(port);
        if (job.kind == "command") writer_ = stub_->Send(new grpc::ClientContext, &answer_);
    }
    bool call(const void* data, std::size_t size) override {
        grpc::ClientContext context;
        message_.set_data(data, size);
        return stub_->Call(&context, message_, &answer_).ok();
    }
    void call_many(const void* data, std::size_t size, Window& window) override {
        message_.set_data(data, size);
        go_on(window);
        rest();
    }
    void send(const void* data, std::size_t size) override {
        message_.set_data(data, size);
        writer_->Write(message_);
    }
    void subscribe(unsigned short port) override {
        channel(port);
        grpc::ClientContext context;
        const auto reader = stub_->Subscribe(&context, message_);
        reader->WaitForInitialMetadata();
        is_ready();
        while (reader->Read(&message_)) received(message_.data().data(), message_.data().size());
        rest();
    }

private:
    struct Call {
        grpc::ClientContext context;
        Bytes answer;
    };
    void go_on(Window& window) {
        while (window.may_send()) {
            auto* const call = new Call;
            stub_->async()->Call(&call->context, &message_, &call->answer, [this, call, &window](grpc::Status status) {
                status.ok() ? window.answered() : window.failed();
                delete call;
                go_on(window);
            });
        }
    }

    void listen(grpc::Service* service) {
        grpc::ServerBuilder builder;
        int port = 0;
        builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
        builder.SetMaxReceiveMessageSize(-1);
        builder.RegisterService(service);
        server_ = builder.BuildAndStart();
        is_open(static_cast<unsigned>(port));
    }
    void channel(unsigned short port) {
        grpc::ChannelArguments arguments;
        arguments.SetMaxReceiveMessageSize(-1);
        const auto channel = grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(port),
                                                       grpc::InsecureChannelCredentials(), arguments);
        channel->WaitForConnected(std::chrono::system_clock::now() + std::chrono::seconds(10));
        stub_ = wire::Echo::NewStub(channel);
    }

    std::unique_ptr<grpc::Server> server_;
    Blocking* publisher_ = nullptr;
    std::unique_ptr<wire::Echo::Stub> stub_;
    std::unique_ptr<grpc::ClientWriter<Bytes>> writer_;
    Bytes message_;
    Bytes answer_;
};

}  // namespace

bool takes_part(const Job& job) {
    return job.kind != "multicast" && job.kind != "idle" && !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Grpc>(job, shared);
}

}  // namespace bench
