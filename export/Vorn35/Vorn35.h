/// @file
/// The whole class interface of Vorn35.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/Proxy_call.h"
#include "Vorn35/Proxy_command.h"
#include "Vorn35/Proxy_datagram.h"
#include "Vorn35/Proxy_event.h"
#include "Vorn35/Proxy_information.h"
#include "Vorn35/Proxy_signal.h"
#include "Vorn35/Stub.h"
#include "Vorn35/Stub_call.h"
#include "Vorn35/Stub_command.h"
#include "Vorn35/Stub_datagram.h"
#include "Vorn35/Stub_event.h"
#include "Vorn35/Stub_information.h"
#include "Vorn35/Stub_signal.h"
#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_serial_parallel.h"
#include "Vorn35/vorn_typedef.h"
#include "Vorn35/vorn_utility.h"
