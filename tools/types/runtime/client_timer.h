/// @file
/// The one thread that ends delegated requests without an answer, and looks after the connections of clients.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "Vorn35/protobuf/Client.h"

namespace Vorn35::typed {

/// Exists while a client of the process is started.
class Client_timer {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// The timer of the process, new if there is none.
    static std::shared_ptr<Client_timer> get();

    Client_timer() : thread([this] { run(); }) {}
    Client_timer(const Client_timer&) = delete;
    Client_timer& operator=(const Client_timer&) = delete;
    /// Not on its own thread.
    ~Client_timer();

    /// Runs `on_time` of the client at this time, if not before. Enters the client.
    void wake(Client* _client, Time _at);
    /// After it returns, `on_time` of the client does not run and will not. Not on its own thread.
    void remove(Client* _client);
    bool is_this_thread() const { return std::this_thread::get_id() == thread.get_id(); }

private:
    void run();

    std::mutex mutex;  ///< Guards the rest but `thread`. A leaf.
    std::condition_variable changed;
    std::map<Client*, Time> clients;
    Client* running = nullptr;
    bool ends = false;
    std::thread thread;  ///< Last, since it uses the others.
};

}  // namespace Vorn35::typed
