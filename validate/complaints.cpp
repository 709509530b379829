// What libxml2 complains of. See complaints.hpp.
#include "complaints.hpp"

#include "message_line.hpp"

#include <libxml/schemasInternals.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace pkg_dbe_xml::validation {

namespace {

// One of them would otherwise hold a value of any length.
constexpr std::size_t k_longest_message = 2000;

// A message of libxml2's, with dots where it was cut.
std::string one_line(const char *text) {
    const std::string_view whole =
        message_line(text == nullptr ? "" : text, std::string_view::npos);
    std::string line(message_line(whole, k_longest_message));
    std::ranges::transform(line, line.begin(), message_byte);
    return line.size() < whole.size() ? line + "..." : line;
}

const char *level_of(const xmlError &error) noexcept {
    switch (error.level) {
    case XML_ERR_WARNING:
        return "warning";
    case XML_ERR_FATAL:
        return "fatal";
    default:
        return "error";
    }
}

bool tells_of_itself(const xmlError &error) noexcept {
    return error.domain == XML_FROM_SCHEMASV
               ? error.code == XML_SCHEMAV_INTERNAL
               : error.domain == XML_FROM_SCHEMASP && error.code == XML_SCHEMAP_INTERNAL;
}

// Some versions of libxml2 name the declaration that an element does not follow.
bool is_declaration(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_DECL || node->type == XML_ATTRIBUTE_DECL ||
           node->type == XML_ENTITY_DECL || node->type == XML_DTD_NODE;
}

} // namespace

long line_of(const xmlNode *node) noexcept {
    if (node != nullptr && node->type == XML_ATTRIBUTE_NODE) {
        node = node->parent;
    }
    const long line = node == nullptr ? 0 : xmlGetLineNo(const_cast<xmlNodePtr>(node));
    return std::max(line, 0L);
}

long complaint_list::line_of(const xmlNode *node) const noexcept {
    constexpr unsigned short k_not_counted = 65535;
    const xmlNode *const element =
        node != nullptr && node->type == XML_ATTRIBUTE_NODE ? node->parent : node;
    const bool is_known = element == nullptr || !is_of_others ||
                          element->type != XML_ELEMENT_NODE || element->line != k_not_counted;
    return is_known ? validation::line_of(element) : 0;
}

void complaint_list::clear() noexcept {
    found.clear();
    current = nullptr;
    errors = 0;
    internal = lost_memory = false;
}

void note_complaint(void *list, xml_error *error) noexcept {
    auto &complaints = *static_cast<complaint_list *>(list);
    if (error == nullptr || error->level == XML_ERR_NONE) {
        return;
    }
    complaints.errors += error->level == XML_ERR_WARNING ? 0 : 1;
    complaints.internal = complaints.internal || tells_of_itself(*error);
    if (complaints.is_full()) {
        return;
    }
    try {
        const auto *const named = static_cast<const xmlNode *>(error->node);
        const bool is_place = named != nullptr && !is_declaration(named);
        const xmlNode *const node =
            is_place || complaints.current == nullptr ? named : complaints.current;
        const long known = complaints.current == nullptr && error->line > 0 ? error->line : 0;
        complaints.found.push_back({known > 0 ? known : complaints.line_of(node), node,
                                    level_of(*error), error->code, one_line(error->message),
                                    error->file == nullptr ? "" : error->file});
    } catch (const std::exception &) {
        complaints.lost_memory = true;
    }
}

} // namespace pkg_dbe_xml::validation
