// The state of a session: what the library keeps from call to call. One per session; on hosts
// with many sessions in one process, one per thread.
#pragma once

#include "host/memory.hpp"
#include "host/table.hpp"

#include <cstdint>

// Set by the build of a host that runs sessions in threads.
#ifdef PKG_DBE_XML_SESSIONS_ARE_THREADS
#define PKG_DBE_XML_SESSION_STORAGE thread_local
#else
#define PKG_DBE_XML_SESSION_STORAGE
#endif

namespace host {

using clean_up_callback = int (*)();

// What hangs off a session. The library owns all of it; the host only keeps it, zeroed at first,
// and calls `clean_up` when the session ends or is reset.
struct session_state {
    memory_context *xmldom_context;    // "SessionXMLDOMMemoryContext"
    memory_context *xmlparser_context; // "SessionXMLMemoryContext"
    void *registry;            // the registry of DOM handles, src/registry/pkg_xml_dom_hash.cpp
    void *path_cache;          // compiled paths, src/paths/paths.cpp; in xmldom_context
    hash_table *xmlparser_map; // "XMLPARSER map"
    std::uint32_t next_parser_id;
    std::uint32_t next_serial; // of documents; like parsers they are counted through the session
    bool initialised;          // the registry is set up
    clean_up_callback clean_up;
    // Null, or what the host calls at the beginning of the next call, within it: the library has
    // something to finish. May throw.
    void (*before_call)();
};

// Hidden, as all of the library is: said here, so that it is not looked for by way of a table.
[[gnu::visibility("hidden")]] extern constinit PKG_DBE_XML_SESSION_STORAGE session_state u_sess;

} // namespace host
