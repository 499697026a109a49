/// @file
/// Cyclone DDS: a topic for the calls and one for their answers, answered from the listener of the data; events are
/// reliable, multicast is best effort.

#include <dds/dds.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "bench.h"
#include "harness/peer.h"

namespace bench {

namespace {

using Sample = bench_wire_Bytes;
using On_sample = std::function<void(const Sample&)>;

dds_entity_t check(dds_entity_t entity) {
    if (entity < 0) throw std::runtime_error(dds_strretcode(-entity));
    return entity;
}

class Dds : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        begin();
        if (job.kind == "command") {
            read("calls", [this](const Sample& in) { shared.receipt(in.data._buffer[0]); });
        } else {
            const dds_entity_t answers = write_to("answers");
            read("calls", [answers](const Sample& in) { dds_write(answers, &in); });
        }
        is_open(1);  // there are no ports: everybody finds everybody
        rest();
    }

    void open() override {
        begin();
        out_ = write_to("events");
        is_open(1);
    }
    void publish(const void* data, std::size_t size) override {
        // A reliable writer keeps what it wrote before it knew its reader for no one.
        if (number_ == 0) await_matches(out_, job.clients);
        send(data, size);
    }

    void connect(unsigned short, unsigned) override {
        begin();
        sem_init(&answered_, 0, 0);
        if (job.kind != "command") {
            in_ = read("answers", [this](const Sample& in) { on_answer(in.data._length); });
        }
        out_ = write_to("calls");
        await_matches(out_, 1);
        if (job.kind == "command") return;
        // Both directions have to be known: ask, with nothing, until an answer comes.
        for (int tries = 0; !known_; ++tries) {
            if (tries % 5 == 0) send("", 0);
            usleep(1000);
        }
    }

    bool call(const void* data, std::size_t size) override {
        send(data, size);
        while (sem_wait(&answered_) != 0) {
        }
        return true;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        window_ = &window;
        while (!window.is_over()) {
            while (window.may_send()) send(data, size);
            while (sem_wait(&answered_) != 0) {
            }
        }
    }

    void send(const void* data, std::size_t size) override {
        Sample sample{};
        sample.number = ++number_;
        sample.data._length = sample.data._maximum = static_cast<std::uint32_t>(size);
        sample.data._buffer = const_cast<std::uint8_t*>(static_cast<const std::uint8_t*>(data));
        dds_write(out_, &sample);
    }

    void subscribe(unsigned short) override {
        begin();
        in_ = read("events", [this](const Sample& in) { received(in.data._buffer, in.data._length); });
        dds_subscription_matched_status_t status{};
        while (dds_get_subscription_matched_status(in_, &status) == 0 && status.current_count == 0) usleep(1000);
        is_ready();
        rest();
    }

private:
    void begin() {
        // Whole datagrams instead of Ethernet's, as everything stays on this host. And a writer that is never held
        // back for acknowledgements: a listener that answers holds up the thread that would read them.
        setenv("CYCLONEDDS_URI", R"(<CycloneDDS><Domain>
            <General><MaxMessageSize>65500B</MaxMessageSize><FragmentSize>65000B</FragmentSize></General>
            <Internal><Watermarks><WhcHigh>100MB</WhcHigh><WhcHighInit>100MB</WhcHighInit></Watermarks></Internal>
            </Domain></CycloneDDS>)",
               1);
        participant_ = check(dds_create_participant(DDS_DOMAIN_DEFAULT, nullptr, nullptr));
    }

    dds_entity_t topic(const char* name) {
        return check(dds_create_topic(participant_, &bench_wire_Bytes_desc, name, nullptr, nullptr));
    }
    dds_qos_t* quality() const {
        dds_qos_t* const qos = dds_create_qos();
        const bool reliable = job.kind != "multicast";
        dds_qset_reliability(qos, reliable ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT, DDS_SECS(10));
        dds_qset_history(qos, DDS_HISTORY_KEEP_ALL, 0);
        return qos;
    }
    dds_entity_t write_to(const char* name) {
        return check(dds_create_writer(participant_, topic(name), quality(), nullptr));
    }
    dds_entity_t read(const char* name, On_sample on_sample) {
        on_sample_ = std::move(on_sample);
        dds_listener_t* const listener = dds_create_listener(this);
        dds_lset_data_available(listener, [](dds_entity_t reader, void* self) {
            void* samples[16] = {};
            dds_sample_info_t infos[16];
            for (int count = 0; (count = dds_take(reader, samples, infos, 16, 16)) > 0;) {
                for (int i = 0; i < count; ++i) {
                    if (infos[i].valid_data) static_cast<Dds*>(self)->on_sample_(*static_cast<Sample*>(samples[i]));
                }
                dds_return_loan(reader, samples, count);
                samples[0] = nullptr;
            }
        });
        return check(dds_create_reader(participant_, topic(name), quality(), listener));
    }
    static void await_matches(dds_entity_t writer, std::uint32_t count) {
        dds_publication_matched_status_t status{};
        while (dds_get_publication_matched_status(writer, &status) == 0 && status.current_count < count) usleep(500);
    }
    void on_answer(std::size_t size) {
        if (size == 0) {
            known_ = true;
            return;
        }
        if (Window* const window = window_) window->answered();
        sem_post(&answered_);
    }

    dds_entity_t participant_ = 0;
    dds_entity_t out_ = 0;
    dds_entity_t in_ = 0;
    std::uint64_t number_ = 0;
    On_sample on_sample_;
    sem_t answered_{};
    std::atomic<bool> known_ = false;
    std::atomic<Window*> window_ = nullptr;
};

}  // namespace

bool takes_part(const Job& job) {
    return job.kind != "idle" && (job.kind != "first" || job.by_name);
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Dds>(job, shared);
}

}  // namespace bench
