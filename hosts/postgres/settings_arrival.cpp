// Values that a setting was given before the library was loaded.
//
// The server keeps the value of a setting that nobody has defined in a placeholder, whoever sets
// it. When the setting is defined it looks whether that role may set it and whether the value is
// good; if not, it warns, drops the value and leaves the default. The default is not what an
// administrator has stored: an option of the connection takes the place of the stored value in the
// placeholder, so that the two are lost together, and any role could switch off what guards the
// server. Nor is it what somebody wanted who set the value and made a mistake.
//
// So the placeholder is looked at before the setting is defined: every value in it must be one that
// the server is going to take. Else loading the library fails and the placeholder stays, for the
// next attempt to be refused as well, until the value goes. What the server dropped all the same,
// for a reason of its own, is seen afterwards, and then the session stays without the library.
#include <algorithm>
#include <cstdint>

#include "setting_table.hpp"

extern "C" {
#include <access/parallel.h>
#include <utils/acl.h>
#include <utils/guc_tables.h>
}

namespace host {

namespace {

constinit const char *setting_that_lost_a_value = nullptr;

// A value and who set it.
struct set_value {
    const char *value; // null: none
    GucContext context;
    GucSource source;
    Oid role;
};

[[noreturn]] void raise_not_permitted(const setting &row, const set_value &given) {
    const char *role = GetUserNameFromId(given.role, true);
    ereport(ERROR,
            (errcode(ERRCODE_INSUFFICIENT_PRIVILEGE),
             errmsg("permission denied to set parameter \"%s\"", row.name),
             errdetail("Role \"%s\" set it to \"%s\" (source: %s) before the library pkg_dbe_xml "
                       "was loaded, which therefore is not used.",
                       role != nullptr ? role : "?", given.value, GucSource_Names[given.source]),
             errhint("Superusers may set it, and roles that were granted SET on the parameter. "
                     "Take it out of the options of the connection, or RESET it.")));
    pg_unreachable();
}

void require_that_it_stands(const setting &row, const set_value &given) {
    if (given.value == nullptr) {
        return;
    }
    // The server asks for the right in these two contexts only: the others are an administrator's.
    if ((given.context == PGC_USERSET || given.context == PGC_BACKEND) &&
        pg_parameter_aclcheck(row.name, given.role, ACL_SET) != ACLCHECK_OK) {
        raise_not_permitted(row, given);
    }
    require_readable(row, given.value, given.source);
}

void require_that_all_stand(const setting &row, const config_string &placeholder) {
    const config_generic &now = placeholder.gen;
    require_that_it_stands(
        row, {placeholder.reset_val, now.reset_scontext, now.reset_source, now.reset_srole});
    require_that_it_stands(row, {*placeholder.variable, now.scontext, now.source, now.srole});
    for (const GucStack *outer = now.stack; outer != nullptr; outer = outer->prev) {
        require_that_it_stands(
            row, {outer->prior.val.stringval, outer->scontext, outer->source, outer->srole});
        if (outer->state == GUC_SET_LOCAL) {
            require_that_it_stands(row, {outer->masked.val.stringval, outer->masked_scontext,
                                         PGC_S_SESSION, outer->masked_srole});
        }
    }
}

// The sources of all values that a setting has, one below the other. When the server drops one,
// this is another.
std::uint64_t sources_of(const config_generic &record) noexcept {
    constexpr std::uint64_t k_odd = 0x9E3779B97F4A7C15U;
    std::uint64_t sources = 1;
    const auto add = [&sources](int number) {
        sources = sources * k_odd + static_cast<std::uint64_t>(number) + 1;
    };
    add(record.reset_source);
    add(record.source);
    for (const GucStack *outer = record.stack; outer != nullptr; outer = outer->prev) {
        add(outer->state);
        add(outer->source);
    }
    return sources;
}

const config_string *placeholder_of(const setting &row) {
    const config_generic *record = find_setting(row.name);
    return record != nullptr && (record->flags & GUC_CUSTOM_PLACEHOLDER) != 0
               ? reinterpret_cast<const config_string *>(record)
               : nullptr;
}

void require_that_none_was_lost() {
    if (setting_that_lost_a_value != nullptr) {
        ereport(ERROR,
                (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                 errmsg("the value of parameter \"%s\" was lost", setting_that_lost_a_value),
                 errdetail("The server dropped it when the library pkg_dbe_xml was loaded, which "
                           "therefore is not used."),
                 errhint("Begin a new session.")));
    }
}

#if PG_VERSION_NUM < 160000

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

#endif

} // namespace

config_generic *find_setting(const char *name) {
#if PG_VERSION_NUM >= 160000
    return find_option(name, false, true, 0);
#else
    config_generic **const first = get_guc_variables();
    config_generic **const end = first + GetNumConfigOptions();
    config_generic **const place =
        std::lower_bound(first, end, name, [](const config_generic *record, const char *wanted) {
            return comes_before(record->name, wanted);
        });
    return place != end && !comes_before(name, (*place)->name) ? *place : nullptr;
#endif
}

void require_readable(const setting &row, const char *value, GucSource source) {
    int number = 0;
    const char *hint = nullptr;
    // A directory is looked at where it is used.
    if (row.number == nullptr || (parse_int(value, &number, row.flags, &hint) &&
                                  number >= row.least && number <= row.most)) {
        return;
    }
    ereport(ERROR,
            (errcode(ERRCODE_INVALID_PARAMETER_VALUE),
             errmsg("invalid value for parameter \"%s\": \"%s\"", row.name, value),
             errdetail("It must be a whole number from %d to %d (source: %s). The library "
                       "pkg_dbe_xml is not used without it.",
                       row.least, row.most, GucSource_Names[source]),
             errhint("Superusers may set it, and roles that were granted SET on the parameter.")));
}

void require_values_that_stand(const setting &row) {
    require_that_none_was_lost();
    // A parallel worker is handed its leader's values later, over whatever is there.
    const config_string *placeholder = InitializingParallelWorker ? nullptr : placeholder_of(row);
    if (placeholder != nullptr) {
        require_that_all_stand(row, *placeholder);
    }
}

void define_with_its_values(const setting &row, void (*define)(const setting &row)) {
    const config_string *placeholder = InitializingParallelWorker ? nullptr : placeholder_of(row);
    if (placeholder == nullptr) {
        define(row);
        return;
    }
    const std::uint64_t sources = sources_of(placeholder->gen);
    setting_that_lost_a_value = row.name; // unless it comes back, and well
    define(row);
    const config_generic *defined = find_setting(row.name);
    if (defined != nullptr && sources_of(*defined) == sources) {
        setting_that_lost_a_value = nullptr;
    }
    require_that_none_was_lost();
}

} // namespace host
