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
    void add(const char* run, std::size_t run_size, std::size_t count) {
        if (bytes.size() < size + run_size) bytes.resize(size + run_size);
        std::memcpy(bytes.data() + size, run, run_size);
        size += run_size;
        frames += count;
    }
    void add_message(const void* data, std::size_t data_size) {
        const Frame_header header{static_cast<std::uint32_t>(data_size), {}};
        add(reinterpret_cast<const char*>(&header), sizeof header, 0);
        add(static_cast<const char*>(data), data_size, 1);
    }
    void clear() { size = frames = 0; }

    std::vector<char> bytes;  ///< May be longer than what is in it.
    std::size_t size = 0;
    std::size_t frames = 0;
};

class Hand_over {
public:
    /// Puts the frames behind those that wait, without a copy if none does. The batch is empty afterwards.
    void put(Batch* batch) {
        bool was_empty = false;
        {
            const std::lock_guard lock(mutex_);
            was_empty = batch_.frames == 0;
            if (was_empty) {
                std::swap(*batch, batch_);
            } else {
                batch_.add(batch->bytes.data(), batch->size, batch->frames);
            }
        }
        batch->clear();
        if (was_empty) filled_.notify_one();
    }

    /// Waits for something and takes all of it. The old contents of the batch are dropped, its memory is used again.
    void take(Batch* batch) {
        batch->clear();
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
                if (!write_all(fd, batch.bytes.data(), batch.size)) return;
            }
        }).detach();
        std::thread([this, fd] {
            Frame_reader reader;
            for (Batch batch;;) {
                const bool goes_on = reader.read(fd, [&](const char* run, std::size_t size, std::size_t frames) {
                    if (reader.give_away(&batch.bytes)) {
                        batch.size = size;
                        batch.frames = frames;
                    } else {
                        batch.add(run, size, frames);
                    }
                });
                if (!goes_on) return;
                in.put(&batch);
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
            end.out.put(&batch);
        }
    }

    void connect(unsigned short port, unsigned) override { end_ = std::make_unique<End>(connect_tcp(port)); }

    bool call(const void* data, std::size_t size) override {
        request_.add_message(data, size);
        end_->out.put(&request_);
        end_->in.take(&answer_);
        return true;
    }

    void call_many(const void* data, std::size_t size, Window& window) override {
        while (!window.is_over()) {
            while (window.may_send()) {
                request_.add_message(data, size);
                end_->out.put(&request_);
            }
            end_->in.take(&answer_);
            for (std::size_t n = answer_.frames; n > 0; --n) window.answered();
        }
    }

private:
    std::unique_ptr<End> end_;
    Batch request_;
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
