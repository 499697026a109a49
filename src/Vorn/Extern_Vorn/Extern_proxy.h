/// @file
/// The Proxy of the C interface.
#pragma once

#include "Vorn/Extern_Vorn/extern_vorn.h"
#include "Vorn35/Proxy.h"

namespace Vorn35 {

/// A client that tells a C program of its connection.
class Extern_proxy final : public Proxy {
public:
    Extern_proxy(on_vorn_proxy_connect_ft* _on_connect_, on_vorn_proxy_disconnect_ft* _on_disconnect_)
        : on_connect_(_on_connect_), on_disconnect_(_on_disconnect_) {}

private:
    void on_connect() override { on_connect_(inst_of(this)); }
    void on_disconnect() override { on_disconnect_(inst_of(this)); }

    on_vorn_proxy_connect_ft* const on_connect_;
    on_vorn_proxy_disconnect_ft* const on_disconnect_;
};

}  // namespace Vorn35
