// With what documents and parsers end that nobody frees before.
#pragma once

#include "host/session.hpp"

namespace host {

enum class lifetime : int {
    session,    // with the session
    transaction // with the transaction that made them, or the subtransaction if it is rolled back
};

// The lifetime of what is made from now on. An integer, so that a host can hand its address to its
// settings. Anybody may change it.
extern constinit PKG_DBE_XML_SESSION_STORAGE int lifetime_setting;

inline constexpr const char *k_lifetime_name = "pkg_dbe_xml.lifetime";
inline constexpr const char *k_lifetime_names[] = {"session", "transaction"};

} // namespace host
