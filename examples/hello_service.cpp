#include <cstdio>
#include <cstring>

#include "Vorn35/Vorn35.h"

// Answers every greeting with one of its own, under code 1.
class Hello : public Vorn35::Stub_call {
public:
    Hello() : Stub_call(1, 64) {}

private:
    Vorn35::Error on_call(Vorn35::Addr, const void* _in_, Vorn35::Pksize _in_size, void* _out_,
                          Vorn35::Pksize* _out_size_, double, double) override {
        std::printf("%.*s\n", static_cast<int>(_in_size), static_cast<const char*>(_in_));
        std::memcpy(_out_, "hello, client", 14);
        *_out_size_ = 14;
        return Vorn35::VORN_ERR_NONE_;
    }
};

int main() {
    Vorn35::initialize();
    Hello hello;
    Vorn35::Port port = 0;  // any
    std::printf("%s\n", Vorn35::get_err_str(hello.start("hello", &port)));
    std::getchar();  // until a key is pressed
    Vorn35::finalize();
}
