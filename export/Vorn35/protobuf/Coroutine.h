/// @file
/// Coroutines over the typed layer: `Task`, the `Scope` that owns them, and the `Executor` that resumes them.
#pragma once

#include <condition_variable>
#include <coroutine>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "Vorn35/protobuf/Message.h"

namespace Vorn35::typed {

/// Where coroutines are resumed: give an adapter of your event loop, or a `Run_loop`.
class Executor {
public:
    Executor() = default;
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;
    virtual ~Executor() = default;
    /// Runs the function later, one function at a time, never inside `post`. Called on any thread, with a lock of the typed
    /// layer held.
    virtual void post(std::function<void()> _function) = 0;
};

/// An executor whose functions run inside `run`.
class Run_loop : public Executor {
public:
    void post(std::function<void()> _function) override;
    /// Runs functions on the calling thread until `stop`.
    void run();
    /// Ends `run` after the function that runs. Any thread.
    void stop();

private:
    std::mutex mutex;  ///< Guards the rest.
    std::condition_variable changed;
    std::deque<std::function<void()>> functions;
    bool ends = false;
};

/// @cond parts of the classes below
/// What the promises of all tasks share.
class Promise_base {
public:
    std::suspend_always initial_suspend() noexcept { return {}; }
    auto final_suspend() noexcept {
        struct Final {
            bool await_ready() noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<>) noexcept {
                if (base.on_end) base.on_end();
                return base.continuation ? base.continuation : std::noop_coroutine();
            }
            void await_resume() noexcept {}
            Promise_base& base;
        };
        return Final{*this};
    }
    void unhandled_exception() { thrown = std::current_exception(); }

    Executor* executor = nullptr;          ///< Of the scope.
    std::coroutine_handle<> continuation;  ///< Waits for this task.
    std::function<void()> on_end;          ///< Of the task of a scope.
    std::exception_ptr thrown;
};

/// Holds what a task returns.
template <class T>
class Promise_of : public Promise_base {
public:
    void return_value(T _value) { value = std::move(_value); }
    T take() {
        if (thrown) std::rethrow_exception(thrown);
        return std::move(*value);
    }

private:
    std::optional<T> value;
};
template <>
class Promise_of<void> : public Promise_base {
public:
    void return_void() {}
    void take() const {
        if (thrown) std::rethrow_exception(thrown);
    }
};
/// @endcond

/// A coroutine. It begins when a `Scope` spawns it or another task awaits it, and ends with its `Task` object.
///
/// @code
/// Vorn35::typed::Task<> watch(Thermometer_client& _client) {
///     const auto answer = co_await _client.read.co_call(query);
///     if (answer) print(answer->degrees());
/// }
/// @endcode
template <class T = void>
class [[nodiscard]] Task {
public:
    /// As the language asks for it.
    struct promise_type : Promise_of<T> {
        /// The task of this promise.
        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
    };

    /// Takes the coroutine over.
    Task(Task&& _other) noexcept : handle(std::exchange(_other.handle, nullptr)) {}
    Task& operator=(Task&&) = delete;
    /// Destroys the coroutine wherever it waits, which cancels the call that it awaits.
    ~Task() {
        if (handle) handle.destroy();
    }

    /// Always waits.
    bool await_ready() const noexcept { return false; }
    /// Begins the task, on the executor of the task that awaits it.
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> _waiter) noexcept {
        handle.promise().executor = _waiter.promise().executor;
        handle.promise().continuation = _waiter;
        return handle;
    }
    /// What the task returned or threw.
    T await_resume() { return handle.promise().take(); }

private:
    friend class Scope;
    explicit Task(std::coroutine_handle<promise_type> _handle) : handle(_handle) {}
    std::coroutine_handle<promise_type> handle;
};

/// Owns tasks. Its end destroys those that have not ended: their calls are cancelled, and nothing of them resumes later.
///
/// Use and destroy it on the thread of the executor, or while the executor runs nothing. It must end before the clients that
/// its tasks use, and before the executor. A task that throws ends the program.
///
/// @code
/// Vorn35::typed::Run_loop loop;
/// Vorn35::typed::Scope scope(loop);
/// scope.spawn(watch(client));
/// loop.run();
/// @endcode
class Scope {
public:
    /// Tasks run on this executor.
    explicit Scope(Executor& _executor) : executor(_executor) {}
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() = default;

    /// Takes a task and begins it on the executor.
    void spawn(Task<> _task);
    /// Destroys all tasks. Not from one of them.
    void cancel() { tasks->clear(); }
    /// Number of tasks that have not ended.
    std::size_t size() const { return tasks->size(); }

private:
    Executor& executor;
    /// Shared with what is posted, so that it finds out that the scope has ended.
    std::shared_ptr<std::map<std::uint64_t, Task<>>> tasks = std::make_shared<std::map<std::uint64_t, Task<>>>();
    std::uint64_t spawned = 0;  ///< Each task has a number of its own.
};

class Requests;

/// A delegated request, to cancel it. Copies name the same request.
class Request_handle {
public:
    Request_handle() = default;
    /// @param _requests of the client; the others name one of them.
    Request_handle(std::weak_ptr<Requests> _requests, std::uint64_t _key, std::uint32_t _number)
        : requests(std::move(_requests)), key(_key), number(_number) {}
    /// Gives the request up, and lets the service know. Any thread; also after the client has ended.
    /// @return true: the callback has not begun and will not.
    bool cancel() const;

private:
    std::weak_ptr<Requests> requests;
    std::uint64_t key = 0;
    std::uint32_t number = 0;
};

/// What waits for the answer of a delegated request.
class Pending {
public:
    Pending() = default;
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;
    virtual ~Pending() = default;
    /// Called at most once: not after a `Request_handle::cancel` that succeeds.
    virtual void finish(Error _error, Bytes _bytes) = 0;
    /// Instead: the request is not fit to be sent.
    virtual void refuse(Failure _failure) = 0;
};

/// What `co_await` waits for. Awaited at once, in a task of a `Scope`, or in any coroutine whose promise has a pointer
/// `executor`.
template <class T>
class [[nodiscard]] Awaitable {
public:
    /// Sends the request.
    using Start = std::function<Request_handle(std::unique_ptr<Pending>)>;
    /// Reads the answer.
    using Read = Result<T> (*)(Error, Bytes);
    /// Nothing is sent yet.
    Awaitable(Start _start, Read _read) : start(std::move(_start)), state(std::make_shared<State>(_read)) {}
    Awaitable(const Awaitable&) = delete;
    Awaitable& operator=(const Awaitable&) = delete;
    /// Cancels the request if its answer has not come.
    ~Awaitable() {
        {
            const std::lock_guard lock(state->mutex);
            state->is_over = true;
        }
        if (!state->result) handle.cancel();
    }

    /// Always waits.
    bool await_ready() const noexcept { return false; }
    /// Sends the request. The executor resumes the coroutine.
    template <class Promise>
    void await_suspend(std::coroutine_handle<Promise> _waiter) {
        state->executor = _waiter.promise().executor;
        state->waiter = _waiter;
        // The answer can come before the handle is stored, but it resumes the coroutine on this thread, and so later.
        handle = start(std::make_unique<Finish>(state));
    }
    /// The answer.
    Result<T> await_resume() { return std::move(*state->result); }

private:
    /// @cond private
    struct State {
        explicit State(Read _read) : read(_read) {}
        const Read read;
        Executor* executor = nullptr;
        std::coroutine_handle<> waiter;
        std::mutex mutex;  ///< Guards the rest. Before the locks of the executor.
        bool is_over = false;
        std::optional<Result<T>> result;
    };
    struct Finish : Pending {
        explicit Finish(std::shared_ptr<State> _state) : state(std::move(_state)) {}
        void finish(Error _error, Bytes _bytes) override { end(state->read(_error, _bytes)); }
        void refuse(Failure _failure) override { end(std::move(_failure)); }
        void end(Result<T> _result) {
            const std::lock_guard lock(state->mutex);
            // The executor lives at least as long as the coroutine.
            if (state->is_over) return;
            state->result = std::move(_result);
            state->executor->post([state = state] {
                bool is_over = false;
                {
                    const std::lock_guard lock(state->mutex);
                    is_over = state->is_over;
                }
                if (!is_over) state->waiter.resume();
            });
        }
        const std::shared_ptr<State> state;
    };
    /// @endcond

    const Start start;
    const std::shared_ptr<State> state;
    Request_handle handle;
};

}  // namespace Vorn35::typed
