# shellcheck shell=bash
# What scripts/demo shows of a private server, part by part. It gives run, fail, expect and title.

# The server in the state that it was generated in.
explore()
{
    local suffix=$KVR_TEST_LDAP_SUFFIX

    title "The plug-in, and the servers that it would use"
    expect 0 module
    run uris

    title "Searching"
    run search "$suffix" '(objectClass=*)' ou --scope one
    run search "ou=Berlin,ou=units,$suffix" '(ou=*)' ou --scope children
    run search "ou=people,$suffix" '(&(l=Köln)(title=Engineer))' cn mail
    run search "ou=people,$suffix" '(uid=user000005)' --output ldif
    run search "ou=people,$suffix" '(&(sn=Müller)(l=Hamburg))' cn title --output json
    echo
    echo "This server sends ${size_limit:?} entries at most:"
    run search "ou=people,$suffix" '(l=München)' 1.1

    title "One entry, who made it and when"
    run show "uid=user000005,ou=people,$suffix"
}

# A department of its own, which stays below the server's size limit.
change()
{
    local suffix=$KVR_TEST_LDAP_SUFFIX
    local department=ou=laboratory,ou=research,$suffix

    title "The directory before: there is no department for research"
    run search "$suffix" '(ou=*)' ou --scope one

    title "A department, with all units above it, and people: one by hand, others from a file"
    run ensure-ou "$department"
    run ensure-ou "$department"
    run add "uid=ann,$department" objectClass=inetOrgPerson uid=ann cn='Ann Müller' sn=Müller \
        mail=ann@example.com
    newcomers "$department" >"$KVR_TEST_LDAP_DIR/newcomers.ldif"
    run load "$KVR_TEST_LDAP_DIR/newcomers.ldif"

    title "Changed, renamed and deleted"
    run modify "uid=ann,$department" --add title=Engineer --replace mail=ann.mueller@example.com
    run attr add "uid=ben,$department" telephoneNumber '+49 221 5550' '+49 221 5551'
    run rename "uid=ben,$department" uid=benjamin
    run delete "uid=cleo,$department"

    title "The directory after"
    run search "$suffix" '(ou=*)' ou --scope one
    run search "ou=research,$suffix" '(objectClass=*)' uid cn title mail telephoneNumber
}

newcomers()
{
    local name
    for name in Ben Cleo Dora; do
        cat <<LDIF
dn: uid=${name,},$1
objectClass: inetOrgPerson
uid: ${name,}
cn: $name Köster
sn: Köster

LDIF
    done
}

configure()
{
    local suffix=$KVR_TEST_LDAP_SUFFIX

    title "The server's configuration before"
    run overview

    title "An index, a limit, a rule in front of all others, and user names that are unique"
    run index add 'mail eq,sub'
    run limit add users size=500
    run limit add users size=900
    run access add --at 0 'to attrs=telephoneNumber by users read by * none'
    run unique add "ldap:///$suffix?uid?sub"

    title "The server's configuration after"
    run overview

    title "What that does: a user name that is taken, and telephone numbers that are hidden"
    fail 1 add "uid=user000005,ou=research,$suffix" objectClass=inetOrgPerson uid=user000005 cn=Double sn=Double
    run search "uid=benjamin,ou=laboratory,ou=research,$suffix" '(objectClass=*)' uid telephoneNumber
}

go_wrong()
{
    local suffix=$KVR_TEST_LDAP_SUFFIX

    title "What can go wrong, with exit codes for scripts"
    fail 3 show "uid=nobody,ou=people,$suffix"
    fail 2 search "ou=people,$suffix" '(uid='
    expect 5 --uri ldap://127.0.0.1:1 search "$suffix"
}
