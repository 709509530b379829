// Values that were stored for a database or a role before anybody could say that they are wrong, in
// a session of a server that loads the library when it starts.
//
// There the settings are defined before the session begins. What is wrong among its stored values
// the server drops with a warning, and goes on with a value that was stored for more sessions, or
// with the default. Nobody asks the library. So the first call looks into the server's catalogue.
// A session that loads the library itself need not: the server hands it all that was stored.
#include "guard.hpp"
#include "settings.hpp"

#include "setting_table.hpp"

extern "C" {
#include <access/genam.h>
#include <access/htup_details.h>
#include <access/table.h>
#include <catalog/indexing.h>
#include <catalog/pg_db_role_setting.h>
#include <catalog/pg_type.h>
#include <utils/array.h>
#include <utils/builtins.h>
#include <utils/fmgroids.h>
#include <utils/guc_tables.h>
#include <utils/rel.h>
}

namespace host {

constinit bool session_is_admitted = false;

namespace {

void require_taken(const setting &row, const char *value, GucSource source) {
    // Another value that was stored for fewer sessions, or set since, took its place in any case.
    const config_generic *record = find_setting(row.name);
    if (record == nullptr || record->reset_source < source) {
        require_readable(row, value, source);
    }
}

// Of "name=value".
void require_taken(char *assignment, GucSource source) {
    char *name = nullptr;
    char *value = nullptr;
    ParseLongOption(assignment, &name, &value);
    for (const setting &row : all_settings()) {
        if (value != nullptr && pg_strcasecmp(name, row.name) == 0) {
            require_taken(row, value, source);
        }
    }
}

void require_all_taken(Datum assignments, GucSource source) {
    Datum *elements = nullptr;
    bool *nulls = nullptr;
    int count = 0;
    deconstruct_array(DatumGetArrayTypeP(assignments), TEXTOID, -1, false, TYPALIGN_INT, &elements,
                      &nulls, &count);
    for (int index = 0; index < count; ++index) {
        if (!nulls[index]) {
            require_taken(TextDatumGetCString(elements[index]), source);
        }
    }
}

// What is stored for a database and a role; none of either is all of them.
void require_stored_taken(Relation catalog, Oid database, Oid role, GucSource source) {
    ScanKeyData keys[2];
    ScanKeyInit(&keys[0], Anum_pg_db_role_setting_setdatabase, BTEqualStrategyNumber, F_OIDEQ,
                ObjectIdGetDatum(database));
    ScanKeyInit(&keys[1], Anum_pg_db_role_setting_setrole, BTEqualStrategyNumber, F_OIDEQ,
                ObjectIdGetDatum(role));
    SysScanDesc scan =
        systable_beginscan(catalog, DbRoleSettingDatidRolidIndexId, true, nullptr, 2, keys);
    HeapTuple tuple = systable_getnext(scan);
    if (HeapTupleIsValid(tuple)) {
        bool is_null = false;
        const Datum assignments = heap_getattr(tuple, Anum_pg_db_role_setting_setconfig,
                                               RelationGetDescr(catalog), &is_null);
        if (!is_null) {
            require_all_taken(assignments, source);
        }
    }
    systable_endscan(scan);
}

} // namespace

void admit_session() {
    guard([] {
        const Oid role = GetAuthenticatedUserId(); // the one whose values the server took
        Relation catalog = table_open(DbRoleSettingRelationId, AccessShareLock);
        require_stored_taken(catalog, MyDatabaseId, role, PGC_S_DATABASE_USER);
        require_stored_taken(catalog, InvalidOid, role, PGC_S_USER);
        require_stored_taken(catalog, MyDatabaseId, InvalidOid, PGC_S_DATABASE);
        require_stored_taken(catalog, InvalidOid, InvalidOid, PGC_S_GLOBAL);
        table_close(catalog, AccessShareLock);
    });
    session_is_admitted = true;
}

} // namespace host
