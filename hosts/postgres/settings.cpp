// The settings of the extension. Only a superuser may change them: they guard the server.
#include "settings.hpp"

#include "host/limits.hpp"

#include <cstddef>
#include <iterator>

#include "server.hpp"

extern "C" {
#include <access/parallel.h>
#include <access/xact.h>
}

namespace host {

namespace {

constinit char *safe_data_path_value = nullptr;
constinit std::size_t defined_count = 0;

// Whether the one who set it is told: SET, ALTER ROLE, ALTER SYSTEM, an option of a connection.
// What was stored earlier comes back without anybody to ask: when a session begins, when the
// library is loaded after it was set, when the configuration is read again, in a parallel worker.
bool refusal_is_seen(GucSource source) noexcept {
    if (defined_count == 0 || InitializingParallelWorker) {
        return false;
    }
    switch (source) {
    case PGC_S_FILE: // ALTER SYSTEM runs in a transaction of its own; files are read in none
        return IsTransactionState() && !IsTransactionBlock();
    case PGC_S_GLOBAL:
    case PGC_S_DATABASE:
    case PGC_S_USER:
    case PGC_S_DATABASE_USER:
        return false;
    default:
        return true;
    }
}

// A relative path would mean another directory to every reader, so nothing can be written below it.
// It is refused, but for a stored one: refusing that would leave the setting empty, which allows
// all writing, and so it stays and nothing can be written.
// Called by the server; nothing here has a destructor.
bool check_safe_data_path(char **value, void ** /*extra*/, GucSource source) {
    if (*value == nullptr || **value == '\0' || is_absolute_path(*value)) {
        return true;
    }
    if (!refusal_is_seen(source)) {
        if (!InitializingParallelWorker) {
            // When the configuration is read again, one process saying so is enough.
            const bool said = source == PGC_S_FILE && IsUnderPostmaster && defined_count != 0;
            ereport(said ? DEBUG3 : WARNING,
                    (errcode(ERRCODE_INVALID_PARAMETER_VALUE),
                     errmsg("pkg_dbe_xml.safe_data_path is not an absolute path: \"%s\"", *value),
                     errdetail("No XML file can be written.")));
        }
        return true;
    }
    GUC_check_errdetail("It is not an absolute path.");
    GUC_check_errhint("Name a directory from \"/\" on, or leave the setting empty.");
    return false;
}

// The first to be defined: its check asks whether it is.
void define_safe_data_path() {
    DefineCustomStringVariable(
        "pkg_dbe_xml.safe_data_path", "Directory below which XML files may be written.",
        "Empty: every directory object may be used by those who have the right to.",
        &safe_data_path_value, "", PGC_SUSET, 0, check_safe_data_path, nullptr, nullptr);
}

constexpr int k_many = 10'000'000;

void define_limit(const char *name, const char *text, const char *details, int &value, int least,
                  int most, int flags) {
    DefineCustomIntVariable(name, text, details, &value, value, least, most, PGC_SUSET, flags,
                            nullptr, nullptr, nullptr);
}

void define_budget_base() {
    define_limit(k_budget_base_name, "Memory that a parse may take, whatever the size of its text.",
                 "What pkg_dbe_xml.parse_budget_factor allows comes on top.",
                 parse_limits.budget_base, 64, MAX_KILOBYTES, GUC_UNIT_KB);
}

void define_budget_factor() {
    define_limit(k_budget_factor_name, "Memory that a parse may take for each byte of its text.",
                 "What pkg_dbe_xml.parse_budget_base allows comes on top.",
                 parse_limits.budget_factor, 0, 100'000, 0);
}

void define_max_depth() {
    define_limit(k_max_depth_name, "Levels of elements that a text may have.", nullptr,
                 parse_limits.max_depth, 1, k_many, 0);
}

void define_max_particles() {
    define_limit(k_max_particles_name,
                 "Names and groups that the content model of an element type may have.",
                 "Ten times as many where they may be mixed with text.", parse_limits.max_particles,
                 1, k_many, 0);
}

void define_max_attributes() {
    define_limit(k_max_attributes_name, "Attributes that an element may have, defaults included.",
                 nullptr, parse_limits.max_attributes, 1, k_many, 0);
}

void reserve_prefix() {
#if PG_VERSION_NUM >= 150000
    MarkGUCPrefixReserved("pkg_dbe_xml");
#else
    EmitWarningsOnPlaceholders("pkg_dbe_xml");
#endif
}

// In this order; one that fails is tried again when the settings are asked for again.
constexpr void (*k_definitions[])() = {
    define_safe_data_path, define_large_object_piece, define_budget_base,    define_budget_factor,
    define_max_depth,      define_max_particles,      define_max_attributes, reserve_prefix};

} // namespace

void define_settings() {
    // Called by the server: failures are the server's own, and nothing here has a destructor.
    while (defined_count < std::size(k_definitions)) {
        k_definitions[defined_count]();
        ++defined_count;
    }
}

bool settings_are_defined() noexcept { return defined_count == std::size(k_definitions); }

const char *safe_data_path_setting() noexcept { return safe_data_path_value; }

} // namespace host
