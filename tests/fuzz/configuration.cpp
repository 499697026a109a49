// The configuration file: an input is its text. The relay starts with it or refuses it, and a refusal leaves nothing
// behind.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "fuzz/support/input.h"
#include "net/support/runtime.h"

namespace {

using namespace Vorn35;
using fuzz::require;

/// Where the process moves, so that the relay finds the file there. It goes with the process.
struct Place {
    Place() {
        require(::mkdtemp(name.data()) != nullptr, "there is a folder");
        std::filesystem::create_directories(name + "/Config");
        std::filesystem::create_directories(name + "/run");
        std::filesystem::current_path(name + "/run");
    }
    Place(const Place&) = delete;
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(name, ignored);
    }
    std::string name = (std::filesystem::temp_directory_path() / "vorn35-fuzz-XXXXXX").string();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    static Place place;
    static const std::size_t files = net::descriptors();
    static unsigned inputs = 0;
    std::ofstream(place.name + "/Config/vorn.ini", std::ios::binary)
        .write(reinterpret_cast<const char*>(_data), static_cast<std::streamsize>(_size));

    initialize_memory();
    try {
        initialize_inet([](Token, Packet*) -> Error { return 0; });
        require(net::live().blocks == 1, "a relay that starts holds its heartbeat");
        finalize_inet();
    } catch (const std::runtime_error&) {
        // A file that lacks a key, or whose number is none.
    }
    require(net::live() == net::Live{0, 0}, "a configuration leaves nothing behind");
    finalize_memory();
    if (++inputs % 256 == 0) require(net::descriptors() <= files + fuzz::c_fuzzer_files, "descriptors are closed");
    return 0;
}
