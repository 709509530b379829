// Offers the record of the library as another build of it would. For other_build.sh only.
#include "library_services.hpp"

#include <cstring>

extern "C" {
#include <postgres.h>

#include <fmgr.h>
#include <utils/builtins.h>

#pragma GCC visibility push(default)
PG_MODULE_MAGIC;
PG_FUNCTION_INFO_V1(offer_services_of);
Datum offer_services_of(PG_FUNCTION_ARGS);
#pragma GCC visibility pop
}

// offer_services_of(build text): what guests find from then on is the record of a build of another
// 'size', 'revision' or 'release', 'none', or that of the library again. The library was loaded
// before.
Datum offer_services_of(PG_FUNCTION_ARGS) {
    static pkg_dbe_xml::library_services changed;
    static void *original = nullptr;
    void **const variable = find_rendezvous_variable(pkg_dbe_xml::k_services_variable);
    original = original == nullptr ? *variable : original;
    if (original == nullptr) {
        ereport(ERROR, (errmsg("the library is not loaded")));
    }
    changed = *static_cast<const pkg_dbe_xml::library_services *>(original);
    const char *const build = text_to_cstring(PG_GETARG_TEXT_PP(0));
    if (std::strcmp(build, "size") == 0) {
        changed.size += 8;
    } else if (std::strcmp(build, "revision") == 0) {
        ++changed.revision;
    } else if (std::strcmp(build, "release") == 0) {
        changed.release = "0.9";
    }
    *variable = std::strcmp(build, "none") == 0       ? nullptr
                : std::strcmp(build, "original") == 0 ? original
                                                      : &changed;
    PG_RETURN_VOID();
}
