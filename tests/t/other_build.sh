# shellcheck shell=bash
# The library of validation beside a library of another build: it refuses to be loaded, nothing else
# of the session suffers, and it is loaded once the libraries fit.
. "$(dirname "$0")/lib.sh"

root=$(cd "$(dirname "$0")/../.." && pwd)
make -s -C "$root" build/postgres/other_build.so PG_CONFIG="${PG_CONFIG:-pg_config}" >"$work/make" 2>&1 ||
    sed 's/^/# /' "$work/make"
chmod 755 "$work"
install -m 644 "$root/build/postgres/other_build.so" "$work/"

sql 'create extension pkg_dbe_xml_validate' "create function offer_services_of(text) returns void
    as '$work/other_build.so', 'offer_services_of' language c strict" \
    "select xmlschema.add_schemas(array[array['a.xsd',
        '<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"><xs:element name=\"a\"/></xs:schema>']])" >/dev/null
loaded="select count(*) from pg_catalog.pg_read_file('/proc/' || pg_backend_pid() || '/maps') as maps where maps ~ 'pkg_dbe_xml_validate'"
validate="select xmlschema.is_valid('<a/>', 'a.xsd')"

# refused BUILD RELEASE: beside a build that is another one in that.
refused() {
    open_session
    tell "select xmldom.parse('<kept/>')::raw as tree \\gset" >/dev/null
    tell "select offer_services_of('$1')" >/dev/null
    local answer
    answer=$(tell "$validate")
    like "another $1: refused" "$answer" \
        "ERROR:  55000: pkg_dbe_xml_validate 1\\.0 does not fit the pkg_dbe_xml that is loaded \\($2\\)"
    like "another $1: and why" "$answer" 'DETAIL:  Both libraries come from one build'
    like "another $1: and what to do" "$answer" 'HINT:  Install both from the same release'
    like "another $1: refused each time" "$(tell "$validate")" 'ERROR:  55000'
    is "another $1: the session goes on with its trees" \
        "$(tell "select xmldom.to_text(:'tree'::raw::xmldom.node)")" '<kept/>'
    tell "select offer_services_of('original')" >/dev/null
    is "another $1: and validates with its own" "$(tell "$validate")" t
    is "another $1: which is loaded" "$(tell "$loaded")" 1
    close_session
}
refused size '1\.0'
refused revision '1\.0'
refused release '0\.9'

# A library that is loaded and offers nothing.
answer=$(sql "select xmldom.to_text(xmldom.parse('<a/>'))" "select offer_services_of('none')" "$validate")
like 'no record at all: refused' "$answer" 'ERROR:  55000: .* \(none\)'
done_testing
