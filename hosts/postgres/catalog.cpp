// The directory catalogue: rows of the table `pg_directory`. They are read without regard to the
// rights of the caller on the table, which ordinary roles do not have.
#include "host/catalog.hpp"

#include "guard.hpp"

#include "directory_table.hpp"

extern "C" {
#include <access/genam.h>
#include <access/htup_details.h>
#include <access/table.h>
#include <catalog/indexing.h>
#include <catalog/pg_extension.h>
#include <catalog/pg_type.h>
#include <commands/extension.h>
#include <utils/acl.h>
#include <utils/array.h>
#include <utils/builtins.h>
#include <utils/fmgroids.h>
#include <utils/lsyscache.h>
#include <utils/rel.h>
#include <utils/snapmgr.h>
}

namespace host {

// A row that is looked at.
struct catalog_row {
    text *path; // null when it has none
};

namespace {

constexpr const char *k_extension = "pkg_dbe_xml";

// The roles of an array of them, which has the layout of an array of oids.
void read_writers(Datum value, directory_row &row) {
    Datum *elements = nullptr;
    bool *nulls = nullptr;
    ArrayType *array = DatumGetArrayTypeP(value);
    deconstruct_array(array, ARR_ELEMTYPE(array), sizeof(Oid), true, TYPALIGN_INT, &elements,
                      &nulls, &row.writer_count);
    row.writers =
        static_cast<Oid *>(palloc(sizeof(Oid) * (static_cast<Size>(row.writer_count) + 1)));
    for (int i = 0; i < row.writer_count; ++i) {
        row.writers[i] = nulls[i] ? InvalidOid : DatumGetObjectId(elements[i]);
    }
}

void copy_row(HeapTuple tuple, TupleDesc columns, directory_row &row) {
    bool is_null = false;
    const Datum owner = heap_getattr(tuple, k_directory_owner_column, columns, &is_null);
    row.owner = is_null ? InvalidOid : DatumGetObjectId(owner);
    const Datum path = heap_getattr(tuple, k_directory_path_column, columns, &is_null);
    row.path = is_null ? nullptr : TextDatumGetCString(path);
    row.writer_count = 0;
    row.writers = nullptr;
    const Datum writers = heap_getattr(tuple, k_directory_privileges_column, columns, &is_null);
    if (!is_null) {
        read_writers(writers, row);
    }
}

[[nodiscard]] bool has_type(TupleDesc columns, int column, Oid type) {
    const auto *attribute = TupleDescAttr(columns, column - 1);
    return !attribute->attisdropped && attribute->atttypid == type;
}

// The columns are read by their numbers, and a dropped one still has values. Raises an error when a
// superuser has changed them.
void require_own_columns(TupleDesc columns) {
    bool own = columns->natts >= k_directory_privileges_column;
    if (own) {
        const auto *owner = TupleDescAttr(columns, k_directory_owner_column - 1);
        own = has_type(columns, k_directory_name_column, TEXTOID) &&
              has_type(columns, k_directory_path_column, TEXTOID) && !owner->attisdropped &&
              owner->attbyval && owner->attlen == static_cast<int16>(sizeof(Oid)) &&
              has_type(columns, k_directory_privileges_column, get_array_type(owner->atttypid));
    }
    if (!own) {
        ereport(ERROR, (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                        errmsg("table \"pg_directory\" has other columns than the extension "
                               "pkg_dbe_xml gave it")));
    }
}

[[nodiscard]] bool is_right_of(Oid role, Oid user) {
    return OidIsValid(role) && has_privs_of_role(user, role);
}

} // namespace

Oid extension_schema() {
    const Oid extension = get_extension_oid(k_extension, true);
    if (!OidIsValid(extension)) {
        return InvalidOid;
    }
    ScanKeyData key;
    ScanKeyInit(&key, Anum_pg_extension_oid, BTEqualStrategyNumber, F_OIDEQ,
                ObjectIdGetDatum(extension));
    Relation extensions = table_open(ExtensionRelationId, AccessShareLock);
    SysScanDesc scan = systable_beginscan(extensions, ExtensionOidIndexId, true, nullptr, 1, &key);
    HeapTuple tuple = systable_getnext(scan);
    const Oid schema = HeapTupleIsValid(tuple)
                           ? reinterpret_cast<Form_pg_extension>(GETSTRUCT(tuple))->extnamespace
                           : InvalidOid;
    systable_endscan(scan);
    table_close(extensions, AccessShareLock);
    return schema;
}

bool read_directory_row(const char *name, directory_row &row) {
    const Oid schema = extension_schema();
    const Oid table = OidIsValid(schema) ? get_relname_relid("pg_directory", schema) : InvalidOid;
    if (!OidIsValid(table)) {
        return false;
    }
    ScanKeyData key;
    ScanKeyInit(&key, k_directory_name_column, BTEqualStrategyNumber, F_TEXTEQ,
                CStringGetTextDatum(name));
    Relation directories = table_open(table, AccessShareLock);
    require_own_columns(RelationGetDescr(directories));
    // The newest state in every isolation level: what was revoked is revoked.
    Snapshot snapshot = RegisterSnapshot(GetLatestSnapshot());
    SysScanDesc scan = systable_beginscan(directories, InvalidOid, false, snapshot, 1, &key);
    HeapTuple tuple = systable_getnext(scan);
    const bool found = HeapTupleIsValid(tuple);
    if (found) {
        copy_row(tuple, RelationGetDescr(directories), row);
    }
    systable_endscan(scan);
    UnregisterSnapshot(snapshot);
    table_close(directories, AccessShareLock);
    return found;
}

bool may_write_into(const directory_row &row) {
    const Oid user = GetUserId();
    bool allowed = superuser_arg(user) || is_right_of(row.owner, user);
    for (int i = 0; i < row.writer_count && !allowed; ++i) {
        allowed = is_right_of(row.writers[i], user);
    }
    return allowed;
}

catalog_row *search_sys_cache1(const char *directory_name) {
    catalog_row *result = nullptr;
    guard([&] {
        directory_row row{};
        if (read_directory_row(directory_name, row)) {
            result = static_cast<catalog_row *>(palloc(sizeof(catalog_row)));
            result->path = row.path != nullptr ? cstring_to_text(row.path) : nullptr;
        }
    });
    return result;
}

datum sys_cache_get_attr(catalog_row *row, int attribute, bool &is_null) {
    is_null = attribute != k_directory_path || row->path == nullptr;
    return is_null ? 0 : from_pointer(row->path);
}

// Needs no guard: pfree of a live block does not fail.
void release_sys_cache(catalog_row *row) noexcept {
    if (row->path != nullptr) {
        pfree(row->path);
    }
    pfree(row);
}

bool has_directory_privilege_name(const char *directory_name, const char *privilege) {
    bool allowed = false;
    guard([&] {
        directory_row row{};
        allowed = std::strcmp(privilege, "WRITE") == 0 && read_directory_row(directory_name, row) &&
                  may_write_into(row);
    });
    return allowed;
}

void node_tolower(char *name) noexcept {
    // As the server folds names: ASCII everywhere, other letters where a letter is one byte.
    const bool single_byte = pg_database_encoding_max_length() == 1;
    for (; *name != '\0'; ++name) {
        const auto byte = static_cast<unsigned char>(*name);
        if (byte >= 'A' && byte <= 'Z') {
            *name = static_cast<char>(byte - 'A' + 'a');
        } else if (single_byte && byte >= 0x80) {
            *name = static_cast<char>(pg_tolower(byte));
        }
    }
}

} // namespace host
