// Managing directory objects: the functions xml_directory_..., and the type of the roles in the
// table.
//
// A role is stored by its number, so that it keeps its rights when it is renamed and nobody
// inherits them when it is dropped. It is shown, dumped and restored by its name; a role that is
// gone is shown as the empty text, and restored it is nobody.
//
// Called by the server itself and calling nothing of the library's: failures are the server's, and
// nothing here has a destructor.
#include "host/path.hpp"

#include "own_directories.hpp"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "directory_table.hpp"

extern "C" {
#include <catalog/pg_authid.h>
#include <catalog/pg_class.h>
#include <catalog/pg_type.h>
#include <executor/spi.h>
#include <utils/acl.h>
#include <utils/builtins.h>
#include <utils/lsyscache.h>
#include <utils/syscache.h>
}

#undef PGDLLEXPORT
#define PGDLLEXPORT __attribute__((visibility("default")))

extern "C" {
PG_FUNCTION_INFO_V1(xml_dom_directory_role_in);
PG_FUNCTION_INFO_V1(xml_dom_directory_role_out);
PG_FUNCTION_INFO_V1(xml_dom_directory_create);
PG_FUNCTION_INFO_V1(xml_dom_directory_drop);
PG_FUNCTION_INFO_V1(xml_dom_directory_grant);
PG_FUNCTION_INFO_V1(xml_dom_directory_revoke);
}

namespace {

constexpr int k_longest_name = NAMEDATALEN - 1;

bool has_control_character(const char *text) {
    for (; *text != '\0'; ++text) {
        if (static_cast<unsigned char>(*text) < 0x20 || *text == 0x7F) {
            return true;
        }
    }
    return false;
}

void require_right() {
    if (!superuser() && !has_privs_of_role(GetUserId(), ROLE_PG_WRITE_SERVER_FILES)) {
        ereport(ERROR, (errcode(ERRCODE_INSUFFICIENT_PRIVILEGE),
                        errmsg("permission denied to manage directory objects"),
                        errhint("Only superusers and members of pg_write_server_files may create, "
                                "drop, grant and revoke them.")));
    }
}

// Argument `index` as a string; null is refused.
char *text_of(FunctionCallInfo fcinfo, int index, const char *what) {
    if (PG_ARGISNULL(index)) {
        ereport(ERROR,
                (errcode(ERRCODE_NULL_VALUE_NOT_ALLOWED), errmsg("%s must not be null", what)));
    }
    return text_to_cstring(PG_GETARG_TEXT_PP(index));
}

void require_good_name(const char *name) {
    if (name[0] == '\0' || std::strlen(name) > k_longest_name ||
        std::string_view(name).find_first_of("/\\") != std::string_view::npos ||
        has_control_character(name)) {
        ereport(ERROR,
                (errcode(ERRCODE_INVALID_NAME), errmsg("invalid name of a directory object"),
                 errdetail("A name has 1 to %d bytes and holds no slash, backslash or control "
                           "character.",
                           k_longest_name)));
    }
}

// The directory there is now: it may be made later, but what is there must be a directory and none
// of the server's.
void inspect_directory(const char *path) {
    const char *utf8_path = pg_server_to_any(path, static_cast<int>(std::strlen(path)), PG_UTF8);
    struct stat status {};
    if (fstatat(AT_FDCWD, utf8_path, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        ereport(WARNING, (errcode_for_file_access(),
                          errmsg("directory \"%s\" cannot be used yet: %m", path)));
        return;
    }
    if (!S_ISDIR(status.st_mode)) {
        ereport(ERROR,
                (errcode(ERRCODE_WRONG_OBJECT_TYPE), errmsg("\"%s\" is not a directory", path),
                 S_ISLNK(status.st_mode) ? errhint("Name the directory the link leads to.") : 0));
    }
    const int directory =
        openat(AT_FDCWD, utf8_path, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    bool failed = directory < 0;
    const bool is_own = !failed && host::stands_in_own_directory(directory, failed);
    if (directory >= 0) {
        close(directory);
    }
    if (is_own || failed) {
        ereport(ERROR, (errcode(ERRCODE_INVALID_OBJECT_DEFINITION),
                        errmsg("directory \"%s\" cannot be used", path),
                        errdetail("It is, or may be, one of the server's own.")));
    }
}

char *checked_directory(const char *given) {
    char *path = pstrdup(given);
    host::canonicalize_path(path);
    if (path[0] != '/' || has_control_character(path) || std::strlen(path) >= MAXPGPATH) {
        ereport(ERROR, (errcode(ERRCODE_INVALID_PARAMETER_VALUE),
                        errmsg("invalid path of a directory object"),
                        errdetail("It is an absolute path of less than %d bytes without control "
                                  "characters.",
                                  MAXPGPATH)));
    }
    inspect_directory(path);
    return path;
}

[[noreturn]] void no_such_directory(const char *name) {
    ereport(ERROR, (errcode(ERRCODE_UNDEFINED_OBJECT),
                    errmsg("directory object \"%s\" does not exist", name)));
    pg_unreachable();
}

// Runs one command on the table, as its owner; returns the number of rows it has changed. `format`
// holds %s for the quoted schema, up to three times.
uint64 change_table(const char *format, int count, Oid *types, Datum *values) {
    const Oid schema = host::extension_schema();
    const Oid table = OidIsValid(schema) ? get_relname_relid("pg_directory", schema) : InvalidOid;
    HeapTuple tuple = SearchSysCache1(RELOID, ObjectIdGetDatum(table));
    if (!HeapTupleIsValid(tuple)) {
        ereport(ERROR, (errcode(ERRCODE_UNDEFINED_TABLE),
                        errmsg("the extension pkg_dbe_xml is not installed in this database")));
    }
    const Oid owner = reinterpret_cast<Form_pg_class>(GETSTRUCT(tuple))->relowner;
    ReleaseSysCache(tuple);
    const char *quoted = quote_identifier(get_namespace_name(schema));
    char *command = psprintf(format, quoted, quoted, quoted);
    Oid caller = InvalidOid;
    int context = 0;
    GetUserIdAndSecContext(&caller, &context);
    // An error takes the user back with the (sub)transaction.
    SetUserIdAndSecContext(owner, context | SECURITY_LOCAL_USERID_CHANGE | SECURITY_NOFORCE_RLS);
    SPI_connect();
    const int result = SPI_execute_with_args(command, count, types, values, nullptr, false, 0);
    if (result < 0) {
        elog(ERROR, "SPI_execute_with_args: %s", SPI_result_code_string(result));
    }
    const uint64 changed = SPI_processed;
    SPI_finish();
    SetUserIdAndSecContext(caller, context);
    return changed;
}

// Gives or takes WRITE of a role on a directory. Roles that are gone are dropped from the list.
void change_privilege(FunctionCallInfo fcinfo, bool grants) {
    require_right();
    char *name = text_of(fcinfo, 0, "name");
    char *role_name = text_of(fcinfo, 1, "role");
    Oid types[] = {TEXTOID, OIDOID, BOOLOID};
    Datum values[] = {CStringGetTextDatum(name), ObjectIdGetDatum(get_role_oid(role_name, false)),
                      BoolGetDatum(grants)};
    const char *command =
        "UPDATE %s.pg_directory SET privileges = ARRAY("
        "SELECT r.oid FROM pg_catalog.pg_roles AS r "
        "WHERE (r.oid = ANY (privileges::oid[]) AND r.oid <> $2) OR (r.oid = $2 AND $3) "
        "ORDER BY r.rolname)::%s.xml_directory_role[] WHERE name = $1";
    if (change_table(command, 3, types, values) == 0) {
        no_such_directory(name);
    }
}

} // namespace

// The role of that name; of an unknown one, or of the empty text, nobody.
extern "C" PGDLLEXPORT Datum xml_dom_directory_role_in(PG_FUNCTION_ARGS) {
    const char *name = PG_GETARG_CSTRING(0);
    const Oid role = name[0] == '\0' ? InvalidOid : get_role_oid(name, true);
    if (name[0] != '\0' && !OidIsValid(role)) {
        ereport(WARNING,
                (errcode(ERRCODE_UNDEFINED_OBJECT), errmsg("role \"%s\" does not exist", name),
                 errdetail("Its place in the directory object stays empty.")));
    }
    PG_RETURN_OID(role);
}

extern "C" PGDLLEXPORT Datum xml_dom_directory_role_out(PG_FUNCTION_ARGS) {
    const char *name = GetUserNameFromId(PG_GETARG_OID(0), true);
    PG_RETURN_CSTRING(name != nullptr ? name : pstrdup(""));
}

extern "C" PGDLLEXPORT Datum xml_dom_directory_create(PG_FUNCTION_ARGS) {
    require_right();
    char *name = text_of(fcinfo, 0, "name");
    char *path = text_of(fcinfo, 1, "path");
    require_good_name(name);
    path = checked_directory(path);
    host::directory_row existing{};
    if (host::read_directory_row(name, existing)) {
        ereport(ERROR, (errcode(ERRCODE_DUPLICATE_OBJECT),
                        errmsg("directory object \"%s\" already exists", name)));
    }
    Oid types[] = {TEXTOID, OIDOID, TEXTOID};
    Datum values[] = {CStringGetTextDatum(name), ObjectIdGetDatum(GetUserId()),
                      CStringGetTextDatum(path)};
    change_table("INSERT INTO %s.pg_directory (name, owner, path) "
                 "VALUES ($1, $2::%s.xml_directory_role, $3)",
                 3, types, values);
    PG_RETURN_VOID();
}

extern "C" PGDLLEXPORT Datum xml_dom_directory_drop(PG_FUNCTION_ARGS) {
    require_right();
    char *name = text_of(fcinfo, 0, "name");
    Oid types[] = {TEXTOID};
    Datum values[] = {CStringGetTextDatum(name)};
    if (change_table("DELETE FROM %s.pg_directory WHERE name = $1", 1, types, values) == 0) {
        no_such_directory(name);
    }
    PG_RETURN_VOID();
}

extern "C" PGDLLEXPORT Datum xml_dom_directory_grant(PG_FUNCTION_ARGS) {
    change_privilege(fcinfo, true);
    PG_RETURN_VOID();
}

extern "C" PGDLLEXPORT Datum xml_dom_directory_revoke(PG_FUNCTION_ARGS) {
    change_privilege(fcinfo, false);
    PG_RETURN_VOID();
}
