#include "Vorn35/protobuf/Coroutine.h"

namespace Vorn35::typed {

void Run_loop::post(std::function<void()> _function) {
    const std::lock_guard lock(mutex);
    functions.push_back(std::move(_function));
    changed.notify_one();
}

void Run_loop::run() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return ends || !functions.empty(); });
        if (std::exchange(ends, false)) return;
        const std::function<void()> next = std::move(functions.front());
        functions.pop_front();
        lock.unlock();
        next();
        lock.lock();
    }
}

void Run_loop::stop() {
    const std::lock_guard lock(mutex);
    ends = true;
    changed.notify_one();
}

void Scope::spawn(Task<> _task) {
    const auto handle = _task.handle;
    const std::uint64_t number = ++spawned;
    tasks->emplace(number, std::move(_task));
    handle.promise().executor = &executor;
    // What is posted may run after the task has been destroyed, even after the scope.
    const std::weak_ptr<std::map<std::uint64_t, Task<>>> all = tasks;
    handle.promise().on_end = [&to = executor, all, number, handle] {
        if (handle.promise().thrown) std::terminate();
        // Later, since the coroutine is still at its end.
        to.post([all, number] {
            if (const auto list = all.lock()) list->erase(number);
        });
    };
    executor.post([all, number, handle] {
        if (const auto list = all.lock(); list && list->contains(number)) handle.resume();
    });
}

}  // namespace Vorn35::typed
