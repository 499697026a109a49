/// @file
/// The lower floor: blocking sockets, one thread a side (one more for each further connection), nothing else. Events
/// are one `send` to each receiver; multicast is a bare `sendto` loop.

#include <thread>

#include "harness/peer.h"
#include "peers/frames.h"

namespace bench {

namespace {

constexpr const char* c_group = "232.198.51.100";

class Raw : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        const int listener = start();
        for (;;) {
            const int fd = no_delay(accept(listener, nullptr, nullptr));
            if (job.kind == "idle") continue;
            std::thread([this, fd] { job.kind == "command" ? collect(fd) : echo(fd); }).detach();
        }
    }

    void open() override {
        if (job.kind == "multicast") {
            open_multicast();
            return;
        }
        const int listener = start();
        while (subscribers_.size() < job.clients) subscribers_.push_back(no_delay(accept(listener, nullptr, nullptr)));
    }

    void publish(const void* data, std::size_t size) override {
        if (job.kind == "multicast") {
            sendto(udp_, data, size, 0, reinterpret_cast<const sockaddr*>(&group_), sizeof group_);
            return;
        }
        const std::vector<char>& frame = make_frame(data, size, &frame_);
        for (const int fd : subscribers_) write_all(fd, frame.data(), frame.size());
    }

    void connect(unsigned short port, unsigned index) override { fd_ = connect_tcp(port, index); }

    bool call(const void* data, std::size_t size) override {
        const std::vector<char>& frame = make_frame(data, size, &frame_);
        return write_all(fd_, frame.data(), frame.size()) && reader_.read(fd_, [](auto...) {});
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        const std::vector<char>& frame = make_frame(data, size, &frame_);
        std::vector<char> batch;
        while (!window.is_over()) {
            batch.clear();
            while (window.may_send()) batch.insert(batch.end(), frame.begin(), frame.end());
            write_all(fd_, batch.data(), batch.size());
            reader_.read(fd_, [&](const char*, std::size_t, std::size_t frames) {
                for (; frames > 0; --frames) window.answered();
            });
        }
    }

    void send(const void* data, std::size_t size) override {
        const std::vector<char>& frame = make_frame(data, size, &frame_);
        write_all(fd_, frame.data(), frame.size());
    }

    void subscribe(unsigned short port) override {
        if (job.kind == "multicast") {
            listen_to_group(port);
            return;
        }
        fd_ = connect_tcp(port);
        is_ready();
        while (each_frame(fd_, [this](const char* data, std::size_t size) { received(data, size); })) {
        }
    }

private:
    int start() {
        unsigned short port = 0;
        const int listener = listen_tcp(&port);
        is_open(port);
        return listener;
    }

    static void echo(int fd) {
        Frame_reader reader;
        while (reader.read(fd, [&](const char* run, std::size_t size, std::size_t) { write_all(fd, run, size); })) {
        }
    }

    void collect(int fd) {
        Frame_reader reader;
        while (each_frame(fd, reader, [this](const char* data, std::size_t) {
            shared.receipt(static_cast<unsigned char>(data[0]));
        })) {
        }
    }

    template <class Use>
    bool each_frame(int fd, Use use) {
        return each_frame(fd, reader_, use);
    }
    template <class Use>
    static bool each_frame(int fd, Frame_reader& reader, Use use) {
        return reader.read(fd, [&](const char* run, std::size_t size, std::size_t) {
            for (const char* at = run; at < run + size;) {
                Frame_header header{};
                std::memcpy(&header, at, sizeof header);
                use(at + sizeof header, header.size);
                at += sizeof header + header.size;
            }
        });
    }

    void open_multicast() {
        udp_ = socket(AF_INET, SOCK_DGRAM, 0);
        group_ = loopback(9846);
        inet_pton(AF_INET, c_group, &group_.sin_addr);
        is_open(9846);
    }

    void listen_to_group(unsigned short port) {
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        const int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address = loopback(port);
        ip_mreqn group{};
        inet_pton(AF_INET, c_group, &group.imr_multiaddr);
        address.sin_addr = group.imr_multiaddr;
        if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
        inet_pton(AF_INET, "198.51.100.1", &group.imr_address);
        if (setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group) != 0) std::abort();
        is_ready();
        char buffer[65536];
        for (ssize_t size = 0; (size = recv(fd, buffer, sizeof buffer, 0)) >= 0;) {
            received(buffer, static_cast<std::size_t>(size));
        }
    }

    int fd_ = -1;
    std::vector<char> frame_;
    Frame_reader reader_;
    std::vector<int> subscribers_;
    int udp_ = -1;
    sockaddr_in group_{};
};

}  // namespace

bool takes_part(const Job& job) {
    return !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Raw>(job, shared);
}

}  // namespace bench
