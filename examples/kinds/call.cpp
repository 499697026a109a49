#include <cstring>

#include "Vorn35/Vorn35.h"

struct Halves : Vorn35::Stub_call {
    Halves() : Stub_call(1, sizeof(double)) {}  // code 1, and the most bytes of an answer
    Vorn35::Error on_call(Vorn35::Addr, const void* _in, Vorn35::Pksize _in_size, void* _out_,
                          Vorn35::Pksize* _out_size_, double, double) override {
        double value = 0;
        if (_in_size != sizeof value) return 1;  // an error of its own
        std::memcpy(&value, _in, sizeof value);
        value /= 2;
        std::memcpy(_out_, &value, *_out_size_ = sizeof value);
        return 0;
    }
};

Vorn35::Error half(Vorn35::Proxy_call& _client, double* _value_) {
    Vorn35::Pksize size = sizeof *_value_;
    return _client.await_return(_client.async_call(_value_, sizeof *_value_, 0.5), _value_, &size, nullptr);
}
