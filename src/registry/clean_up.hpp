// What ends with the session beside the registry, and is made by rooms that come after it.
#pragma once

#include "host/session.hpp"

namespace pkg_dbe_xml {

using clean_up_step = void (*)() noexcept;

// Called by xml_clean_all_res before anything else, unless null. Whoever sets it has made sure that
// the host cleans the session up.
extern constinit PKG_DBE_XML_SESSION_STORAGE clean_up_step end_streams_of_session;

} // namespace pkg_dbe_xml
