// The settings, most of them in a table, and how they are defined.
#include "settings.hpp"

#include "host/large_object.hpp"
#include "host/lifetime.hpp"
#include "host/limits.hpp"

#include <cstddef>
#include <iterator>

#include "setting_table.hpp"

extern "C" {
#include <access/parallel.h>
#include <access/xact.h>
}

namespace host {

constinit int large_object_piece_setting = static_cast<int>(k_object_piece);

namespace {

constinit char *safe_data_path_value = nullptr;
constinit std::size_t defined_count = 0;
constinit bool lifetime_is_defined = false;
constexpr int k_many = 10'000'000;

// What guards the server. A new setting is a row here, a line in docs/limits.md and a row in
// tests/t/settings_arrival.sh.
constexpr setting k_settings[] = {
    {.name = "pkg_dbe_xml.safe_data_path",
     .text = "Directory below which XML files may be written.",
     .details = "Empty: every directory object may be used by those who have the right to.",
     .path = &safe_data_path_value},
    {.name = k_budget_base_name,
     .text = "Memory that a parse may take, whatever the size of its text.",
     .details = "What pkg_dbe_xml.parse_budget_factor allows comes on top.",
     .number = &parse_limits.budget_base,
     .least = 64,
     .most = MAX_KILOBYTES,
     .flags = GUC_UNIT_KB},
    {.name = k_budget_factor_name,
     .text = "Memory that a parse may take for each byte of its text.",
     .details = "What pkg_dbe_xml.parse_budget_base allows comes on top.",
     .number = &parse_limits.budget_factor,
     .least = 0,
     .most = 100'000},
    {.name = k_max_depth_name,
     .text = "Levels of elements that a text may have.",
     .number = &parse_limits.max_depth,
     .least = 1,
     .most = k_many},
    {.name = k_max_particles_name,
     .text = "Names and groups that the content model of an element type may have.",
     .details = "Ten times as many where they may be mixed with text.",
     .number = &parse_limits.max_particles,
     .least = 1,
     .most = k_many},
    {.name = k_max_attributes_name,
     .text = "Attributes that an element may have, defaults included.",
     .number = &parse_limits.max_attributes,
     .least = 1,
     .most = k_many},
    {.name = k_work_name,
     .text = "Millions of steps of work that a parse may do beyond going through its text.",
     .details = "40 steps for each byte of the text come on top.",
     .number = &parse_limits.work,
     .least = 1,
     .most = k_many},
    {.name = k_session_memory_name,
     .text = "Memory that the trees, handles and parsers of a session may take together.",
     .details = "Beyond it statements that need more end with an error.",
     .number = &max_session_memory,
     .least = 1024,
     .most = MAX_KILOBYTES,
     .flags = GUC_UNIT_KB},
    {.name = k_max_path_work_name,
     .text = "Nodes, comparisons and pieces of text that the evaluation of a path may look at.",
     .number = &path_limits.max_work,
     .least = 1000,
     .most = INT_MAX},
    {.name = k_max_path_memory_name,
     .text = "Memory that the evaluation of a path may take.",
     .number = &path_limits.max_memory,
     .least = 64,
     .most = MAX_KILOBYTES,
     .flags = GUC_UNIT_KB},
    {.name = "pkg_dbe_xml.large_object_piece",
     .text = "Bytes that are read from or written to a large object at a time.",
     .details = "For tests.",
     .number = &large_object_piece_setting,
     .least = 1,
     .most = static_cast<int>(k_object_piece),
     .flags = GUC_NO_SHOW_ALL | GUC_NOT_IN_SAMPLE | GUC_UNIT_BYTE},
};

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
bool check_path(char **value, void ** /*extra*/, GucSource source) {
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

// Guards nothing, so anybody may set it, and what cannot be read the server may drop as usual.
void define_lifetime() {
    static const config_enum_entry k_values[] = {
        {k_lifetime_names[0], static_cast<int>(lifetime::session), false},
        {k_lifetime_names[1], static_cast<int>(lifetime::transaction), false},
        {nullptr, 0, false}};
    DefineCustomEnumVariable(
        k_lifetime_name, "With what documents and parsers end that are made from now on.",
        "With the session, or with the transaction that made them.", &lifetime_setting,
        static_cast<int>(lifetime::session), k_values, PGC_USERSET, 0, nullptr, nullptr, nullptr);
}

void define_one(const setting &row) {
    if (row.path != nullptr) {
        DefineCustomStringVariable(row.name, row.text, row.details, row.path, "", PGC_SUSET,
                                   row.flags, check_path, nullptr, nullptr);
        return;
    }
    DefineCustomIntVariable(row.name, row.text, row.details, row.number, *row.number, row.least,
                            row.most, PGC_SUSET, row.flags, nullptr, nullptr, nullptr);
}

} // namespace

std::span<const setting> all_settings() noexcept { return k_settings; }

void define_settings() {
    // Called by the server: failures are the server's own, and nothing here has a destructor.
    for (std::size_t index = defined_count; index < std::size(k_settings); ++index) {
        require_values_that_stand(k_settings[index]);
    }
    while (defined_count < std::size(k_settings)) {
        define_with_its_values(k_settings[defined_count], define_one);
        ++defined_count;
    }
    if (!lifetime_is_defined) {
        define_lifetime();
        lifetime_is_defined = true;
    }
    MarkGUCPrefixReserved("pkg_dbe_xml");
    // When the library is loaded before sessions begin, these get their stored values later.
    session_is_admitted = !process_shared_preload_libraries_in_progress;
}

const char *safe_data_path_setting() noexcept { return safe_data_path_value; }

} // namespace host
