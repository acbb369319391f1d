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

# A free port, most likely: ports below the range that the kernel gives to clients collide with other
# servers only. Whoever uses it tries another one when it is taken.
likely_port()
{
    echo $((20000 + RANDOM % 12000))
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
