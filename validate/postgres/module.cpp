// What the server looks for when it loads the library of validation, and how this finds the one
// that it builds on.
#include "compiled_schema.hpp"
#include "schema_table.hpp"
#include "services.hpp"

#include "host/call.hpp"

#include <cstring>

#include "../../hosts/postgres/server.hpp"

#undef errfinish

extern "C" {
PG_MODULE_MAGIC;
PGDLLEXPORT void _PG_init(void);
}

namespace pkg_dbe_xml::validation {

namespace {

constinit const library_services *found_services = nullptr;

void clean_up() noexcept { forget_schemas(); }

} // namespace

const library_services &services() noexcept { return *found_services; }

} // namespace pkg_dbe_xml::validation

// Raises, which is what the server expects here: nothing has been changed then, and it loads the
// library anew at the next call.
void _PG_init(void) {
    using namespace pkg_dbe_xml;
    void **const variable = find_rendezvous_variable(k_services_variable);
    if (*variable == nullptr) {
        load_file("$libdir/pkg_dbe_xml", false);
    }
    const auto *const record = static_cast<const library_services *>(*variable);
    if (record == nullptr || record->size != sizeof(library_services) ||
        record->revision != k_services_revision ||
        std::strcmp(record->release, k_services_release) != 0) {
        ereport(ERROR,
                (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                 errmsg("pkg_dbe_xml_validate %s does not fit the pkg_dbe_xml that is loaded (%s)",
                        k_services_release, record == nullptr ? "none" : record->release),
                 errdetail("Both libraries come from one build and are used together only."),
                 errhint("Install both from the same release, and start a new session.")));
    }
    validation::found_services = record;
    *record->clean_up = validation::clean_up;
    validation::watch_schema_table();
}

namespace host {

datum invoke(call_record *record, function_body body, const char *name) {
    return pkg_dbe_xml::validation::services().invoke(record, body, name);
}

} // namespace host
