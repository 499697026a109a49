# Sourced by scripts that run tests/programs/peer inside a lab: starts peers, waits for what they say, reads their counts.
# All of them end with the lab. Each has its output in /run/NAME.

declare -A pid_of

fail() {
    echo "$(basename "$0" .sh): $1" >&2
    exit 1
}

figure() {  # name, value, unit
    echo "figure: $1 = $2 $3"
}

# The command gets a key on its input that is never pressed: it lives until it is killed.
start() {  # name, host, command...
    local name=$1 host=$2
    shift 2
    [[ -p /run/$name.key ]] || mkfifo "/run/$name.key"
    touch "/run/$name"
    "$LAB" on "$host" "$@" <>"/run/$name.key" >>"/run/$name" &
    pid_of[$name]=$!
}

peer() {  # name, host, arguments of the program
    start "$1" "$2" "$BIN/peer" "${@:3}"
}

kill_peer() {  # name
    kill -KILL "${pid_of[$1]}"
    wait "${pid_of[$1]}" 2>/dev/null || true
}

# Waits for the nth line that is the pattern behind its time, and leaves that time in $when.
await() {  # name, pattern, n (default 1), seconds (default 30)
    local try line
    for ((try = 0; try < ${4:-30} * 50; ++try)); do
        line=$(grep -E -m "${3:-1}" "^[0-9]+ ($2)\$" "/run/$1" | sed -n "${3:-1}p" || true)
        if [[ -n $line ]]; then
            when=${line%% *}
            return
        fi
        sleep 0.02
    done
    fail "'$2' was not said by $1: $(tail -n 20 "/run/$1")"
}

# Asks peers for their counts, all at once; afterwards `count` reads them.
ask() {  # names...
    local name
    local -A before
    for name; do
        before[$name]=$(grep -c ' counts ' "/run/$name" || true)
        echo >"/run/$name.key"
    done
    for name; do
        await "$name" 'counts .*' $((before[$name] + 1))
    done
}

count() {  # name, what ("time" for the time of the answer)
    awk -v key="$2" '/ counts / { line = $0 }
        END {
            fields = split(line, field)
            if (key == "time") print field[1]
            for (i = 3; i < fields; i += 2) if (field[i] == key) print field[i + 1]
        }' "/run/$1"
}

# Asks again until a condition on the counts holds.
until_counts() {  # name, seconds, condition...
    local try
    for ((try = 0; try < $2 * 20; ++try)); do
        ask "$1"
        ! "${@:3}" || return 0
        sleep 0.05
    done
    fail "in vain: ${*:3}; $1 has $(tail -n 1 "/run/$1")"
}

descriptors() {  # name
    ls "/proc/${pid_of[$1]}/fd" | wc -l
}
