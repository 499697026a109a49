#!/usr/bin/env bash
# Each fault of an interface file is refused with its place and its reason; a file without faults is not.
#   errors.sh PLUGIN DIRECTORY_OF_OPTIONS
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

head='syntax = "proto3"; import "vorn35/options.proto"; message Empty {} message Text { string text = 1; }'
compile() { (cd "$work" && protoc -I "$2" -I . --plugin="protoc-gen-vorn35=$1" "--vorn35_out=$3:." test.proto 2>&1); }

failed=0
# What is below the head from line 2 on, "/" ends a line, and the complaints without the name of the file.
while IFS='|' read -r body expected; do
    printf '%s\n%s\n' "$head" "${body//\//$'\n'}" >"$work/test.proto"
    said=$(compile "$1" "$2" cpp) || true
    said=$(tail -n +2 <<<"$said" | sed 's/^test\.proto://' | paste -sd '|')
    [[ $said == "$expected" ]] || { failed=1; echo "errors: $body"; echo "  said:     $said"; echo "  expected: $expected"; }
done <<'TEXT'
service S { option (vorn35.name) = "s"; rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1}; } }|
service Other { rpc A(Text) returns (Text); }|
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text); }|3:1: S.A: has no kind: add one of the options (vorn35.call), signal, event, information, command, datagram
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1};/option (vorn35.signal) = {code: 1}; } }|4:1: S.A: has two kinds, call and signal
service S { rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1}; } }|2:1: S: has members of Vorn35 and no option (vorn35.name)
service S {/option (vorn35.name) = ""; }|3:1: S: (vorn35.name) must have 1 to 20 bytes
service S {/option (vorn35.name) = "a name of 21 bytes..."; }|3:1: S: (vorn35.name) must have 1 to 20 bytes
service S { option (vorn35.name) = "s"; }/service T { option (vorn35.name) = "s"; }|3:13: T: the name "s" is that of S
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text) { option (vorn35.call) = {}; } }|3:30: S.A: code 0 is not in the range 1 to 65534
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Empty) { option (vorn35.signal) = {code: 65535}; } }|3:31: S.A: code 65535 is not in the range 1 to 65534
service S { option (vorn35.name) = "s"; rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1}; }/rpc B(Text) returns (Text) { option (vorn35.call) = {code: 1}; } rpc C(Text) returns (Empty) { option (vorn35.signal) = {code: 1}; } }|3:30: S.B: code 1 is used by the call A
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1 limit: 0}; } }|3:30: S.A: limit must be a number of seconds above 0
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text) { option (vorn35.call) = {code: 1 limit: inf}; } }|3:30: S.A: limit must be a number of seconds above 0
service S { option (vorn35.name) = "s";/rpc A(Empty) returns (stream Text) { option (vorn35.information) = {code: 1 history: 0}; } }|3:38: S.A: history 0 is not in the range 1 to 65535
service S { option (vorn35.name) = "s";/rpc A(stream Text) returns (Empty) { option (vorn35.command) = {code: 1 history: 65536}; } }|3:38: S.A: history 65536 is not in the range 1 to 65535
service S { option (vorn35.name) = "s";/rpc A(Text) returns (stream Text) { option (vorn35.call) = {code: 1}; } }|3:1: S.A: the call must have the form rpc Name(Message) returns (Message), without stream
service S { option (vorn35.name) = "s";/rpc A(Empty) returns (Text) { option (vorn35.event) = {code: 1}; } }|3:1: S.A: the event must have the form rpc Name(Empty) returns (stream Message)
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Empty) { option (vorn35.command) = {code: 1}; } }|3:1: S.A: the command must have the form rpc Name(stream Message) returns (Empty)
service S { option (vorn35.name) = "s";/rpc A(Text) returns (Text) { option (vorn35.signal) = {code: 1}; } }|3:1: S.A: the signal carries no answer, so Text must have no fields
service S { option (vorn35.name) = "s";/rpc A(Text) returns (stream Text) { option (vorn35.datagram) = {code: 1}; } }|3:1: S.A: the datagram carries nothing from the client, so Text must have no fields
service S { option (vorn35.name) = "s"; rpc ReadAll(Text) returns (Text) { option (vorn35.call) = {code: 1}; }/rpc read_all(Text) returns (Text) { option (vorn35.call) = {code: 2}; } }|3:1: S.read_all: becomes "read_all" in the code, as ReadAll does
TEXT

# An option that does not exist is protoc's own error; a language that does not exist is ours.
printf '%s\nservice S { option (vorn35.nam) = "s"; }\n' "$head" >"$work/test.proto"
[[ $(compile "$1" "$2" cpp) == *'test.proto:2:'* ]] || { failed=1; echo "errors: no place for an unknown option"; }
echo "$head" >"$work/test.proto"
[[ $(compile "$1" "$2" cpp,cobol) == *'unknown language "cobol"'* ]] || { failed=1; echo "errors: an unknown language"; }
exit $failed
