// call_service NAME PORT: answers calls of code 1 with their payload until its input ends. Says "ready" when it
// listens.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Vorn35/Vorn35.h"

namespace {

struct Echo : Vorn35::Stub_call {
    Echo() : Stub_call(1, 1024) {}
    Vorn35::Error on_call(Vorn35::Addr, const void* _in, Vorn35::Pksize _size, void* _out_, Vorn35::Pksize* _out_size_,
                          double, double) override {
        *_out_size_ = _size < *_out_size_ ? _size : *_out_size_;
        if (*_out_size_ != 0) std::memcpy(_out_, _in, *_out_size_);
        return 0;
    }
};

}  // namespace

int main(int, char** _arguments) {
    Vorn35::initialize();
    int result = 0;
    Echo echo;
    auto port = static_cast<Vorn35::Port>(std::atoi(_arguments[2]));
    result = echo.start(_arguments[1], &port);
    std::printf(result == 0 ? "ready\n" : "failed %d\n", result);
    std::fflush(stdout);
    while (result == 0 && std::getchar() != EOF) {
    }
    Vorn35::finalize();
    return result;
}
