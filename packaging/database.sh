# The private PostgreSQL cluster of ./run: in the home, reached only through a Unix socket that only its owner may open.

pg_bin=/usr/lib/postgresql/15/bin
database_role="admin" # owns the media database and nothing else
database_superuser="dba"
database_name=mediaserver
socket_to_remove=""

start_database() {
    local cluster=$home/pg tries
    choose_database_owner
    [[ -f $cluster/PG_VERSION ]] || create_cluster "$cluster"
    choose_socket_directory
    start database INT "${as_database_owner[@]}" setpriv --pdeathsig INT -- "$pg_bin/postgres" -D "$cluster" \
        -k "$PGHOST" -c listen_addresses= -c unix_socket_permissions=0700 -c log_timezone=UTC \
        2>>"$root/var/log/postgresql.log" >&2
    for ((tries = 0; tries < 300; tries++)); do
        still_runs database || fail "the database ended while it started; see $root/var/log/postgresql.log"
        "$pg_bin/pg_isready" -q -U "$database_superuser" -d postgres && break
        pause 0.1
    done
    ((tries < 300)) || fail "the database does not answer; see $root/var/log/postgresql.log"
    create_database
}

# PostgreSQL refuses to run as root. As root it runs as the user "postgres" (who may need to pass through directories
# that are closed to everybody but root); in a user namespace that knows no other user, as root's other name.
choose_database_owner() {
    as_database_owner=(env)
    ((EUID == 0)) || return 0
    if awk '{ users += $3 } END { exit users != 1 }' /proc/self/uid_map; then
        as_database_owner=(unshare --user --map-user=1000 --map-group=1000 --)
        return
    fi
    id postgres >/dev/null 2>&1 || fail "user \"postgres\" does not exist: install package postgresql-15"
    as_database_owner=(setpriv --reuid=postgres --regid=postgres --init-groups)
    "${as_database_owner[@]}" test -x "$home" ||
        as_database_owner+=(--inh-caps=+dac_override --ambient-caps=+dac_override)
    as_database_owner+=(--)
}

# As a new directory that is renamed when it is complete, so that an interrupted run leaves no half of a cluster.
create_cluster() {
    local new=$1.new
    rm -rf "$new" "$1" && mkdir -m 700 "$new" || fail "could not create directory \"$new\""
    give_to_database_owner "$new"
    "${as_database_owner[@]}" "$pg_bin/initdb" -D "$new" -U "$database_superuser" --auth=trust --encoding=UTF8 \
        --lc-collate=C --lc-ctype=C.UTF-8 --lc-messages=C.UTF-8 >"$root/var/log/initdb.log" 2>&1 ||
        fail "could not create the database cluster; see $root/var/log/initdb.log"
    mv "$new" "$1"
}

give_to_database_owner() {
    [[ ${as_database_owner[0]} != setpriv ]] || chown postgres:postgres "$1"
}

# The path of a Unix socket holds at most 107 bytes, and a comma in it would begin another one.
choose_socket_directory() {
    [[ -z $socket_to_remove ]] || return 0
    export PGHOST=$home/socket PGPORT=5432
    unset PGUSER PGPASSWORD PGDATABASE PGSERVICE PGHOSTADDR
    if [[ $PGHOST == *[,\"]* ]] || (($(printf %s "$PGHOST/.s.PGSQL.$PGPORT.lock" | wc -c) > 107)); then
        # A run that was killed left its directory behind.
        [[ ! -L $home/socket ]] || rm -rf "$(readlink "$home/socket")" "$home/socket"
        PGHOST=$(mktemp -d /tmp/dms.XXXXXX) && ln -s "$PGHOST" "$home/socket" ||
            fail "could not create a directory for the database socket"
        socket_to_remove=$PGHOST
    fi
    [[ -d $PGHOST ]] || mkdir -m 700 "$PGHOST" || fail "could not create directory \"$PGHOST\""
    give_to_database_owner "$PGHOST"
}

create_database() {
    [[ $(query "select 1 from pg_roles where rolname = '$database_role'") == 1 ]] ||
        query "create role $database_role login" || fail "could not create database role \"$database_role\""
    [[ $(query "select 1 from pg_database where datname = '$database_name'") == 1 ]] ||
        query "create database $database_name owner $database_role" || fail "could not create the media database"
}

query() {
    "$pg_bin/psql" -X -q -A -t -U "$database_superuser" -d postgres -c "$1"
}
