// Which characters an encoding has. See encodability.hpp.

#include "write/encodability.hpp"

#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <algorithm>
#include <climits>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] bool is_ascii(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) noexcept { return static_cast<unsigned char>(byte) < 0x80; });
}

} // namespace

// libxml2 writes a reference for a character that the encoding does not have. Ampersands are left
// out here, so that one in the outcome can only be that of a reference.
bool encodability::holds(std::string_view text) const {
    if (is_ascii(text)) {
        return true;
    }
    const host::xml_scope scope;
    const xml_buffer_ptr from(xmlBufferCreate());
    const xml_buffer_ptr to(xmlBufferCreate());
    bool done = from != nullptr && to != nullptr && text.size() <= INT_MAX / 8;
    while (done && !text.empty()) {
        const std::size_t size = std::min(text.find('&'), text.size());
        done = size == 0 || xmlBufferAdd(from.get(), reinterpret_cast<const xmlChar *>(text.data()),
                                         static_cast<int>(size)) == 0;
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    const int result = done ? xmlCharEncOutFunc(handler_.get(), to.get(), from.get()) : -1;
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    const std::string_view made(reinterpret_cast<const char *>(xmlBufferContent(to.get())),
                                static_cast<std::size_t>(xmlBufferLength(to.get())));
    return result >= 0 && xmlBufferLength(from.get()) == 0 &&
           made.find('&') == std::string_view::npos;
}

} // namespace pkg_dbe_xml
