# shellcheck shell=bash
# Faults in the middle of work: statements cancelled and timed out, sessions terminated, memory that
# runs out, errors of the server inside calls. fuzz/server_faults plays as many as one likes.
. "$(dirname "$0")/lib.sh"

faults=$(dirname "$0")/../../fuzz/server_faults
answer=$("$faults" 240 2>&1)
sed 's/^/# /' <<<"$answer"
is 'after each of 240 faults the session holds nothing and goes on' "$(tail -n 1 <<<"$answer")" 'everything held'
is 'all kinds of faults were played' "$(grep -cE '^[a-z_]+ 40 [0-9]+ [0-9]+$' <<<"$answer")" 6
for database in faults faults_latin1; do
    sql "drop database if exists $database" >/dev/null
done
done_testing
