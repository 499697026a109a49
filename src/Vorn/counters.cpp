#include "Vorn/counters.h"

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/Memory/Ref_memory.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

namespace counters {

Counters g_counters{};
std::atomic<std::int64_t> g_longest_wait{0};
std::atomic<int> g_busy_listeners{0};

namespace {

struct Text {
    const char* name;
    const char* help;
};

constexpr std::array<const char*, c_kinds> c_kind_labels = {
    "kind=\"call\"",     "kind=\"signal\"",    "kind=\"event\"",     "kind=\"information\"", "kind=\"command\"",
    "kind=\"datagram\"", "kind=\"directory\"", "kind=\"heartbeat\"", "kind=\"notice\"",      "kind=\"other\""};

// In the order of the enumerations.

constexpr std::array<Text, c_by_kind> c_by_kind_texts = {{
    {"vorn35_messages_received_total", "Messages received."},
    {"vorn35_received_bytes_total", "Bytes of messages received, headers included."},
    {"vorn35_messages_sent_total", "Messages sent."},
    {"vorn35_sent_bytes_total", "Bytes of messages sent, headers included."},
    {"vorn35_messages_refused_total", "Messages that the full pipe of this process refused."},
    {"vorn35_messages_expired_total", "Messages whose limit had passed when a listener took them."},
    {"vorn35_messages_unaddressed_total", "Messages for which there was no object."},
    {"vorn35_messages_queue_dropped_total", "Messages dropped from the queue of an ordering key."},
    {"vorn35_messages_droppable_dropped_total", "Droppable values that met a connection with something queued."},
    {"vorn35_messages_undelivered_total", "Messages queued for a connection that ended."},
    {"vorn35_messages_unsent_total", "Messages to a peer without a connection, or with one that closes."},
    {"vorn35_messages_send_bound_total", "Messages refused because too many bytes wait on the connection."},
    {"vorn35_messages_malformed_total", "Messages whose payload their receiver could not read."},
}};

constexpr std::array<Text, c_counters> c_counter_texts = {{
    {"vorn35_connects_failed_total", "Attempts to connect that failed, opening exchanges included."},
    {"vorn35_accepts_failed_total", "Connections from clients that failed before they were established."},
    {"vorn35_client_connections_total", "Connections to services that came up, reconnects included."},
    {"vorn35_client_connections_lost_total", "Connections to services that ended without a stop."},
    {"vorn35_service_connections_total", "Connections from clients that came up."},
    {"vorn35_service_connections_lost_total", "Connections from clients that ended."},
    {"vorn35_connections_silent_cut_total", "Connections that were cut because the peer was silent."},
    {"vorn35_waits_timed_out_total", "Waits for an answer that reached their limit."},
    {"vorn35_waits_missed_total", "Waits that reached their limit although the answer had come."},
    {"vorn35_waits_disconnected_total", "Waits that the loss of the connection ended."},
    {"vorn35_answers_late_total", "Answers for which nothing waited any more."},
    {"vorn35_answers_too_large_total", "Answers that did not fit into the caller's buffer."},
    {"vorn35_requests_repeated_total", "Messages dropped as a repeat of the message before."},
    {"vorn35_links_taken_back_total", "Links that were accepted after the connection had gone."},
    {"vorn35_values_unlinked_total", "Events and values that came without a link."},
    {"vorn35_commands_unsent_total", "Commands that were posted without a link."},
    {"vorn35_blocks_taken_total", "Blocks that a stop took away from the writer of a value."},
    {"vorn35_values_cut_total", "Values that a read cut to its buffer."},
    {"vorn35_datagrams_malformed_total", "Datagrams that were malformed."},
    {"vorn35_datagrams_unsent_total", "Datagrams that the kernel refused."},
    {"vorn35_payloads_without_memory_total", "Connections that ended because there was no memory for a payload."},
    {"vorn35_names_contested_total", "Names heard from another address than before."},
    {"vorn35_names_expired_total", "Names that were not heard for eight seconds."},
    {"vorn35_connections_paused_total", "Pauses in reading a connection that was over its receive bounds."},
    {"vorn35_openings_cut_total", "Opening exchanges that were not over after their limit."},
    {"vorn35_accepts_paused_total", "Pauses in accepting connections for want of descriptors."},
}};

void append_gauges(std::vector<Statistic>* _all_) {
    const auto gauge = [_all_](const char* _name, const char* _labels, const char* _help, double _value) {
        _all_->push_back({_name, _labels, _help, true, _value});
    };
    const Relay_gauges relay = relay_gauges();
    constexpr const char* connections = "Connections that stand.";
    gauge("vorn35_connections", "side=\"client\"", connections, static_cast<double>(relay.clients));
    gauge("vorn35_connections", "side=\"service\"", connections, static_cast<double>(relay.services));
    gauge("vorn35_connections_waiting", "", "Connections that are being made, or wait for the next attempt.",
          static_cast<double>(relay.connecting));
    gauge("vorn35_directory_port_bound", "", "1 if the port of the directory of names is bound.",
          relay.directory ? 1 : 0);

    const Shared_hold hold;
    const bool up = gp_processor != nullptr;
    gauge("vorn35_requests_outstanding", "", "Requests whose answer is waited for.",
          up ? static_cast<double>(gp_processor->outstanding()) : 0);
    gauge("vorn35_pipe_messages", "", "Messages that wait for a listener.",
          up ? static_cast<double>(gp_processor->length()) : 0);
    gauge("vorn35_listeners", "", "Threads that run callbacks.",
          up ? static_cast<double>(gp_processor->thread_count) : 0);
    gauge("vorn35_listeners_busy", "", "Of these: inside a dispatch.", g_busy_listeners);
    gauge("vorn35_listener_wait_seconds_max", "", "The longest that a message waited for a listener.",
          static_cast<double>(g_longest_wait) / 1e9);
    const Ref_memory::Use use = lasting_memory().use();
    gauge("vorn35_memory_blocks", "", "Live blocks of memory.", static_cast<double>(use.blocks));
    gauge("vorn35_memory_bytes", "", "Bytes in live blocks of memory.", static_cast<double>(use.bytes));
}

}  // namespace

Kind kind_of(EMsg _type) {
    constexpr std::array<Kind, 8> families = {Kind::other, Kind::other,   Kind::signal,      Kind::call,
                                              Kind::event, Kind::command, Kind::information, Kind::information};
    switch (_type) {
        case EMsg::null:
            return Kind::heartbeat;
        case EMsg::ctrl:
            return Kind::notice;
        case EMsg::ctrl_broadcast:
            return Kind::directory;
        case EMsg::datagram:
            return Kind::datagram;
        default:
            const auto family = static_cast<std::size_t>(_type) / 16;
            return family < families.size() ? families.at(family) : Kind::other;
    }
}

void waited_for_listener(std::int64_t _nanoseconds) {
    std::int64_t longest = g_longest_wait.load(std::memory_order_relaxed);
    while (_nanoseconds > longest && !g_longest_wait.compare_exchange_weak(longest, _nanoseconds)) {
    }
}

}  // namespace counters

void count_malformed_payload(Transaction _kind) {
    using counters::Kind;
    constexpr std::array<Kind, 7> kinds = {Kind::other,   Kind::call,        Kind::signal,  Kind::event,
                                           Kind::command, Kind::information, Kind::datagram};
    counters::count(counters::By_kind::malformed, _kind < kinds.size() ? kinds.at(_kind) : Kind::other);
}

std::vector<Statistic> statistics() {
    using namespace counters;
    std::vector<Statistic> all;
    for (std::size_t what = 0; what < c_by_kind; ++what) {
        for (std::size_t kind = 0; kind < c_kinds; ++kind) {
            all.push_back({c_by_kind_texts[what].name, c_kind_labels[kind], c_by_kind_texts[what].help, false,
                           static_cast<double>(g_counters.by_kind[what].kinds[kind].load(std::memory_order_relaxed))});
        }
    }
    for (std::size_t what = 0; what < c_counters; ++what) {
        all.push_back({c_counter_texts[what].name, "", c_counter_texts[what].help, false,
                       static_cast<double>(g_counters.single[what].load(std::memory_order_relaxed))});
    }
    append_gauges(&all);
    return all;
}

}  // namespace Vorn35
