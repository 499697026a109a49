@0xd8a3f2c1b4e59607;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("bench::wire");

interface Echo {
    call @0 (data :Data) -> (data :Data);
}
