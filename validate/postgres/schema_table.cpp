// The table xmlschema.schemas: reading it, filling it, and noticing that it has changed.
//
// It is read as catalogues are: what was committed last, by whoever may call the functions. A
// change of it, in whatever session, reaches the others as an invalidation of the table, which a
// trigger sends; the server delivers it once the change can be seen, and not at all when it is
// rolled back.
#include "schema_table.hpp"

#include "compiled_schema.hpp"
#include "guarded.hpp"
#include "schema_store.hpp"
#include "validation_reports.hpp"

#include "host/text.hpp"

#include "../../hosts/postgres/server.hpp"

#undef errfinish

extern "C" {
#include <access/genam.h>
#include <access/stratnum.h>
#include <access/table.h>
#include <catalog/pg_type.h>
#include <commands/trigger.h>
#include <executor/spi.h>
#include <utils/builtins.h>
#include <utils/fmgroids.h>
#include <utils/inval.h>
#include <utils/lsyscache.h>
#include <utils/rel.h>
#include <utils/relcache.h>
#include <utils/snapmgr.h>
}

namespace pkg_dbe_xml::validation {

namespace {

constexpr const char *k_schema = "xmlschema";
constexpr const char *k_table = "schemas";
constexpr AttrNumber k_location_column = 1;
constexpr AttrNumber k_text_column = 2;

// Set whenever the server may have told of a change. Schemas are compiled after it was cleared.
constinit bool changed = false;
constinit Oid table_number = InvalidOid;

void note_change(Datum /*argument*/, Oid relation) {
    changed = changed || relation == InvalidOid || relation == table_number;
}

// Raises.
Oid number_of_table() {
    const Oid space = get_namespace_oid(k_schema, false);
    const Oid number = get_relname_relid(k_table, space);
    if (!OidIsValid(number)) {
        ereport(ERROR, (errcode(ERRCODE_UNDEFINED_TABLE),
                        errmsg("the table %s.%s does not exist", k_schema, k_table)));
    }
    return number;
}

// The index of the locations. Raises.
Oid index_of(Relation relation) {
#if PG_VERSION_NUM >= 180000
    constexpr bool k_even_deferrable = false;
    return RelationGetPrimaryKeyIndex(relation, k_even_deferrable);
#else
    return RelationGetPrimaryKeyIndex(relation);
#endif
}

// The text at a location, in the caller's memory; null when there is none. Raises.
text *read_text(Datum location) {
    table_number = number_of_table();
    const Relation relation = table_open(table_number, AccessShareLock);
    ScanKeyData key;
    ScanKeyInit(&key, k_location_column, BTEqualStrategyNumber, F_TEXTEQ, location);
    const Snapshot snapshot = RegisterSnapshot(GetLatestSnapshot());
    const SysScanDesc scan =
        systable_beginscan(relation, index_of(relation), true, snapshot, 1, &key);
    text *found = nullptr;
    const HeapTuple row = systable_getnext(scan);
    if (HeapTupleIsValid(row)) {
        bool is_null = false;
        const Datum value = heap_getattr(row, k_text_column, RelationGetDescr(relation), &is_null);
        found = is_null ? nullptr : DatumGetTextPCopy(value);
    }
    systable_endscan(scan);
    UnregisterSnapshot(snapshot);
    table_close(relation, AccessShareLock);
    return found;
}

// Runs a statement of this library's with two texts, or one; the number of rows that it touched.
// Raises.
std::uint64_t run_statement(const char *statement, int count, Datum *values) {
    Oid types[2] = {TEXTOID, TEXTOID};
    SPI_connect();
    const int status = SPI_execute_with_args(statement, count, types, values, nullptr, false, 0);
    if (status < 0) {
        elog(ERROR, "xmlschema: %s", SPI_result_code_string(status));
    }
    const std::uint64_t touched = SPI_processed;
    SPI_finish();
    return touched;
}

} // namespace

void watch_schema_table() { CacheRegisterRelcacheCallback(note_change, 0); }

bool schemas_have_changed() {
    guard([] { AcceptInvalidationMessages(); });
    const bool result = changed;
    changed = false;
    return result;
}

bool find_schema(std::string_view location, std::string &found) {
    const Datum key = services().text_value(location);
    text *value = nullptr;
    guard([&value, key] { value = read_text(key); });
    if (value == nullptr) {
        return false;
    }
    found = services().utf8_text(host::from_pointer(value));
    return true;
}

} // namespace pkg_dbe_xml::validation

// Argument: locations and texts in two columns. All or nothing; a location that is there already
// gets the new text. Returns their number. Reports null_package_argument, schemas_shape,
// schemas_null, schema_not_xml and schema_not_known, and what the server raises.
PKG_DBE_XML_FUNCTION(xmlschema_add_schemas) {
    using namespace pkg_dbe_xml;
    using namespace pkg_dbe_xml::validation;
    constexpr const char *k_statement =
        "INSERT INTO xmlschema.schemas (location, text) VALUES ($1, $2) "
        "ON CONFLICT (location) DO UPDATE SET text = excluded.text, added_at = excluded.added_at";
    services().needs(call, {"xmlschema.add_schemas", "schemas", 0});
    const host::text_table table = services().texts_of_array(call.value(0));
    if (table.fault == host::pairs_fault::null_member) {
        services().report(reports::schemas_null, {}, {});
    }
    if (table.fault != host::pairs_fault::none || (table.rows != 0 && table.columns != 2)) {
        services().report(reports::schemas_shape, {}, {});
    }
    for (std::size_t row = 0; row < table.rows; ++row) {
        check_schema_text(services().utf8_text(table.members[2 * row]),
                          services().utf8_text(table.members[2 * row + 1]));
    }
    for (std::size_t row = 0; row < table.rows; ++row) {
        guard([&table, row] { run_statement(k_statement, 2, table.members + 2 * row); });
    }
    return host::from_int4(static_cast<std::int32_t>(table.rows));
}

// Argument: a location. Whether there was a schema; null for null. Throws what the server raises.
PKG_DBE_XML_FUNCTION(xmlschema_remove_schema) {
    using namespace pkg_dbe_xml::validation;
    constexpr const char *k_statement = "DELETE FROM xmlschema.schemas WHERE location = $1";
    if (call.is_null(0)) {
        return call.null();
    }
    Datum location = call.value(0);
    std::uint64_t removed = 0;
    guard([&location, &removed] { removed = run_statement(k_statement, 1, &location); });
    return host::from_boolean(removed != 0);
}

// The trigger of the table, for each statement: has all sessions told, this one included.
PKG_DBE_XML_FUNCTION(xmlschema_schemas_changed) {
    using namespace pkg_dbe_xml::validation;
    auto *const record = reinterpret_cast<FunctionCallInfo>(&call);
    guard([record] {
        if (!CALLED_AS_TRIGGER(record)) {
            ereport(ERROR, (errcode(ERRCODE_E_R_I_E_TRIGGER_PROTOCOL_VIOLATED),
                            errmsg("xmlschema.schemas_changed is a trigger")));
        }
        CacheInvalidateRelcache(reinterpret_cast<TriggerData *>(record->context)->tg_relation);
    });
    return 0;
}
