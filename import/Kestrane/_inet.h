/// @file
/// IPv4 addresses as text.
#pragma once

#include <cstdint>

namespace Kestrane {

/// @return the address in network byte order; 255.255.255.255 for a text that names none, or null.
std::uint32_t inet_addr(const char* _text_);

/// @return the text, in a buffer of the C library that the next call overwrites.
const char* inet_ntoa(std::uint32_t _ip);

}  // namespace Kestrane
