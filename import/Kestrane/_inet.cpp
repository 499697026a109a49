#include "Kestrane/_inet.h"

#include <arpa/inet.h>

namespace Kestrane {

std::uint32_t inet_addr(const char* _text_) {
    return _text_ != nullptr ? ::inet_addr(_text_) : INADDR_NONE;
}

const char* inet_ntoa(std::uint32_t _ip) {
    return ::inet_ntoa(in_addr{_ip});
}

}  // namespace Kestrane
