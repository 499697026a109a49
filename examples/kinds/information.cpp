#include "Vorn35/Vorn35.h"

struct Gauge : Vorn35::Stub_information {
    Gauge() : Stub_information(1) {}
    void show(double _level) { write(&_level, sizeof _level); }
};

struct Dial : Vorn35::Proxy_information {
    explicit Dial(bool _reliable) : Proxy_information(1), reliable(_reliable) {}
    void on_connect() override {
        Vorn35::Msg_num num = 0;
        delegate_link(&num, reliable, 0.5);  // true: by TCP; false: by multicast
    }
    double level() {
        double newest = 0;
        Vorn35::Pksize size = sizeof newest;
        return read(&newest, &size) == 0 ? newest : -1;  // none has come over this link
    }
    const bool reliable;
};
