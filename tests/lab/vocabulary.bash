# The steps of the scripts in scenarios/, which source this. LAB is the lab, BIN the folder of programs. Processes
# live as long as the lab, and write to /run/NAME. `./dev soak` sets SOAK_MINUTES.
set -euo pipefail

declare -A pid_of key_of

fail() { echo "$(basename "$0" .sh): $1" >&2 && exit 1; }
figure() { echo "figure: $1 = $2 $3"; }  # name, value, unit
length() { echo "$([[ -n ${SOAK_MINUTES:-} ]] && echo "$2" || echo "$1")"; }  # in ./dev test, in ./dev soak

# The script goes on in host 1 of a new lab.
in_lab() {  # hosts, its arguments there
    [[ -n ${VORN35_LAB_HOSTS:-} ]] || exec "$LAB" run --hosts "$1" -- bash "$0" "${@:2}"
}

# The command's input stays open, and empty until `ask`, up to `finish`.
start() {  # name, host, command...
    [[ -p /run/$1.key ]] || mkfifo "/run/$1.key"
    touch "/run/$1"
    [[ -z ${key_of[$1]:-} ]] || end_input "$1"
    local key
    exec {key}<>"/run/$1.key"
    key_of[$1]=$key
    (
        for key in "${key_of[@]}"; do exec {key}>&-; done
        exec "$LAB" on "${@:2}"
    ) <"/run/$1.key" >>"/run/$1" &
    pid_of[$1]=$!
}
peer() { start "$1" "$2" "$BIN/peer" "${@:3}"; }  # name, host, arguments of the program
stranger() { start "$1" "$2" perl "${LAB%/*}/raw_peer.pl" "${@:3}"; }

end_input() {
    local key=${key_of[$1]}
    exec {key}>&-
    unset "key_of[$1]"
}
finish() {  # names...: their inputs end, and they do, without a fault
    local name
    for name; do
        end_input "$name"
        wait "${pid_of[$name]}" || fail "$name ended with $?: $(tail -n 20 "/run/$name")"
    done
}
kill_peer() {  # name
    kill -KILL "${pid_of[$1]}"
    wait "${pid_of[$1]}" 2>/dev/null || true
    end_input "$1"
}

# Waits for the nth line that is the pattern behind its time, if it has one. Leaves it in $line and that time in $when.
said() {  # name, pattern, n (default 1), seconds (default 30)
    local end=$((SECONDS + ${4:-30}))
    while ((SECONDS <= end)); do
        line=$(grep -Ex -m "${3:-1}" "([0-9]+ )?($2)" "/run/$1" | sed -n "${3:-1}p" || true)
        when=${line%% *}
        [[ -z $line ]] || return 0
        sleep 0.02
    done
    return 1
}
await() { said "$@" || fail "'$2' was not said by $1: $(tail -n 20 "/run/$1")"; }

# Asks peers for their counts, all at once, and leaves each in the variable NAME_WHAT ("time" for that of the answer). A
# rate may be set for them before: RATE=...
ask() {  # names...
    local name line when i words
    local -A before
    for name; do
        before[$name]=$(grep -c ' counts ' "/run/$name" || true)
        echo "${RATE:-}" >"/run/$name.key"
    done
    for name; do
        await "$name" 'counts .*' $((before[$name] + 1))
        read -ra words <<<"time ${line/counts/}"
        for ((i = 0; i < ${#words[@]}; i += 2)); do printf -v "${name}_${words[i]}" %s "${words[i + 1]}"; done
    done
}
until_counts() {  # seconds, condition on the counts, names to ask for it again and again
    local end=$((SECONDS + $1))
    while ask "${@:3}" && ! eval "(($2))"; do
        ((SECONDS <= end)) || fail "in vain: $2: $(tail -qn 1 "${@/#//run/}")"
        sleep 0.05
    done
}

descriptors() { ls "/proc/${pid_of[$1]}/fd" | wc -l; }
resident() { awk '/^VmRSS/ { print $2 * 1024 }' "/proc/${pid_of[$1]}/status"; }
