/// The kinds of member that are not built yet: their tables stay empty.

#include "Vorn/SDK/Stub/_Stub.h"

namespace Vorn35 {

void _Stub::adapter_signal(Token _token) {
    adapter_err_return(_token);
}
void _Stub::adapter_signal_cancel(Token) {}
void _Stub::adapter_event_connect(Token _token) {
    adapter_err_return(_token);
}
void _Stub::adapter_event_shutdown(Token) {}
void _Stub::adapter_information_connect(Token _token) {
    adapter_err_return(_token);
}
void _Stub::adapter_information_shutdown(Token) {}
void _Stub::adapter_command_connect(Token _token) {
    adapter_err_return(_token);
}
void _Stub::adapter_command_shutdown(Token) {}
void _Stub::adapter_command_sync(Token) {}
void _Stub::shutdown_events(Addr, Token) {}
void _Stub::shutdown_commands(Addr, Token) {}
void _Stub::shutdown_informations(Addr, Token) {}
void _Stub::release_events() {}
void _Stub::release_commands() {}
void _Stub::release_informations() {}

}  // namespace Vorn35
