# shellcheck shell=bash
# Every way in which a setting can be given a value: what an administrator has stored is in force, or
# the library is not used at all. settings_arrival.py has the ways and the settings.
. "$(dirname "$0")/lib.sh"

version=$(sql 'show server_version_num' | cut -c1-2)
configuration=$(sql 'show config_file')
ARRIVAL_FILE=${configuration%/*}/arrival.conf
export ARRIVAL_FILE
libraries=$(pg_config --pkglibdir)
[ -z "${PG_CONFIG:-}" ] || libraries=$("$PG_CONFIG" --pkglibdir)
plugin=$libraries/plugins/pkg_dbe_xml.so
trap 'rm -rf "$work" "$plugin"' EXIT

restart() { pg_ctlcluster "$version" regress restart; }
preload() { printf '%s\n' "$@" >"${configuration%/*}/preload.conf"; }
# arrivals HOW COMMAND [STORED...]
arrivals() {
    local how=$1 name count wrong last=
    shift
    while IFS=$'\t' read -r name count wrong; do
        if [[ $count =~ ^[0-9]+$ ]]; then
            is "$how: $name, $count sessions" "$wrong" ''
            tried=$((tried + count))
        else
            fail "$how: settings_arrival.py" "$name"
        fi
        last=$name
    done < <(python3 "$(dirname "$0")/settings_arrival.py" "$@" 2>&1)
    is "$how: all was tried" "$last" 'done'
}
tried=0

sql 'create role arrival_plain login' 'create role arrival_granted login' \
    'create role arrival_super login superuser'
sed -i '1i host all all localhost trust' "$(sql 'show hba_file')"
: >"$ARRIVAL_FILE"
preload
printf "include = 'arrival.conf'\ninclude = 'preload.conf'\n" >>"$configuration"
restart || fail 'the server starts'
arrivals before prepare

arrivals 'not preloaded' unloaded file database 'briefly nothing' 'briefly all' 'briefly role' \
    'briefly role in database' 'briefly database and role' 'invalid file' 'invalid all' \
    'invalid database' 'invalid role' 'invalid role in database'

preload "session_preload_libraries = 'pkg_dbe_xml'"
restart || fail 'the server starts'
arrivals session_preload_libraries preloaded database 'briefly file' 'briefly role' \
    'invalid file' 'invalid database'

mkdir -p "${plugin%/*}" && ln -s ../pkg_dbe_xml.so "$plugin"
preload "local_preload_libraries = 'pkg_dbe_xml'"
restart || fail 'the server starts'
arrivals local_preload_libraries preloaded database 'briefly file' 'briefly role' \
    'invalid file' 'invalid database'

arrivals before 'store unreadable'
preload "shared_preload_libraries = 'pkg_dbe_xml'"
restart || fail 'the server starts'
arrivals shared_preload_libraries preloaded file database 'briefly all' 'briefly role' \
    'briefly role in database' 'briefly database and role'
arrivals shared_preload_libraries unreadable

# What the server cannot read when it starts keeps it from starting, as its own settings do.
echo 'pkg_dbe_xml.max_depth = deep' >"$ARRIVAL_FILE"
is 'a server that is to begin with what cannot be read' "$(restart >/dev/null 2>&1 && echo started)" ''
logged 'FATAL:  invalid value for parameter "pkg_dbe_xml.max_depth": "deep"'
like 'says why' "$(cat "$SERVER_LOG")" 'FATAL:  invalid value for parameter "pkg_dbe_xml.max_depth": "deep"'
: >"$ARRIVAL_FILE"
preload
restart || fail 'the server starts'

echo "# $tried sessions"
done_testing
