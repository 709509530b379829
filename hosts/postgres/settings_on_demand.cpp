// When the settings are defined.
//
// Up to version 15 the server sorts all of its settings anew for each that is defined, 36
// microseconds a time: for ours together nearly as long as loading the library takes. Few sessions
// look at them. So a session that loads the library leaves them undefined, with their defaults,
// until a statement or a function of the server that asks for settings or sets them is about to
// run, and looks before it uses them whether one was set in another way: the configuration was read
// again, or a function brings it along.
#include "settings.hpp"

#include "guard.hpp"
#include "host/limits.hpp"

#include <algorithm>
#include <cstddef>

#include "server.hpp"

extern "C" {
#include <access/parallel.h>
#include <catalog/objectaccess.h>
#include <parser/analyze.h>
#include <utils/fmgroids.h>
#include <utils/guc_tables.h>
}

namespace host {

#if PG_VERSION_NUM < 160000

namespace {

constexpr char k_prefix[] = "pkg_dbe_xml.";

constinit object_access_hook_type next_access_hook = nullptr;
constinit post_parse_analyze_hook_type next_analyze_hook = nullptr;

// Whether a name comes before another in the server's order, which takes capital letters of ASCII
// for small ones and bytes for what `char` makes of them.
bool comes_before(const char *left, const char *right) noexcept {
    const auto small = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    };
    while (*left != '\0' && *right != '\0' && small(*left) == small(*right)) {
        ++left;
        ++right;
    }
    return *left == '\0' || *right == '\0' ? *right != '\0' : small(*left) < small(*right);
}

bool is_ours(const char *name) noexcept {
    return name != nullptr && pg_strncasecmp(name, k_prefix, sizeof k_prefix - 1) == 0;
}

// Whether somebody has set one of ours, or what might be meant for one. The server keeps such
// settings with its own, sorted.
bool one_is_set() noexcept {
    config_generic **const first = get_guc_variables();
    config_generic **const end = first + GetNumConfigOptions();
    config_generic **const place =
        std::lower_bound(first, end, k_prefix, [](const config_generic *setting, const char *name) {
            return comes_before(setting->name, name);
        });
    return place != end && is_ours((*place)->name);
}

bool sets_one(const VariableSetStmt *statement) noexcept { return is_ours(statement->name); }

// Whether the options of CREATE FUNCTION or ALTER FUNCTION set one.
bool one_sets_one(const List *options) noexcept {
    for (int index = 0; index < list_length(options); ++index) {
        const auto *option = static_cast<const DefElem *>(list_nth(options, index));
        if (std::strcmp(option->defname, "set") == 0 &&
            sets_one(reinterpret_cast<const VariableSetStmt *>(option->arg))) {
            return true;
        }
    }
    return false;
}

bool needs_settings(const Node *statement) noexcept {
    switch (nodeTag(statement)) {
    case T_VariableSetStmt:
        return sets_one(reinterpret_cast<const VariableSetStmt *>(statement));
    case T_VariableShowStmt: {
        const char *name = reinterpret_cast<const VariableShowStmt *>(statement)->name;
        return is_ours(name) || pg_strcasecmp(name, "all") == 0;
    }
    case T_AlterSystemStmt:
        return sets_one(reinterpret_cast<const AlterSystemStmt *>(statement)->setstmt);
    case T_AlterRoleSetStmt:
        return sets_one(reinterpret_cast<const AlterRoleSetStmt *>(statement)->setstmt);
    case T_AlterDatabaseSetStmt:
        return sets_one(reinterpret_cast<const AlterDatabaseSetStmt *>(statement)->setstmt);
    case T_CreateFunctionStmt:
        return one_sets_one(reinterpret_cast<const CreateFunctionStmt *>(statement)->options);
    case T_AlterFunctionStmt:
        return one_sets_one(reinterpret_cast<const AlterFunctionStmt *>(statement)->actions);
    default:
        return false;
    }
}

bool asks_for_settings(Oid function) noexcept {
    switch (function) {
    case F_CURRENT_SETTING_TEXT:
    case F_CURRENT_SETTING_TEXT_BOOL:
    case F_SET_CONFIG:
    case F_PG_SHOW_ALL_SETTINGS: // behind the view pg_settings
    case F_PG_SHOW_ALL_FILE_SETTINGS:
#if PG_VERSION_NUM >= 150000
    case F_PG_SETTINGS_GET_FLAGS:
#endif
        return true;
    default:
        return false;
    }
}

// Called by the server before a function runs for the first time in a query, among others.
void before_access(ObjectAccessType access, Oid catalog, Oid object, int part, void *details) {
    if (next_access_hook != nullptr) {
        next_access_hook(access, catalog, object, part, details);
    }
    if (access == OAT_FUNCTION_EXECUTE && asks_for_settings(object)) {
        define_settings();
    }
}

// Called by the server for every statement it has analysed. For SHOW it asks for the setting before
// the statement runs.
void after_analysis(ParseState *state, Query *query, JumbleState *jumble) {
    if (next_analyze_hook != nullptr) {
        next_analyze_hook(state, query, jumble);
    }
    if (query->commandType == CMD_UTILITY) {
        define_settings_before(query->utilityStmt);
    }
}

} // namespace

void prepare_settings() {
    if (process_shared_preload_libraries_in_progress || InitializingParallelWorker ||
        one_is_set()) {
        define_settings();
        return;
    }
    next_access_hook = object_access_hook;
    object_access_hook = before_access;
    next_analyze_hook = post_parse_analyze_hook;
    post_parse_analyze_hook = after_analysis;
}

void define_settings_before(const Node *statement) {
    if (!settings_are_defined() && needs_settings(statement)) {
        define_settings();
    }
}

void adopt_settings() {
    if (!settings_are_defined() && one_is_set()) [[unlikely]] {
        guard([] { define_settings(); });
    }
}

#else

void prepare_settings() { define_settings(); }

void define_settings_before(const Node * /*statement*/) {}

void adopt_settings() {}

#endif

void settle_parse_limits() { adopt_settings(); }

} // namespace host
