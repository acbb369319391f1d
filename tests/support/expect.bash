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

expect_nothing_left()
{
    expect "files left behind" '' "$(ls -A "$TMPDIR")"
}

passed()
{
    echo "$(basename "$0"): passed"
}
