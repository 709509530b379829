# shellcheck shell=bash
# Helpers of the scripted sessions. A script sources this first, which gives it a database of its
# own with the extension, and calls `done_testing` last.
#
#   is NAME GOT EXPECTED        like NAME GOT REGEX        unlike NAME GOT REGEX
#   sql STATEMENTS...           one session, one string for each statement or meta-command;
#                               prints the rows, errors as psql shows them
#   sqlstate_of STATEMENTS...   the SQLSTATE of the last statement, 00000 when it did not fail
#   background NAME STATEMENTS  a session beside; `output_of NAME` waits for its end and prints
#                               what it wrote
#   open_session, tell, close_session   a session that lasts over several steps
set -uo pipefail
export PGOPTIONS="${PGOPTIONS:-}"
export PGCLIENTENCODING=UTF8
test_name=$(basename "$0" .sh)
test_count=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

pass() {
    test_count=$((test_count + 1))
    echo "ok $test_count - $test_name: $1"
}
fail() {
    test_count=$((test_count + 1))
    echo "not ok $test_count - $test_name: $1"
    shift
    printf '%s\n' "$@" | sed 's/^/#   /'
}
is() { if [ "$2" = "$3" ]; then pass "$1"; else fail "$1" "got:" "$2" "expected:" "$3"; fi; }
like() { if grep -qE -- "$3" <<<"$2"; then pass "$1"; else fail "$1" "got:" "$2" "expected to match: $3"; fi; }
unlike() { if grep -qE -- "$3" <<<"$2"; then fail "$1" "got:" "$2" "expected not to match: $3"; else pass "$1"; fi; }
# at_most NAME GOT LIMIT, whole numbers
at_most() { if [ "$2" -le "$3" ] 2>/dev/null; then pass "$1"; else fail "$1" "got: $2" "expected at most: $3"; fi; }
done_testing() { echo "1..$test_count"; }

client() { psql -X -A -t -q -v VERBOSITY=verbose -v SHOW_CONTEXT=always "$@"; }
# One statement or meta-command to an argument.
statements() {
    local statement
    for statement in "$@"; do
        case $statement in
        '\'*) printf '%s\n' "$statement" ;;
        *) printf '%s\n;\n' "$statement" ;;
        esac
    done
}
sql() { statements "$@" | client 2>&1; }
sqlstate_of() {
    { statements "$@"; echo '\echo sqlstate :SQLSTATE'; } | client 2>/dev/null | sed -n 's/^sqlstate //p'
}

background() {
    local name=$1
    shift
    statements "$@" >"$work/$name.sql"
    {
        PGAPPNAME="$name" client <"$work/$name.sql" >"$work/$name.out" 2>&1
        : >"$work/$name.ended"
    } &
}
output_of() {
    local i
    for ((i = 0; i < 1200; i++)); do
        [ ! -e "$work/$1.ended" ] || break
        sleep 0.05
    done
    [ -e "$work/$1.ended" ] || echo "still running after a minute"
    cat "$work/$1.out"
}
# Waits until the session of that name runs a statement that matches; 10 seconds at most.
wait_for_statement() {
    local i
    for ((i = 0; i < 200; i++)); do
        [ "$(sql "select count(*) from pg_stat_activity where application_name = '$1'
            and state = 'active' and query ~ '$2'")" = 1 ] && return 0
        sleep 0.05
    done
    return 1
}

# A session that lasts: `tell STATEMENT...` prints what it answers.
open_session() {
    coproc SESSION { client 2>&1; }
    session_process=$SESSION_PID
    # Copies, since subshells do not see the descriptors of a coprocess.
    exec {session_input}>&"${SESSION[1]}" {session_output}<&"${SESSION[0]}" \
        {SESSION[1]}>&- {SESSION[0]}<&-
}
tell() {
    local line
    { statements "$@"; printf '%s\n' '\echo end of answer'; } >&"$session_input"
    while IFS= read -r -t "${ANSWER_TIMEOUT:-60}" line <&"$session_output" && [ "$line" != "end of answer" ]; do
        printf '%s\n' "$line"
    done
}
close_session() {
    exec {session_input}>&- {session_output}<&-
    wait "$session_process" 2>/dev/null
}

# Waits until the server's log holds a line that matches; 10 seconds at most.
logged() {
    local i
    for ((i = 0; i < 200; i++)); do
        grep -qE -- "$1" "$SERVER_LOG" && return 0
        sleep 0.05
    done
    return 1
}

export PGDATABASE="t_$test_name"
psql -X -q -d postgres -c "create database $PGDATABASE" || exit 1
client -c 'create extension pkg_dbe_xml' || exit 1
