// The settings of the extension. Only a superuser may change them: they guard the server.
#include "settings.hpp"

#include "host/limits.hpp"

#include "server.hpp"

namespace host {

namespace {

constinit char *safe_data_path_value = nullptr;

void define_limit(const char *name, const char *text, const char *details, int &value, int least,
                  int most, int flags) {
    DefineCustomIntVariable(name, text, details, &value, value, least, most, PGC_SUSET, flags,
                            nullptr, nullptr, nullptr);
}

void define_limits() {
    constexpr int many = 10'000'000;
    define_limit(k_budget_base_name, "Memory that a parse may take, whatever the size of its text.",
                 "What pkg_dbe_xml.parse_budget_factor allows comes on top.",
                 parse_limits.budget_base, 64, MAX_KILOBYTES, GUC_UNIT_KB);
    define_limit(k_budget_factor_name, "Memory that a parse may take for each byte of its text.",
                 "What pkg_dbe_xml.parse_budget_base allows comes on top.",
                 parse_limits.budget_factor, 0, 100'000, 0);
    define_limit(k_max_depth_name, "Levels of elements that a text may have.", nullptr,
                 parse_limits.max_depth, 1, many, 0);
    define_limit(k_max_particles_name,
                 "Names and groups that the content model of an element type may have.",
                 "Ten times as many where they may be mixed with text.", parse_limits.max_particles,
                 1, many, 0);
    define_limit(k_max_attributes_name, "Attributes that an element may have, defaults included.",
                 nullptr, parse_limits.max_attributes, 1, many, 0);
}

} // namespace

void define_settings() {
    // Called by the server while it loads the library: failures are the server's own, and nothing
    // here has a destructor.
    DefineCustomStringVariable(
        "pkg_dbe_xml.safe_data_path", "Directory below which XML files may be written.",
        "Empty: every directory object may be used by those who have the right to.",
        &safe_data_path_value, "", PGC_SUSET, 0, nullptr, nullptr, nullptr);
    define_limits();
#if PG_VERSION_NUM >= 150000
    MarkGUCPrefixReserved("pkg_dbe_xml");
#else
    EmitWarningsOnPlaceholders("pkg_dbe_xml");
#endif
}

const char *safe_data_path_setting() noexcept { return safe_data_path_value; }

} // namespace host
