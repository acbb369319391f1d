# shellcheck shell=bash
# The configuration of a private directory server as LDIF, from the settings of private-slapd.
# shellcheck disable=SC2154

numbered_values()
{
    local attribute=$1 position=0 value
    shift
    for value in "$@"; do
        printf '%s: {%d}%s\n' "$attribute" "$position" "$value"
        position=$((position + 1))
    done
}

# An administrator and the daemons kvrd/HOST manage a server that does not let everybody do so.
managers()
{
    printf 'by dn.exact="uid=administrator,cn=admins,%s" manage ' "${suffix:?}"
    printf 'by dn.regex="^uid=kvrd/[^,]+,cn=daemons,%s$" manage' "$suffix"
}

# access_rule frontend|config|data
access_rule()
{
    case ${rights:?}:$1 in
        everybody:*) echo "to * by * manage" ;;
        *:frontend) echo "to * by * read" ;;
        locked:config) echo "to * $(managers) by users read by * none" ;;
        *) echo "to * $(managers) by * read" ;;
    esac
}

global_settings()
{
    # olcSockbufMaxIncoming: the default of 256 KB closes the connection on large requests.
    cat <<LDIF
dn: cn=config
objectClass: olcGlobal
cn: config
olcPidFile: ${dir:?}/slapd.pid
olcSockbufMaxIncoming: 16777215
olcSizeLimit: unlimited
olcThreads: 4
LDIF
    # slapd refuses changes of anonymous clients otherwise, whatever the access rules say.
    [ "${anonymous_writes:?}" = refused ] || echo "olcAllows: update_anon"
    [ -z "${server_id:-}" ] || echo "olcServerID: $server_id"
    if [ -n "${kerberos:-}" ]; then
        # The realm is part of the name only where the server has more than one.
        cat <<LDIF
olcAuthzRegexp: {0}^uid=(administrator),(cn=[^,]*,)?cn=gssapi,cn=auth$ uid=\$1,cn=admins,$suffix
olcAuthzRegexp: {1}^uid=(kvrd/[^,]*),(cn=[^,]*,)?cn=gssapi,cn=auth$ uid=\$1,cn=daemons,$suffix
olcAuthzRegexp: {2}^uid=([^,/]*),(cn=[^,]*,)?cn=gssapi,cn=auth$ uid=\$1,ou=people,$suffix
LDIF
    fi
    if [ -n "${tls:-}" ]; then
        cat <<LDIF
olcTLSCACertificateFile: $tls/ca.pem
olcTLSCertificateFile: $tls/${address:?}.pem
olcTLSCertificateKeyFile: $tls/$address.key
LDIF
    fi
}

modules_and_schema()
{
    local schema
    cat <<LDIF

dn: cn=module{0},cn=config
objectClass: olcModuleList
cn: module{0}
olcModulePath: $dir/modules:${module_dir:?}
$(numbered_values olcModuleLoad "back_${database:?}" syncprov unique back_ldap retcode)

dn: cn=schema,cn=config
objectClass: olcSchemaConfig
cn: schema
LDIF
    for schema in core cosine nis inetorgperson; do
        printf '\ninclude: file://%s/%s.ldif\n' "${schema_dir:?}" "$schema"
    done
}

frontend_and_configuration_database()
{
    cat <<LDIF

dn: olcDatabase={-1}frontend,cn=config
objectClass: olcDatabaseConfig
objectClass: olcFrontendConfig
olcDatabase: {-1}frontend
olcAccess: {0}$(access_rule frontend)
LDIF
    if [ "${chain:?}" = yes ]; then
        cat <<LDIF

dn: olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config
objectClass: olcOverlayConfig
objectClass: olcChainConfig
olcOverlay: {0}chain
LDIF
    fi
    cat <<LDIF

dn: olcDatabase={0}config,cn=config
objectClass: olcDatabaseConfig
olcDatabase: {0}config
olcAccess: {0}$(access_rule config)
LDIF
}

# Berkeley DB, which the true back_hdb stores its data in, wants to know how many locks and how much
# memory it may take.
storage_settings()
{
    case ${storage:?} in
        mdb) echo "olcDbMaxSize: $((${map_size:?} * 1024 * 1024))" ;;
        hdb)
            numbered_values olcDbConfig "set_cachesize 0 67108864 1" "set_lk_max_objects 20000" \
                "set_lk_max_locks 20000" "set_lk_max_lockers 20000" "log_set_config DB_LOG_AUTO_REMOVE on"
            ;;
    esac
}

main_database()
{
    # olcRootDN: replication agreements are refused without it. olcDbNoSync: the data need not
    # survive a crash of the machine.
    cat <<LDIF

dn: olcDatabase={1}$database,cn=config
objectClass: olcDatabaseConfig
objectClass: olc${storage^}Config
olcDatabase: {1}$database
olcSuffix: $suffix
olcRootDN: cn=root,$suffix
olcDbDirectory: $dir/db
$(storage_settings)
olcDbNoSync: TRUE
olcSizeLimit: ${size_limit:?}
olcDbIndex: objectClass eq
olcDbIndex: uid eq
$(numbered_values olcAccess ${access_rules[@]+"${access_rules[@]}"} "$(access_rule data)")
LDIF
    if [ "${unique:?}" = yes ]; then
        cat <<LDIF

dn: olcOverlay={0}unique,olcDatabase={1}$database,cn=config
objectClass: olcOverlayConfig
objectClass: olcUniqueConfig
olcOverlay: {0}unique
LDIF
    fi
    if [ ${#retcode_items[@]} -gt 0 ]; then
        cat <<LDIF

dn: olcOverlay={1}retcode,olcDatabase={1}$database,cn=config
objectClass: olcOverlayConfig
objectClass: olcRetcodeConfig
olcOverlay: {1}retcode
olcRetcodeParent: ou=retcodes,$suffix
$(numbered_values olcRetcodeItem "${retcode_items[@]}")
LDIF
    fi
}

configuration()
{
    global_settings
    modules_and_schema
    frontend_and_configuration_database
    main_database
    local file
    for file in ${config_files[@]+"${config_files[@]}"}; do
        echo
        cat "$file"
    done
}
