/// @file
/// The mark of what the shared library shows. The same header serves those who build the library, static or
/// shared, and those who use it: nothing needs to be defined.
#pragma once

#if defined(__GNUC__)
/// In front of the name of a class, or of a function: visible, while all that is not marked stays hidden.
#define VORN35_API __attribute__((visibility("default")))
#else
#define VORN35_API
#endif
