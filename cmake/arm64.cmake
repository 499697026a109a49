# Toolchain for arm64 with Debian's cross compiler. Programs run under qemu's user-mode emulation, which CTest and
# gtest_discover_tests call by CMAKE_CROSSCOMPILING_EMULATOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L /usr/aarch64-linux-gnu)

# Packages of the build machine have libraries of the wrong architecture.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Boost's headers serve every architecture, but its neighbours in /usr/include do not: a link to Boost alone.
set(host_headers ${CMAKE_BINARY_DIR}/host_headers)
file(MAKE_DIRECTORY ${host_headers})
file(CREATE_LINK /usr/include/boost ${host_headers}/boost SYMBOLIC)
set(Boost_INCLUDE_DIR ${host_headers} CACHE PATH "Headers of Boost, from the build machine")
set(Boost_NO_BOOST_CMAKE ON)
