/// @file
/// Single parts of the runtime, each by itself. Where a number stands behind a name, so many others of the kind exist:
/// the time should not grow with it.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <deque>
#include <memory>
#include <string>

#include "Kestrane/Nonshared_pipe.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/struct.h"
#include "Vorn35/Vorn35.h"

using namespace Vorn35;

namespace {

constexpr double c_no_end = 1e300;

/// A received message without payload, as the relay makes it.
Token message(EMsg type, Addr source, Addr destination, Msg_code code, Port gate_port) {
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(0, std::chrono::steady_clock::now(), c_no_end);
    pkt->initialize_header(0, 1, type, code, 0);
    pkt->set_src_ip(source.ip);
    pkt->set_src_port(source.port);
    pkt->set_dst_ip(destination.ip);
    pkt->set_dst_port(destination.port);
    pkt->set_client_gate_port(gate_port);
    return token;
}

void block_allocation(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        mm_t block = 0;
        benchmark::DoNotOptimize(gp_memory->eproc_alloc(&block, size));
        gp_memory->proc_free(block);
    }
}
BENCHMARK(block_allocation)->Arg(128)->Arg(1024)->Arg(65536)->Arg(1048576);

void block_allocation_beside(benchmark::State& state) {
    std::deque<mm_t> others(static_cast<std::size_t>(state.range(0)));
    for (mm_t& other : others) gp_memory->eproc_alloc(&other, 128);
    for (auto _ : state) {
        mm_t block = 0;
        benchmark::DoNotOptimize(gp_memory->eproc_alloc(&block, 128));
        gp_memory->proc_free(block);
    }
    for (const mm_t other : others) gp_memory->proc_free(other);
}
BENCHMARK(block_allocation_beside)->Arg(10)->Arg(1000)->Arg(100000);

void pipe_send_and_receive(benchmark::State& state) {
    Kestrane::Nonshared_pipe<Token> pipe(0);
    for (std::int64_t n = 0; n < state.range(0); ++n) benchmark::DoNotOptimize(pipe.eproc_push({}, ~0UL));
    for (auto _ : state) {
        Token token;
        benchmark::DoNotOptimize(pipe.eproc_send({}, ~0UL));
        benchmark::DoNotOptimize(pipe.eproc_receive(&token));
    }
}
BENCHMARK(pipe_send_and_receive)->Arg(0)->Arg(10)->Arg(1000)->Arg(10000);

/// From the pipe to the callback of one of so many members; there are no listener threads but this one.
void dispatch(benchmark::State& state) {
    struct Service : Stub {};
    Service service;
    std::deque<Stub_call> members;
    for (std::int64_t n = 0; n < state.range(0); ++n) members.emplace_back(static_cast<Msg_code>(n + 1), 4, service);
    Port port = 0;
    if (service.start(nullptr, &port) != 0) {
        state.SkipWithError("start");
        return;
    }
    const auto code = static_cast<Msg_code>(state.range(0));
    for (auto _ : state) {
        Token token = message(EMsg::call_cancel, Addr(1, 1), Addr(1, port), code, 1);
        if (gp_processor->apply_process(token) != 0) token.free();
        gp_processor->listener();
    }
    service.stop();
}
BENCHMARK(dispatch)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000);

/// A waiter enters, its answer comes, it leaves, while so many others wait.
void return_table(benchmark::State& state) {
    const Addr server(1, 1);
    const auto key = [&](std::int64_t n) { return return_key_t(server, EMsg::call, 1, static_cast<Msg_num>(n)); };
    std::deque<return_record_t> others(static_cast<std::size_t>(state.range(0)));
    for (std::size_t n = 0; n < others.size(); ++n)
        gp_processor->add_return(key(static_cast<std::int64_t>(n + 2)), &others[n]);
    for (auto _ : state) {
        const auto record = std::make_shared<return_record_t>();
        gp_processor->add_return(key(1), record.get());
        gp_processor->return_processor(message(EMsg::call_return, server, Addr(1, 2), 1, 0));
        gp_processor->del_return(key(1));
        record->token.free();
    }
    for (std::size_t n = 0; n < others.size(); ++n) gp_processor->del_return(key(static_cast<std::int64_t>(n + 2)));
}
BENCHMARK(return_table)->Arg(0)->Arg(10)->Arg(1000)->Arg(10000);

void find_a_name(benchmark::State& state) {
    {
        const Exclusive_hold hold;
        for (std::int64_t n = 0; n < state.range(0); ++n) {
            gp_processor->named_remote_stubes["name" + std::to_string(n)] = {1000000, Addr(1, 1)};
        }
    }
    Addr addr;
    for (auto _ : state) benchmark::DoNotOptimize(get_address("name7", &addr));
    const Exclusive_hold hold;
    gp_processor->named_remote_stubes.clear();
}
BENCHMARK(find_a_name)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

void packet_time(benchmark::State& state) {
    double seconds = 0.001;
    for (auto _ : state) {
        Packet_time time(seconds);
        benchmark::DoNotOptimize(time);
        seconds = time.get_time() + 0.001;
    }
}
BENCHMARK(packet_time);

void packet_stamp(benchmark::State& state) {
    Packet packet;
    packet.initialize_packet(0, std::chrono::steady_clock::now(), 1e9);
    for (auto _ : state) benchmark::DoNotOptimize(packet.update_packet_time_and_return_timeout());
}
BENCHMARK(packet_stamp);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    initialize(0, 0, 0);
    benchmark::RunSpecifiedBenchmarks();
    finalize();
}
