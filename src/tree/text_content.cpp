// The text of a whole tree. See text_content.hpp.

#include "tree/text_content.hpp"

#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"

#include <cstring>

namespace pkg_dbe_xml {

namespace {

void append_value(const xmlNode *node, text_output &output) {
    text_room room;
    const text_piece value = node_text(node, room);
    if (value.bytes != nullptr) {
        output.append({reinterpret_cast<const char *>(value.bytes), value.size});
    }
}

[[nodiscard]] bool holds_a_tree(const xmlNode *node) noexcept {
    return node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_FRAG_NODE;
}

} // namespace

bool has_text_content(const xmlNode *node) noexcept {
    return !is_document(node) && !is_declaration(node->type) && node->type != XML_NOTATION_NODE;
}

void append_text_content(xmlNodePtr node, text_output &output) {
    if (!holds_a_tree(node)) {
        append_value(node, output);
        return;
    }
    poll_counter poll;
    const xmlNode *const top = node;
    while ((node = next_below(node, top)) != nullptr) {
        poll.step();
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
            if (node->content != nullptr) {
                const auto *const text = reinterpret_cast<const char *>(node->content);
                const std::size_t size = std::strlen(text);
                output.append({text, size});
                poll.step_over(size);
            }
        } else if (node->type == XML_ENTITY_REF_NODE) {
            append_value(node, output);
        }
    }
}

} // namespace pkg_dbe_xml
