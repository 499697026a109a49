#!/usr/bin/env bash
# A service is killed behind a cable that was pulled: in the reliable profile its client is told by the silence, in the
# standard one it is not.
source "${LAB%/*}/vocabulary.bash" || exit
in_lab 3
host=0

peer service 3 serve 4000 1 0 4
await service ready
for profile in reliable standard; do
    VORN35_PROFILE=$profile peer $profile $((++host)) use 198.51.100.3 4000 1 10
    await $profile '0 link 0'
done
"$LAB" link 3 down
ask reliable
kill_peer service
await reliable '0 unlink VORN_ERR_DISCONNECTED_TCP_'
await reliable '0 down'
figure "told that a service has gone with its host" $((when - reliable_time)) ms
((when - reliable_time <= 11000)) || fail "too late"
! grep -q ' 0 down' /run/standard || fail "the standard profile has no such limit"
finish reliable standard
