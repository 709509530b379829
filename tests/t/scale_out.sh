# shellcheck shell=bash
# The example of three nodes behind a proxy: procedures run where the documents are, a handle means
# nothing elsewhere, a node that fails leaves nothing behind. And the same through foreign servers.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/../../examples/scale_out/nodes.sh"

bindir=/usr/lib/postgresql/$(sql 'show server_version_num' | cut -c1-2)/bin
place=$(mktemp -d /tmp/pkg_dbe_xml_nodes_XXXXXX)
trap 'stop_nodes; rm -rf "$work" "$place"' EXIT
if ! start_nodes "$place" "$bindir" >"$work/start" 2>&1; then
    fail 'three nodes and a proxy start' "$(cat "$work/start" "$place"/*/log)"
    exit
fi
pass 'three nodes and a proxy start'

# on NODE STATEMENT...: one session there.
on() {
    local node=$1
    shift
    statements "$@" | in_node "$node" -A -t -v VERBOSITY=verbose 2>&1
}
joined() { tr '\n' ' '; }

# The story as the reader sees it.
in_node proxy -v ON_ERROR_STOP=1 -f "$scale_out/story.sql" >"$work/story" 2>&1
is 'the story runs to its end' "$?" 0
files=$(find /usr/share/mime -mindepth 2 -name '*.xml' ! -path '*/packages/*' | wc -l)
like 'all documents are stored' "$(sed -n '/stored/,/^$/p' "$work/story")" "^ +$files$"
like 'the change arrived' "$(cat "$work/story")" '^ somebody$'
like 'the handle does not travel' "$(cat "$work/story")" 'ERROR:  not find xmldom in hash'
like 'nothing is left' "$(tail -n 6 "$work/story" | joined)" 'node1 \| +0 \| +0 +node2 \| +0 \| +0 +node3 \| +0 \| +0'

# Every node has its share, and no document is twice.
shares=$(for node in node1 node2 node3; do on $node 'select count(*) from document'; done)
is 'the shares add up' "$(awk '{ sum += $1 } END { print sum }' <<<"$shares")" "$files"
is 'each node has some' "$(awk '$1 >= 50' <<<"$shares" | wc -l)" 3

# What the nodes count is what is in the files.
count_in_files() { find /usr/share/mime -mindepth 2 -name '*.xml' ! -path '*/packages/*' -exec grep -ho "$1" {} + | wc -l; }
is 'comments of all nodes' "$(on proxy 'select sum(comments) from count_comments()')" "$(count_in_files '<comment[ >]')"
is 'comments in Welsh' "$(on proxy "select sum(comments) from count_comments() where language = 'cy'")" \
    "$(count_in_files '<comment xml:lang="cy"')"
is 'it runs on every node, once' "$(on proxy 'select distinct node from count_comments() order by 1' | joined)" 'node1 node2 node3 '

# What one call changes on all nodes is what each node has.
fonts=$(find /usr/share/mime/font -name '*.xml' | wc -l)
is 'changed on all nodes' "$(on proxy "select sum(changed) from mark_reviewed('font', 'tester')")" "$fonts"
is 'found on the nodes' "$(for node in node1 node2 node3; do
    on $node "select count(*) from document where body like '%reviewed-by=\"tester\"%'"
done | awk '{ sum += $1 } END { print sum }')" "$fonts"

# A node that fails: the whole call fails, and no tree stays in its session.
on node2 "insert into document values ('broken/x.xml', '<a><b></a>')" >/dev/null
answer=$(on proxy "select count(*) from mark_reviewed('broken', 'tester')" 'select sum(documents), sum(handles) from node_session()')
like 'a node that fails: its SQLSTATE' "$answer" 'ERROR:  2200M: '
like 'and its message' "$answer" 'REMOTE ERROR: invalid XML document'
is 'no tree stays behind' "$(tail -n 1 <<<"$answer")" '0|0'
on node2 "delete from document where name = 'broken/x.xml'" >/dev/null

# Handles between nodes. Part 0 is node1, 1 is node2, 2 is node3.
name=$(on node2 'select min(name) from document')
answer=$(on proxy "select open_document('$name') as doc \\gset" '\echo :doc' "select left(outline_on(1, :'doc'), 9)" \
    "select outline_on(2, :'doc')" "select xmldom.outline(:'doc'::xmldom.document)" 'select sum(freed) from free_session() as freed' \
    "select outline_on(1, :'doc')")
like 'the proxy passes a handle on' "$(sed -n 1p <<<"$answer")" '^\\x[0-9a-f]{26}$'
is 'it is good on its node' "$(sed -n 2p <<<"$answer")" '#document'
like 'and refused on another' "$(sed -n 3p <<<"$answer")" 'ERROR:  2200U: public.outline_on\(2\): \[documents\] REMOTE ERROR: not find xmldom in hash'
like 'and in the proxy' "$answer" '^ERROR:  2200U: not find xmldom in hash'
is 'its node frees it' "$(grep -xc 1 <<<"$answer")" 1
like 'and refuses it then' "$(grep 'ERROR' <<<"$answer" | tail -n 1)" '2200U: public.outline_on'
is 'sessions of the nodes end with that of the proxy' "$(on proxy "select open_document('$name') is not null" >/dev/null
    on proxy 'select sum(documents) from node_session()')" 0

# The same without PL/Proxy: foreign tables of calls, and one connection at a time.
is 'foreign servers' "$(on proxy 'create extension postgres_fdw' 'create extension dblink' \
    "do \$\$ begin for i in 1..3 loop
        execute format('create server remote%s foreign data wrapper postgres_fdw options (host %L, port %L, dbname %L)',
            i, '$place/node' || i, '5432', 'documents');
        execute format('create user mapping for current_user server remote%s options (user %L)', i, 'postgres');
    end loop; end \$\$")" ''
is 'through dblink' "$(on proxy "select sum(changed) from generate_series(1, 3) as i,
    dblink('remote' || i, \$\$select * from mark_reviewed('font', 'again')\$\$) as t (node text, changed bigint, bytes bigint)")" "$fonts"
for i in 1 2 3; do on node$i 'create view counted as select * from count_comments()'; done >/dev/null
is 'through foreign tables over views' "$(on proxy "create table counted (node text, language text, comments bigint) partition by list (node)" \
    'create foreign table counted1 partition of counted for values in ($$node1$$) server remote1 options (table_name $$counted$$)' \
    'create foreign table counted2 partition of counted for values in ($$node2$$) server remote2 options (table_name $$counted$$)' \
    'create foreign table counted3 partition of counted for values in ($$node3$$) server remote3 options (table_name $$counted$$)' \
    'select sum(comments) from counted')" "$(count_in_files '<comment[ >]')"
is 'the same, for one node' "$(on proxy "select count(distinct node) from counted where node = 'node2'")" 1
done_testing
