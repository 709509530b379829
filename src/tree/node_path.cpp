// Paths of nodes. See node_path.hpp.

#include "tree/node_path.hpp"

#include "growing_array.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

#include <charconv>
#include <cstddef>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

void append_number(text_output &output, std::size_t number) {
    char digits[24];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    output.append("[");
    output.append({digits, static_cast<std::size_t>(end.ptr - digits)});
    output.append("]");
}

[[nodiscard]] bool is_text(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

// A name that a step can be written with as it is: no namespace, and no colon in it.
[[nodiscard]] bool has_plain_name(const xmlNode *node) noexcept {
    return namespace_of(node) == nullptr && view_of(node->name).find(':') == std::string_view::npos;
}

// Whether the step to `node`, as append_step writes it, would lead to `sibling` too.
[[nodiscard]] bool shares_step(const xmlNode *node, const xmlNode *sibling) noexcept {
    if (is_text(node)) {
        return is_text(sibling);
    }
    if (node->type != sibling->type) {
        return false;
    }
    if (node->type == XML_COMMENT_NODE) {
        return true;
    }
    if (node->type == XML_ELEMENT_NODE && !has_plain_name(node)) {
        return true;
    }
    return same_or_absent(node->name, sibling->name) &&
           (node->type == XML_PI_NODE || has_plain_name(sibling));
}

void append_place(const xmlNode *node, text_output &output, poll_counter &poll) {
    std::size_t place = 1;
    for (const xmlNode *sibling = node->prev; sibling != nullptr; sibling = sibling->prev) {
        place += shares_step(node, sibling) ? 1 : 0;
        poll.step();
    }
    if (place > 1) {
        append_number(output, place);
        return;
    }
    for (const xmlNode *sibling = node->next; sibling != nullptr; sibling = sibling->next) {
        poll.step();
        if (shares_step(node, sibling)) {
            append_number(output, place);
            return;
        }
    }
}

void append_attribute_step(const xmlNode *attribute, text_output &output) {
    const xmlNs *const record = namespace_of(attribute);
    if (record == nullptr) {
        output.append("@");
        output.append(view_of(attribute->name));
        return;
    }
    if (view_of(record->href).find('\'') == std::string_view::npos) {
        output.append("@*[local-name()='");
        output.append(view_of(attribute->name));
        output.append("' and namespace-uri()='");
        output.append(view_of(record->href));
        output.append("']");
        return;
    }
    std::size_t place = 1;
    for (const xmlNode *before = attribute->prev; before != nullptr; before = before->prev) {
        ++place;
    }
    output.append("@*");
    append_number(output, place);
}

void append_step(const xmlNode *node, text_output &output, poll_counter &poll) {
    output.append("/");
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        append_attribute_step(node, output);
        return;
    case XML_ELEMENT_NODE:
        output.append(has_plain_name(node) ? view_of(node->name) : "*");
        break;
    case XML_COMMENT_NODE:
        output.append("comment()");
        break;
    case XML_PI_NODE:
        output.append("processing-instruction('");
        output.append(view_of(node->name));
        output.append("')");
        break;
    default:
        output.append("text()");
        break;
    }
    append_place(node, output, poll);
}

} // namespace

bool has_path(const xmlNode *node) noexcept {
    for (const xmlNode *above = node; above != nullptr; above = above->parent) {
        if (is_declaration(above->type) || above->type == XML_ENTITY_REF_NODE) {
            return false;
        }
    }
    return true;
}

void append_path(const xmlNode *node, text_output &output) {
    if (node->parent == nullptr) {
        output.append("/");
        return;
    }
    poll_counter poll;
    growing_array<const xmlNode *, 32> steps;
    for (; node->parent != nullptr; node = node->parent) {
        steps.push_back(node);
        poll.step();
    }
    for (std::size_t place = steps.size(); place > 0; --place) {
        append_step(steps[place - 1], output, poll);
    }
}

std::int32_t line_of(const xmlNode *node) noexcept {
    constexpr unsigned short k_not_counted = 65535;
    if (is_attribute(node)) {
        node = node->parent;
    }
    if (node == nullptr) {
        return 0;
    }
    switch (node->type) {
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        return node->line == k_not_counted ? 0 : node->line;
    default:
        return 0;
    }
}

} // namespace pkg_dbe_xml
