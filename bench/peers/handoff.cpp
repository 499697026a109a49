/// @file
/// The upper floor: the least that a runtime with our threads can cost. A call goes from its caller to a send worker,
/// over the socket to a receive worker, to a handler, to a send worker, back to a receive worker, to the caller. Each
/// hand-over is one queue that is emptied whole, and nothing else is done.

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "harness/peer.h"
#include "peers/frames.h"

namespace bench {

namespace {

/// Whole frames between two threads.
struct Batch {
    std::vector<char> bytes;
    std::size_t frames = 0;
};

class Hand_over {
public:
    void put(const char* bytes, std::size_t size, std::size_t frames) {
        bool was_empty = false;
        {
            const std::lock_guard lock(mutex_);
            was_empty = batch_.frames == 0;
            batch_.bytes.insert(batch_.bytes.end(), bytes, bytes + size);
            batch_.frames += frames;
        }
        if (was_empty) filled_.notify_one();
    }

    /// Waits for something and takes all of it. The old contents of the batch are dropped, its memory is used again.
    void take(Batch* batch) {
        batch->bytes.clear();
        batch->frames = 0;
        std::unique_lock lock(mutex_);
        filled_.wait(lock, [this] { return batch_.frames != 0; });
        std::swap(*batch, batch_);
    }

private:
    std::mutex mutex_;  ///< Guards `batch_`.
    std::condition_variable filled_;
    Batch batch_;
};

/// One end of a connection, with its two workers.
class End {
public:
    explicit End(int fd) {
        std::thread([this, fd] {
            for (Batch batch;;) {
                out.take(&batch);
                if (!write_all(fd, batch.bytes.data(), batch.bytes.size())) return;
            }
        }).detach();
        std::thread([this, fd] {
            Frame_reader reader;
            while (
                reader.read(fd, [this](const char* run, std::size_t size, std::size_t n) { in.put(run, size, n); })) {
            }
        }).detach();
    }

    Hand_over out;
    Hand_over in;
};

class Handoff : public Peer {
public:
    using Peer::Peer;

    void serve() override {
        unsigned short port = 0;
        const int listener = listen_tcp(&port);
        is_open(port);
        End end(no_delay(accept(listener, nullptr, nullptr)));
        for (Batch batch;;) {  // the handler
            end.in.take(&batch);
            end.out.put(batch.bytes.data(), batch.bytes.size(), batch.frames);
        }
    }

    void connect(unsigned short port, unsigned) override { end_ = std::make_unique<End>(connect_tcp(port)); }

    bool call(const void* data, std::size_t size) override {
        const std::vector<char> frame = make_frame(data, size);
        end_->out.put(frame.data(), frame.size(), 1);
        end_->in.take(&answer_);
        return true;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        const std::vector<char> frame = make_frame(data, size);
        while (!window.is_over()) {
            while (window.may_send()) end_->out.put(frame.data(), frame.size(), 1);
            end_->in.take(&answer_);
            for (std::size_t n = answer_.frames; n > 0; --n) window.answered();
        }
    }

private:
    std::unique_ptr<End> end_;
    Batch answer_;
};

}  // namespace

bool takes_part(const Job& job) {
    return (job.kind == "call" || job.kind == "async") && !job.by_name;
}

std::unique_ptr<Peer> make_peer(const Job& job, Shared& shared) {
    return std::make_unique<Handoff>(job, shared);
}

}  // namespace bench
