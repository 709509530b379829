// What the XML service (include/host/xml.hpp), which all hosts share, asks of its host, and what
// it offers to hosts alone.
//
// A host provides interrupts_pending, process_interrupts and raise_out_of_memory
// (include/host/error.hpp). interrupts_pending is called from within libxml2: it must neither throw
// nor jump. Sessions in threads are announced by PKG_DBE_XML_SESSIONS_ARE_THREADS.
#pragma once

#include "host/error.hpp"
#include "library_services.hpp"
#include "libxml/xml.hpp"

#include <cstddef>

namespace host {

// Asked for each of libxml2's allocations within a scope of this session; true makes the
// allocation fail. For tests. Null, the default, asks nobody.
using allocation_fault = bool (*)(std::size_t size) noexcept;
void set_allocation_fault(allocation_fault fault) noexcept;

// While nothing is refused (libxml/xml_unrefused.hpp).
struct unrefused_state {
    bool in_force = false;
    void *reserve = nullptr; // given up when the heap has no more
};
extern constinit PKG_DBE_XML_SESSION_STORAGE unrefused_state unrefused;
// Who gives libxml2 texts that it asks for by a location; null: nothing is there.
extern constinit PKG_DBE_XML_SESSION_STORAGE pkg_dbe_xml::unrefused_work *current_offer;

// Does what xml_scope does with libxml2's errors outside a parse: nothing.
void ignore_generic_error(void *context, const char *format, ...) noexcept;

#if LIBXML_VERSION >= 21200
using xml_error = const xmlError;
#else
using xml_error = xmlError;
#endif
// Receives every error of libxml2 within a scope; keeps those of a parse for its diagnostics.
void note_xml_error(void *context, xml_error *error) noexcept;

} // namespace host
