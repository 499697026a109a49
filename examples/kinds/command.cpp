#include "Vorn35/Vorn35.h"

struct Valve : Vorn35::Stub_command {
    Valve() : Stub_command(1) { set_history_size(3); }
    unsigned int wishes_of(Vorn35::Addr _client) {
        const Vorn35::History newest_first(see_history(_client, 3));  // stays valid while new values come
        return newest_first.size();
    }
};

struct Handle : Vorn35::Proxy_command {
    Handle() : Proxy_command(1) {}
    void on_connect() override {
        Vorn35::Msg_num num = 0;
        delegate_link(&num, 0.5);
    }
    bool turn_to(int _degrees) { return is_linked() && write(&_degrees, sizeof _degrees) == 0; }
};
