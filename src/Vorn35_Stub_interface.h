/// @file
/// Both interface sets on one `Vorn35::Stub`.
#pragma once

#include "Vorn35_Stub_example.h"
#include "Vorn35_Stub_sample.h"

class Stub_interface : public virtual Vorn35::Stub,
                       public virtual Stub_example_call,
                       public virtual Stub_example_signal,
                       public virtual Stub_example_event,
                       public virtual Stub_example_command,
                       public virtual Stub_example_information,
                       public virtual Stub_example_datagram,
                       public virtual Stub_sample_call,
                       public virtual Stub_sample_signal,
                       public virtual Stub_sample_event,
                       public virtual Stub_sample_command,
                       public virtual Stub_sample_information,
                       public virtual Stub_sample_datagram {};
