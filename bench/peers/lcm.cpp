/// @file
/// LCM, which has multicast and nothing else.

#include <lcm/lcm.h>

#include <stdexcept>

#include "harness/peer.h"

namespace bench {

namespace {

constexpr const char* c_url = "udpm://239.255.76.67:7667?ttl=0";
constexpr const char* c_channel = "bench";

class Lcm : public Peer {
public:
    using Peer::Peer;

    void open() override {
        begin();
        is_open(7667);
    }
    void publish(const void* data, std::size_t size) override {
        lcm_publish(lcm_, c_channel, data, static_cast<unsigned>(size));
    }

    void subscribe(unsigned short) override {
        begin();
        lcm_subscribe(
            lcm_, c_channel,
            [](const lcm_recv_buf_t* message, const char*, void* self) {
                auto* const lcm = static_cast<Lcm*>(self);
                lcm->received(message->data, message->data_size);
            },
            this);
        is_ready();
        while (lcm_handle(lcm_) == 0) {
        }
    }

private:
    void begin() {
        lcm_ = lcm_create(c_url);
        if (lcm_ == nullptr) throw std::runtime_error("lcm_create");
    }
    lcm_t* lcm_ = nullptr;
};

}  // namespace

bool takes_part(const Job& job) {
    return job.kind == "multicast";
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Lcm>(job, shared);
}

}  // namespace bench
