/// @file
/// Both interface sets on one `Vorn35::Proxy`.
///
/// `sample` is `example` with its own names and without what stands between the marks "Delegate form": a
/// change of the one is a change of both, for both ends. A test compares them.
#pragma once

#include "Vorn35_Proxy_example.h"
#include "Vorn35_Proxy_sample.h"

class Proxy_interface : public virtual Proxy_example_datagram,
                        public virtual Proxy_example_call,
                        public virtual Proxy_example_command,
                        public virtual Proxy_example_event,
                        public virtual Proxy_example_information,
                        public virtual Proxy_example_signal,
                        public virtual Proxy_sample_datagram,
                        public virtual Proxy_sample_call,
                        public virtual Proxy_sample_command,
                        public virtual Proxy_sample_event,
                        public virtual Proxy_sample_information,
                        public virtual Proxy_sample_signal {};
