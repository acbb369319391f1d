# shellcheck shell=bash
# What the scripts of this folder share. They source it after setting "tool", their name.

fail()
{
    echo "${tool:?}: $*" >&2
    exit 1
}

wrong_usage()
{
    echo "${tool:?}: $*; see --help" >&2
    exit 2
}

number()
{
    [[ $2 =~ ^[0-9]+$ ]] || wrong_usage "$1 takes a number, not '$2'"
}

# Nobody outside may reach what these scripts start.
check_loopback()
{
    local resolved
    resolved=$(getent ahosts "$1" | awk '{ print $1 }') || fail "unknown address '$1'"
    ! grep -Evq '^(127\.|::1$)' <<<"$resolved" || fail "'$1' is not a loopback address"
}

answers()
{
    (exec 3<>"/dev/tcp/$1/$2") 2>/dev/null
}

# wait_for TENTHS COMMAND...: until COMMAND succeeds, or for that long at most.
wait_for()
{
    local tenths=$1 turn
    shift
    for ((turn = 0; turn < tenths * 5; turn++)); do
        ! "$@" || return 0
        sleep 0.02
    done
    return 1
}

# on_free_port LOG COMMAND...: COMMAND with a port of "address" behind it starts a process in the
# background and sets "pid"; "is_up PORT" tells when that serves. Without a given "port" a likely one is
# taken: ports below the range that the kernel gives to clients collide with other servers only. Where
# somebody answers, or LOG tells that the port is taken, another one is tried. Asking first is for servers
# that would share a port.
on_free_port()
{
    local log=$1 try
    shift
    for _ in {1..20}; do
        try=${port:-$((20000 + RANDOM % 12000))}
        if answers "${address:?}" "$try"; then
            [ -n "${port:-}" ] || continue
            echo "Address already in use: $address:$try" >"$log"
            return 1
        fi
        "$@" "$try"
        if wait_for 120 is_up_or_ended "$try" && kill -0 "${pid:?}" 2>/dev/null; then
            return 0
        fi
        kill -KILL "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
        if [ -n "${port:-}" ] || ! grep -q 'Address already in use' "$log"; then
            return 1
        fi
    done
    return 1
}

is_up_or_ended()
{
    ! kill -0 "$pid" 2>/dev/null || is_up "$1"
}

# A pid may have been given to another process since: an argument of its command line tells whose it is.
is_process()
{
    [ -r "/proc/$1/cmdline" ] && tr '\0' '\n' 2>/dev/null <"/proc/$1/cmdline" | grep -Fqx -- "$2"
}

is_no_process()
{
    ! is_process "$@"
}

# stop_process PID ARGUMENT: ends the process unless it is another one's.
stop_process()
{
    is_process "$@" || return 0
    # A stopped process acts on the signal only when it is continued.
    kill -TERM "$1" 2>/dev/null || true
    kill -CONT "$1" 2>/dev/null || true
    wait_for 100 is_no_process "$@" || kill -KILL "$1" 2>/dev/null || true
}
