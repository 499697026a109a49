// The configuration file: an input is its text. The relay starts with it or refuses it, and a refusal leaves nothing
// behind.
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "fuzz/fuzz.h"

using namespace Vorn35;
using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    // Where the process moves, so that the relay finds the file there. /run goes with the lab.
    static const bool is_there = [] {
        std::filesystem::create_directories("/run/place/Config");
        std::filesystem::create_directories("/run/place/work");
        std::filesystem::current_path("/run/place/work");
        return true;
    }();
    static const std::size_t files = net::descriptors();
    std::ofstream("/run/place/Config/vorn.ini", std::ios::binary)
        .write(reinterpret_cast<const char*>(_data), static_cast<std::streamsize>(_size));
    initialize_memory();
    try {
        initialize_inet([](Token, Packet*) -> Error { return 0; });
        require(is_there && net::live().blocks == 1, "a relay that starts holds its heartbeat");
        finalize_inet();
    } catch (const std::runtime_error&) {
        // A file that lacks a key, or whose number is none.
    }
    require(net::live() == net::Live{0, 0}, "a configuration leaves nothing behind");
    finalize_memory();
    // Two more are the fuzzer's own.
    require(net::descriptors() <= files + 2, "descriptors are closed");
    return 0;
}
