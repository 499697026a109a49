/// The kinds of member that are not built yet: their tables stay empty.

#include "Vorn/SDK/Proxy/_Proxy.h"

namespace Vorn35 {

void _Proxy::adapter_datagram(Token) {}
void _Proxy::adapter_delegate_signal_return(Token) {}
void _Proxy::adapter_event_disconnect(Token) {}
void _Proxy::adapter_event(Token) {}
void _Proxy::adapter_event_on_link(Token) {}
void _Proxy::adapter_command_disconnect(Token) {}
void _Proxy::adapter_command_on_link(Token) {}
void _Proxy::adapter_information_disconnect(Token) {}
void _Proxy::adapter_information(Token) {}
void _Proxy::adapter_information_on_link(Token) {}
void _Proxy::disconnect_events(Token) {}
void _Proxy::disconnect_informations(Token) {}
void _Proxy::disconnect_commands(Token) {}
void _Proxy::release_events() {}
void _Proxy::release_commands() {}
void _Proxy::release_informations() {}

}  // namespace Vorn35
