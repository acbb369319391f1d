# shellcheck shell=bash
# What scripts/demo --kerberos shows of the three servers of dev/kerberos-lab. scripts/demo gives expect
# and title.

# take_ticket PRINCIPAL: whose ticket the next commands use.
take_ticket()
{
    printf '\n$ export KRB5CCNAME=FILE:%s/%s.ccache\n' "${KVR_TEST_KERBEROS:?}" "$1"
    export KRB5CCNAME=FILE:$KVR_TEST_KERBEROS/$1.ccache
}

# The module's parameters as they are on the computer of one of the servers.
describe_computer()
{
    cat >"$1.conf" <<CONF
KVR_HOST_NAME = $1.example.com
KVR_SERVER_HOST = srv1.example.com
KVRD_USER = kvrd
DOMAIN_DN = ${KVR_TEST_LDAP_SUFFIX:?}
REALM = EXAMPLE.COM
CONF
}

# at HOST CODE ARGUMENT...: a command on the computer of a server, with a ticket, that ends with CODE.
at()
{
    local host=$1 code=$2
    shift 2
    expect "$code" --uri "ldap://$host.example.com" --auth gssapi --params "$host.conf" "$@"
}

# wait_for_entry HOST DN
wait_for_entry()
{
    for _ in {1..500}; do
        ! "${build:?}/bin/kvr-ldap" --uri "ldap://$1.example.com" show "$2" >/dev/null 2>&1 || return 0
        sleep 0.02
    done
    echo "demo: $2 does not arrive at $1" >&2
    exit 1
}

log_in()
{
    local base=$KVR_TEST_LDAP_SUFFIX

    title "The key distribution centre knows an administrator, a user, and a daemon for each computer"
    cd "${KVR_TEST_LAB:?}" || exit
    describe_computer srv1
    describe_computer srv2
    take_ticket administrator
    klist | sed -n '1,2p'
    at srv1 0 search "$base" '(uid=*)' cn

    title "Whose ticket it is tells what one may do: a user reads, without a ticket there is no session"
    take_ticket user
    at srv1 0 index list
    at srv1 4 index add 'mail eq'
    take_ticket nobody
    at srv1 5 index list
}

replicate()
{
    local base=$KVR_TEST_LDAP_SUFFIX

    title "srv2 has no entry yet; with an agreement it follows srv1"
    take_ticket administrator
    at srv2 3 search "$base"
    at srv2 0 syncrepl add 002 srv1.example.com --yes
    at srv2 0 syncrepl list
    wait_for_entry srv2 "uid=user000005,ou=people,$base"
    at srv2 0 search "$base" '(uid=*)' cn

    title "A unit that is made on srv1 appears on srv2, which takes no changes itself"
    at srv1 0 ensure-ou "ou=new,$base"
    wait_for_entry srv2 "ou=new,$base"
    at srv2 0 show "ou=new,$base"
    at srv2 1 ensure-ou "ou=own,$base"

    title "Without the agreement it is a server of its own again"
    at srv2 0 syncrepl delete 002 srv1.example.com
    at srv2 0 syncrepl list
    at srv2 0 ensure-ou "ou=own,$base"
}

forward()
{
    local remote=${KVR_TEST_REMOTE_SUFFIX:?}

    title "srv1 knows nothing of other.org; with a provider it asks srv3"
    at srv1 3 search "$remote"
    at srv1 0 provider add other.org srv3.example.com
    at srv1 0 provider list
    at srv1 0 provider show other.org
    at srv1 0 search "$remote" '(uid=*)' cn
    take_ticket user
    at srv1 0 search "$remote" '(uid=user000001)' cn mail

    title "Without the provider it does not"
    take_ticket administrator
    at srv1 0 provider delete other.org --yes
    at srv1 3 search "$remote"
}
