// The settings of the extension. Only a superuser may change them: they guard the server.
#include "settings.hpp"

#include "server.hpp"

namespace host {

namespace {

constinit char *safe_data_path_value = nullptr;

} // namespace

void define_settings() {
    // Called by the server while it loads the library: failures are the server's own, and nothing
    // here has a destructor.
    DefineCustomStringVariable(
        "pkg_dbe_xml.safe_data_path", "Directory below which XML files may be written.",
        "Empty: every directory object may be used by those who have the right to.",
        &safe_data_path_value, "", PGC_SUSET, 0, nullptr, nullptr, nullptr);
#if PG_VERSION_NUM >= 150000
    MarkGUCPrefixReserved("pkg_dbe_xml");
#else
    EmitWarningsOnPlaceholders("pkg_dbe_xml");
#endif
}

const char *safe_data_path_setting() noexcept { return safe_data_path_value; }

} // namespace host
