// SQL functions whose bodies fail as no body of the library does: by an internal assertion, by
// exceptions of others. For failing_calls.sh only; linked with the library's own objects, so that
// the road of a call is the real one.
#include "error_reports.hpp"
#include "host/call.hpp"

#include <new>
#include <stdexcept>
#include <vector>

namespace {

// What is alive of these must be nothing when a call has failed.
int alive = 0;
struct counted {
    counted() noexcept { ++alive; }
    ~counted() { --alive; }
    counted(const counted &) = delete;
    counted &operator=(const counted &) = delete;
};

// An exception that tells nothing.
struct wordless {};

} // namespace

PKG_DBE_XML_FUNCTION(xml_dom_fail_assertion) {
    const counted object;
    pkg_dbe_xml::fail_assertion(pkg_dbe_xml::k_no_slice);
}
PKG_DBE_XML_FUNCTION(xml_dom_throw_bad_alloc) {
    const counted object;
    throw std::bad_alloc();
}
PKG_DBE_XML_FUNCTION(xml_dom_throw_length_error) {
    const counted object;
    std::vector<int> numbers;
    numbers.reserve(numbers.max_size() + 1);
    return host::from_int4(static_cast<std::int32_t>(numbers.size()));
}
PKG_DBE_XML_FUNCTION(xml_dom_throw_runtime_error) {
    const counted object;
    throw std::runtime_error("anything, caf\xC3\xA9");
}
PKG_DBE_XML_FUNCTION(xml_dom_throw_wordless) {
    const counted object;
    throw wordless();
}
PKG_DBE_XML_FUNCTION(xml_dom_count_alive) { return host::from_int4(alive); }
