#!/usr/bin/env bash
# What others get: the names that the shared library shows; strangers' programs in C++ and C on an installation of
# each kind, on the Debian package, and with our source inside of theirs; the lines of the README as they stand.
#
#   package.sh              the test; BIN is the folder of programs of a build with both kinds of library
#   package.sh symbols LIB  prints the list of names that tests/package/symbols.txt keeps
set -Eeuo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
consumer=$root/tests/package/consumer

# Ours only: what the standard library puts into each program is the compiler's matter.
symbols() {  # the library
    nm -D --defined-only -C "$1" | cut -d' ' -f3- | LC_ALL=C sort -u |
        grep -E '^(((non-)?virtual thunk to|(vtable|VTT|typeinfo|typeinfo name) for) )?Vorn35::|^vorn_'
}
if [[ ${1:-} == symbols ]]; then
    symbols "$2"
    exit
fi

build=$(dirname "$BIN")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'echo "package: line $LINENO: $BASH_COMMAND"' ERR
# The lines of the README leave this to CMake, which would take make; our tree does not need that.
export CMAKE_GENERATOR=Ninja

say() { echo "package: $*"; }

# Runs a command whose output matters only if it fails.
quietly() {
    if ! "$@" >"$work/log" 2>&1; then
        cat "$work/log"
        say "failed: $*"
        exit 1
    fi
}

# A program of the consumer says what it must say.
works() {  # program
    local said expected="VORN_ERR_NOT_INITIALIZE_ 198.51.100.7 0 1"
    said=$("$1")
    [[ $said == "$expected" ]] || { say "${1##*/}: '$said' and not '$expected'"; exit 1; }
}

# Whether a program needs the shared library, by the name that holds for all versions it may be replaced with.
needs_shared() { [[ $(readelf -d "$1") == *NEEDED*"[libvorn.so.$soversion]"* ]]; }
is_static() { [[ $(readelf -d "$1") != *libvorn* ]]; }

install_only() {  # prefix, component...
    local prefix=$1 component
    for component in "${@:2}"; do
        quietly cmake --install "$build" --prefix "$prefix" --component "$component"
    done
}

configure_consumer() {  # folder, options...
    quietly cmake -S "$consumer" -B "$1" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 "${@:2}"
}

with_pkg_config() {  # prefix, folder for the programs, options of pkg-config
    local flags
    flags=$(PKG_CONFIG_PATH=$1/lib/pkgconfig pkg-config --cflags --libs "${@:3}" vorn35)
    mkdir -p "$2"
    # shellcheck disable=SC2086  # the flags are words
    c++ -std=c++20 "$consumer/consumer.cpp" -o "$2/cpp" $flags "-Wl,-rpath,$1/lib"
    # shellcheck disable=SC2086
    cc -std=c11 "$consumer/consumer.c" -o "$2/c" $flags "-Wl,-rpath,$1/lib"
    works "$2/cpp"
    works "$2/c"
}

# The code of one section of the README, block by block: of a language, the n-th.
block() {  # language, number
    awk -v language="$1" -v wanted="$2" '
        /^## / { here = /^## Use it in your project$/ }
        here && $0 == "```" language { copying = ++seen == wanted; next }
        /^```$/ { copying = 0 }
        copying' "$root/README.md"
}

say "names"
library=$build/libvorn.so
soversion=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[libvorn\.so\.\(.*\)\]/\1/p')
version=$(basename "$(readlink -f "$library")" | sed 's/^libvorn\.so\.//')
[[ -n $soversion && $version == "$soversion".* ]]
if ! diff "$root/tests/package/symbols.txt" <(symbols "$library"); then
    say "the public names have changed; if that is meant:"
    say "    bash tests/scenarios/package.sh symbols $library > tests/package/symbols.txt"
    exit 1
fi

for kind in static shared; do
    say "$kind: find_package, pkg-config"
    install_only "$work/$kind" common "$kind"
    configure_consumer "$work/find_$kind" -DCMAKE_PREFIX_PATH="$work/$kind"
    quietly cmake --build "$work/find_$kind"
    works "$work/find_$kind/cpp_vorn"
    works "$work/find_$kind/c_vorn"
    options=()
    [[ $kind == shared ]] || options=(--static)
    with_pkg_config "$work/$kind" "$work/pkg_$kind" "${options[@]}"
done
for way in find_%/cpp_vorn find_%/c_vorn pkg_%/cpp pkg_%/c; do
    is_static "$work/${way/\%/static}"
    needs_shared "$work/${way/\%/shared}"
done

say "README"
mkdir -p "$work/home" "$work/here/build" "$work/app"
ln -s "$build" "$work/here/build/release"
cp "$consumer/consumer.cpp" "$work/app/app.cpp"
cp "$consumer/consumer.c" "$work/app/app.c"
block cmake 1 >"$work/app/CMakeLists.txt"
run_block() {  # folder, number
    block sh "$2" >"$work/lines"
    [[ -s $work/lines ]]
    (cd "$1" && export HOME=$work/home && quietly bash -euo pipefail "$work/lines")
}
run_block "$work/here" 1
run_block "$work/app" 3
works "$work/app/build/app"
works "$work/app/build/app_in_c"
is_static "$work/app/build/app"
quietly cmake -S "$work/app" -B "$work/app/build" -DBUILD_SHARED_LIBS=ON
quietly cmake --build "$work/app/build"
works "$work/app/build/app"
needs_shared "$work/app/build/app"
# Its second half needs what its first half exports, as in the shell of a reader.
(block sh 4; block sh 5) >"$work/lines"
[[ $(cd "$work/app" && HOME=$work/home bash -euo pipefail "$work/lines" 2>"$work/log" | uniq -c) == *" 3 "*" 0 1" ]] ||
    { cat "$work/log"; exit 1; }

if command -v dpkg-deb >/dev/null; then
    say "Debian package"
    run_block "$work/here" 2
    debian=$(echo "$work"/here/libvorn35_*.deb)
    [[ $(basename "$debian") == "libvorn35_${version}_$(dpkg --print-architecture).deb" ]]
    [[ $(dpkg-deb -f "$debian" Package Version) == $'Package: libvorn35\nVersion: '"$version" ]]
    depends=$(dpkg-deb -f "$debian" Depends)
    [[ $depends == *"libc6 "* && $depends == *"libstdc++6 "* ]]
    dpkg-deb -x "$debian" "$work/root"
    # Finds nothing of it outside its /usr.
    [[ $(ls "$work/root") == usr ]]
    configure_consumer "$work/debian" -DCMAKE_PREFIX_PATH="$work/root/usr" "-DKINDS=vorn_static;vorn_shared"
    quietly cmake --build "$work/debian"
    for program in cpp_vorn_static c_vorn_static cpp_vorn_shared c_vorn_shared; do
        works "$work/debian/$program"
    done
    needs_shared "$work/debian/cpp_vorn_shared"
    is_static "$work/debian/cpp_vorn_static"
fi

# Last, since it compiles the library. The folder is kept: the next time only what has changed is compiled.
say "add_subdirectory"
configure_consumer "$build/embedded" -DVORN35_SOURCE="$root" "-DKINDS=vorn;vorn_static;vorn_shared" \
    -DBUILD_SHARED_LIBS=ON
quietly cmake --build "$build/embedded" --parallel 2
for program in "$build"/embedded/{cpp,c}_vorn{,_static,_shared}; do
    works "$program"
done
needs_shared "$build/embedded/cpp_vorn"
is_static "$build/embedded/cpp_vorn_static"
# Nothing but the library comes along.
[[ ! -e $build/embedded/bin ]]
