/// @file
/// A call that is waited for and loses no answer: the pattern of docs/lost.md.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "Vorn35/Vorn35.h"

/// A blocking call on top of the form with a callback. The callback leaves the answer where the waiter looks before and
/// after it sleeps, and a request or an answer that a full pipe refused is asked for again: the service may run such a
/// call twice.
///
/// Any thread but a callback's own; one call at a time.
class Sure_call : public Vorn35::Proxy_call {
public:
    using Proxy_call::Proxy_call;

    /// @param _limit seconds in all; @param _patience seconds after which the request is repeated.
    /// @return what the service returned, or "VORN_ERR_LOCAL_TIMEOUT_".
    Vorn35::Error call(const void* _data, Vorn35::Pksize _size, std::vector<char>* _answer_, double _limit,
                       double _patience = 0.1) {
        const std::lock_guard one_at_a_time(callers);
        const auto now = [] { return std::chrono::steady_clock::now(); };
        const auto in = [](double _seconds) {
            return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(_seconds));
        };
        const auto end = now() + in(_limit);
        std::unique_lock lock(mutex);
        answered = false;
        while (!answered && now() < end) {
            // Under the lock, so that the callback finds the number written.
            delegate_call(&num, _data, _size, _patience);
            came.wait_until(lock, std::min(end, now() + in(_patience)), [this] { return answered; });
        }
        if (!answered) return Vorn35::VORN_ERR_LOCAL_TIMEOUT_;
        *_answer_ = std::move(answer);
        return err;
    }

private:
    void on_return(Vorn35::Msg_num _num, Vorn35::Error _err, const void* _data, Vorn35::Pksize _size, double) override {
        const std::lock_guard lock(mutex);
        if (_num != num || answered) return;  // the answer to a request that was repeated meanwhile
        answer.assign(static_cast<const char*>(_data), static_cast<const char*>(_data) + _size);
        err = _err;
        answered = true;
        came.notify_one();
    }

    std::mutex callers;
    std::mutex mutex;  ///< Guards the rest; the runtime's locks come after it.
    std::condition_variable came;
    Vorn35::Msg_num num = 0;
    bool answered = false;
    Vorn35::Error err = 0;
    std::vector<char> answer;
};
