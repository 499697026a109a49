#!/usr/bin/env bash
# What users get: the names that the shared library exports; programs in C++ and C against an installation of each
# kind, against the Debian packages, and with our source embedded in their project; the commands of the README.
#
#   package.sh              the test; BIN is the folder of programs of a build with both kinds of library
#   package.sh symbols LIB  prints the list of names that tests/package/symbols.txt keeps
set -E
root=$(cd "$(dirname "$0")/../.." && pwd)
consumer=$root/tests/package/consumer

# Every name that the shared library exports, those of the C interface left out (its header lists them), and what
# comes with a class: thunks and tables for construction.
symbols() {  # the library
    nm -D --defined-only -C "$1" | cut -d' ' -f3- | LC_ALL=C sort -u |
        grep -vE '^([vV]orn(35)?_|(VTT for|typeinfo name for|(non-)?virtual thunk to) Vorn35::)'
}
if [[ ${1:-} == symbols ]]; then
    symbols "$2"
    exit
fi
source "${LAB%/*}/vocabulary.bash"

build=$(dirname "$BIN")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'echo "package: line $LINENO: $BASH_COMMAND"' ERR
# The lines of the README leave this to CMake, which would take make; our tree does not need that.
export CMAKE_GENERATOR=Ninja

say() { echo "package: $*"; }

# Runs a command whose output matters only if it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || fail "failed: $* $(<"$work/log")"
}

# Programs of the consumer say what they must say, and need the shared library, by the name that holds for all versions
# it may be replaced with, or do not.
works() {  # kind or "", programs...
    local program needs expected="VORN_ERR_NOT_INITIALIZE_ 198.51.100.7 0 1 $version"
    for program in "${@:2}"; do
        [[ $("$program") == "$expected" ]] || fail "${program##*/}: '$("$program")' and not '$expected'"
        needs=$(readelf -d "$program" | grep -o '\[libvorn[^]]*\]' || true)
        case $1 in
            static) [[ -z $needs ]] ;;
            shared) [[ $needs == "[libvorn.so.$soversion]" ]] ;;
        esac
    done
}

build_consumer() {  # folder, options...
    quietly cmake -S "$consumer" -B "$1" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 "${@:2}"
    quietly cmake --build "$1" --parallel 2
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
diff "$root/tests/package/symbols.txt" <(symbols "$library") || fail "the public names have changed; if that is meant:
    bash tests/scenarios/package.sh symbols $library > tests/package/symbols.txt"
# Of C, what its header declares: functions, and constants.
diff <(grep -ohE '\b[vV]orn(35)?_([a-z0-9_]+\(|on_[a-z]+;)' "$root"/export/Vorn35/{Vorn.h,version.h.in} | tr -d '(;' | LC_ALL=C sort -u) \
    <(nm -D --defined-only "$library" | grep -oE '\b[vV]orn(35)?_.*' | LC_ALL=C sort) || fail "the header in C, and the library"

say "exceptions"
# The library hides the type information of Boost, and a program that has its own must still catch by type.
c++ -std=c++20 "$consumer/thrown.cpp" -o "$work/thrown" "-I$root/export" "-I$build/generated" "$library" "-Wl,-rpath,$build"
mkdir -p "$work/home/Config" "$work/home/run"
thrown() { (cd "$work/home/run" && "$LAB" run --hosts 1 -- "$work/thrown" "$@"); }
if "$LAB" run --hosts 1 -- true; then
    [[ $(thrown memory) == "system error" ]]
    echo "[VORN]" >"$work/home/Config/vorn.ini"
    [[ $(thrown) == "bad path" ]]
fi

for kind in static shared; do
    say "$kind: find_package, pkg-config"
    prefix=$work/$kind
    for component in common "$kind" runtime; do
        [[ $component != runtime || $kind == shared ]] || continue
        quietly cmake --install "$build" --prefix "$prefix" --component "$component"
    done
    build_consumer "$work/find_$kind" -DCMAKE_PREFIX_PATH="$prefix"
    options=(--cflags --libs)
    [[ $kind == shared ]] || options+=(--static)
    flags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config "${options[@]}" vorn35)
    # shellcheck disable=SC2086  # the flags are words
    c++ -std=c++20 "$consumer/consumer.cpp" -o "$work/cpp_$kind" $flags "-Wl,-rpath,$prefix/lib"
    # shellcheck disable=SC2086
    cc -std=c11 "$consumer/consumer.c" -o "$work/c_$kind" $flags "-Wl,-rpath,$prefix/lib"
    works "$kind" "$work/find_$kind"/{cpp,c}_vorn "$work"/{cpp,c}_"$kind"
done

say "README"
mkdir -p "$work/here/build" "$work/app"
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
works static "$work/app/build/app"
works "" "$work/app/build/app_in_c"
quietly cmake -S "$work/app" -B "$work/app/build" -DBUILD_SHARED_LIBS=ON
quietly cmake --build "$work/app/build"
works shared "$work/app/build/app"
# Its second half needs what its first half exports, as in the shell of a reader.
(block sh 4; block sh 5) >"$work/lines"
[[ $(cd "$work/app" && HOME=$work/home bash -euo pipefail "$work/lines" 2>"$work/log" | uniq -c) == *" 3 "*" 0 1 $version" ]] ||
    fail "$(<"$work/log")"

if [[ -d $work/home/vorn35/include/vorn35 ]]; then
    say "README: typed members"
    mkdir -p "$work/typed"
    cp "$root"/examples/thermometer/*.{cpp,proto} "$work/typed"
    block cmake 2 >"$work/typed/CMakeLists.txt"
    run_block "$work/typed" 3
    # The input of the service stays open until the client has ended.
    said=$("$LAB" run --hosts 1 -- bash -c 'coproc "$1/service" && "$1/client" </dev/null' bash "$work/typed/build") || [[ $? == 77 ]]
    [[ -z $said || $said == *"hall: 20"*"attic: failed, 7: no such room"*"target: sent"* ]] || fail "typed: $said"
fi

if command -v dpkg-deb >/dev/null; then
    say "Debian packages"
    run_block "$work/here" 2
    architecture=$(dpkg --print-architecture)
    runtime=$work/here/libvorn35-${soversion}_${version}_$architecture.deb
    dev=$work/here/libvorn35-dev_${version}_$architecture.deb
    [[ -f $work/here/libvorn35-doc_${version}_all.deb ]]
    depends=$(dpkg-deb -f "$runtime" Depends)
    [[ $depends == *"libc6 "* && $depends == *"libstdc++6 "* ]]
    [[ $(dpkg-deb -f "$dev" Depends) == "libvorn35-$soversion (= $version)" ]]
    diff <(dpkg-deb --ctrl-tarfile "$runtime" | tar -xO ./symbols | sed -n 's/^ \(.*\)@Base .*/\1/p') \
        <(nm -D --defined-only "$library" | cut -d' ' -f3 | LC_ALL=C sort) || fail "the control file symbols"
    [[ $(dpkg-deb -c "$runtime" | grep -c '/libvorn\.so') == 2 ]]
    ! command -v lintian >/dev/null || quietly lintian --fail-on error,warning "$work"/here/*.deb
    for package in "$runtime" "$dev"; do dpkg-deb -x "$package" "$work/root"; done
    # All files are below /usr.
    [[ $(ls "$work/root") == usr ]]
    build_consumer "$work/debian" -DCMAKE_PREFIX_PATH="$work/root/usr" "-DKINDS=vorn_static;vorn_shared"
    works static "$work/debian"/{cpp,c}_vorn_static
    works shared "$work/debian"/{cpp,c}_vorn_shared
fi

# Last, since it compiles the library. The folder is kept: the next time only what has changed is compiled.
say "add_subdirectory"
build_consumer "$build/embedded" -DVORN35_SOURCE="$root" "-DKINDS=vorn;vorn_static;vorn_shared" -DBUILD_SHARED_LIBS=ON \
    -DVORN35_PRECOMPILE=ON
works shared "$build/embedded"/{cpp,c}_vorn{,_shared}
works static "$build/embedded"/{cpp,c}_vorn_static
# Nothing but the library comes along.
[[ ! -e $build/embedded/bin ]]
