# shellcheck shell=bash
# Bodies of functions that fail as none of the library's does: an internal assertion ends its session
# and no other; an exception that is no report of the library is an error like any other.
. "$(dirname "$0")/lib.sh"

# A library of its own with such functions, made of the objects that the extension is made of.
root=$(cd "$(dirname "$0")/../.." && pwd)
make -s -C "$root" build/postgres/failing_calls.so PG_CONFIG="${PG_CONFIG:-pg_config}" >"$work/make" 2>&1 ||
    sed 's/^/# /' "$work/make"
chmod 755 "$work"
install -m 644 "$root/build/postgres/failing_calls.so" "$work/"

for name in fail_assertion throw_bad_alloc throw_length_error throw_runtime_error throw_wordless count_alive; do
    sql "create function $name() returns integer as '$work/failing_calls.so', 'xml_dom_$name' language c"
done

# Sessions beside, which hold a document each.
open_session
held=$(tell "select xml_dom_new_document_clob('<held/>')")
goes_on() { like "$1: another session goes on" "$(tell "select xml_dom_write_to_buffer_doc('$held')")" '<held/>'; }

is 'an assertion reports its SQLSTATE and ends the session' \
    "$(sql 'select fail_assertion()' 'select 1 + 1' | grep -oE 'FATAL:  [0-9A-Z]{5}|connection to server was lost|^2$')" \
    "$(printf 'FATAL:  29003\nconnection to server was lost')"
goes_on 'an assertion'
like 'its words are in the log' "$(grep 'FATAL: .*xml_dom_fail_assertion' "$SERVER_LOG")" \
    'Failed on assertion in .*VARATT_IS_1B_E PTR is null'
like 'an assertion in a block with a handler ends the session, too' \
    "$(sql 'do $$ begin perform fail_assertion(); exception when others then raise notice $n$caught$n$; end $$')" \
    'FATAL:  29003'
goes_on 'an assertion in a block'

# throws NAME CALL REGEX: fails with that error; the same session goes on, and nothing is left alive.
throws() {
    local answer
    answer=$(sql "select $2()" "select $2()" 'select count_alive() as alive' 'select 1 + 1')
    is "$1: reported, each time it is called" "$(grep -cE "ERROR:  $3" <<<"$answer")" 2
    is "$1: destructors have run, and the session goes on" "$(tail -n 2 <<<"$answer")" "$(printf '0\n2')"
    goes_on "$1"
}
throws 'no memory for an object' throw_bad_alloc '53200: out of memory$'
throws 'an object that is too long' throw_length_error '53200: out of memory$'
throws 'an exception with words' throw_runtime_error 'XX000: anything, café$'
throws 'an exception of no known type' throw_wordless 'XX000: unknown exception$'

answer=$(sql "do \$\$ declare failed integer := 0; begin
    for round in 1..3000 loop
        begin
            perform throw_runtime_error();
        exception when internal_error then failed := failed + 1;
        end;
    end loop;
    raise notice '% caught, % alive', failed, count_alive();
end \$\$")
like 'thousands are caught by PL/pgSQL' "$answer" '3000 caught, 0 alive'
goes_on 'thousands of exceptions'
close_session
done_testing
