# shellcheck shell=bash
# What the tests of scripts share. They source it, set "work" to a folder of their own and end with
# "passed".

# The library reads no configuration of the machine's or the user's unless a test wants it to.
export LDAPNOINIT=1 LC_ALL=C.UTF-8
unset LDAPCONF KRB5_CONFIG KRB5CCNAME
dev=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../dev" && pwd)
work=$(mktemp -d)
export dev work TMPDIR=$work/tmp
mkdir "$TMPDIR"

fail()
{
    echo "FAILED: $*" >&2
    exit 1
}

expect()
{
    [ "$2" = "$3" ] || fail "$1: '$3' instead of '$2'"
}

exit_status()
{
    local status=0
    "$@" >/dev/null 2>&1 || status=$?
    echo "$status"
}

# count URI BASE FILTER: how many entries an anonymous client finds.
count()
{
    ldapsearch -x -LLL -o ldif-wrap=no -H "$1" -b "$2" "$3" 1.1 2>/dev/null | grep -c '^dn:' || true
}

# wait_for COMMAND...: until COMMAND succeeds, for ten seconds at most.
wait_for()
{
    for _ in {1..500}; do
        ! "$@" || return 0
        sleep 0.02
    done
    return 1
}

has_ended()
{
    # A process that has ended and that nobody has collected yet runs no more either.
    ! kill -0 "$1" 2>/dev/null || grep -q '^State:.Z' "/proc/$1/status" 2>/dev/null
}

# No process names a file of this test. The pattern is in a file, so that grep does not find itself.
no_process_is_left()
{
    echo "$TMPDIR" >"$work/pattern"
    ! grep -qsaFf "$work/pattern" /proc/[0-9]*/cmdline
}

# kill_outright COMMAND...: kills the script when the command that it runs has begun.
kill_outright()
{
    mkfifo "$work/begun" "$work/hold"
    # shellcheck disable=SC2016 # for the inner shell
    "$@" -- sh -c 'echo >"$1"; read -r _ <"$2"' sh "$work/begun" "$work/hold" &
    local script=$! held
    disown
    read -r _ <"$work/begun"
    ! no_process_is_left || fail "nothing runs that could be left"
    kill -KILL "$script"
    # Opened for both ways, so that it does not wait for a reader that has ended.
    exec {held}<>"$work/hold"
    echo >&"$held"
    wait_for no_process_is_left || fail "something outlives $1"
    exec {held}>&-
    rm -rf "$work/begun" "$work/hold" "${TMPDIR:?}"/*
}

expect_nothing_left()
{
    expect "files left behind" '' "$(ls -A "$TMPDIR")"
}

passed()
{
    echo "$(basename "$0"): passed"
}
