#pragma once
/// \file
/// An address that is read while another thread writes it.

#include <Vorn35/vorn_typedef.h>
#include <atomic>
#include <bit>
#include <cstdint>

namespace Vorn35 {

/// Address and port change together. Stored as one word: `Addr` is aligned to its halves only, and some compilers implement
/// `std::atomic<Addr>` by a call into another library.
class Atomic_addr {
public:
    Atomic_addr& operator=(Addr _addr) {
        word = std::bit_cast<std::uint64_t>(Whole{_addr.ip, _addr.port, 0});
        return *this;
    }
    operator Addr() const {
        const auto whole = std::bit_cast<Whole>(word.load());
        return {whole.ip, whole.port};
    }

private:
    struct Whole {
        IP ip;
        Port port;
        std::uint16_t unused;  ///< A word without padding, whose bits are all defined.
    };
    static_assert(sizeof(Whole) == sizeof(std::uint64_t));

    std::atomic<std::uint64_t> word{0};
};

}  // namespace Vorn35
