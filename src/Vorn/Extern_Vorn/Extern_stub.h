/// @file
/// The Stub of the C interface.
#pragma once

#include "Vorn/Extern_Vorn/extern_vorn.h"
#include "Vorn35/Stub.h"

namespace Vorn35 {

/// A service that tells a C program of its clients' connections.
class Extern_stub final : public Stub {
public:
    Extern_stub(on_vorn_stub_connect_ft* _on_connect_, on_vorn_stub_disconnect_ft* _on_disconnect_)
        : on_connect_(_on_connect_), on_disconnect_(_on_disconnect_) {}

private:
    void on_connect(Addr _proxy_addr) override { on_connect_(inst_of(this), to_c(_proxy_addr)); }
    void on_disconnect(Addr _proxy_addr) override { on_disconnect_(inst_of(this), to_c(_proxy_addr)); }

    on_vorn_stub_connect_ft* const on_connect_;
    on_vorn_stub_disconnect_ft* const on_disconnect_;
};

}  // namespace Vorn35
