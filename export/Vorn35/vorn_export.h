/// @file
/// Marks what the shared library exports. The same header serves the build of the library, static or shared, and
/// its users: no macro needs to be defined.
#pragma once

#if defined(__GNUC__)
/// Stands before the name of an exported class or function. Everything without the mark is hidden.
#define VORN35_API __attribute__((visibility("default")))
#else
#define VORN35_API
#endif
