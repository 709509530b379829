// The text that text nodes, CDATA sections, comments and processing instructions hold themselves.

#include "edit/tree_texts.hpp"

#include "error_reports.hpp"
#include "libxml/xml.hpp"

#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// Parsed documents keep short texts inside the node, in the place of its properties.
[[nodiscard]] bool is_inside_node(const xmlNode *node) noexcept {
    return node->content == reinterpret_cast<const xmlChar *>(&node->properties);
}

// Whether the text of a node is memory of its own, neither inside the node nor in the dictionary.
[[nodiscard]] bool owns_content(const xmlNode *node) noexcept {
    if (node->content == nullptr || is_inside_node(node)) {
        return false;
    }
    return node->doc == nullptr || node->doc->dict == nullptr ||
           xmlDictOwns(node->doc->dict, node->content) == 0;
}

[[nodiscard]] std::size_t text_size(const xmlChar *text) noexcept {
    return text == nullptr ? 0 : std::strlen(reinterpret_cast<const char *>(text));
}

// A long text that grew remembers its size in `psvi`, which libxml2 leaves alone, and has room up
// to the next power of two, so that text appended piece by piece costs what it is long.
constexpr std::size_t k_long_text = 4096;

[[nodiscard]] std::size_t known_size(const xmlNode *node) noexcept {
    return std::bit_cast<std::uintptr_t>(node->psvi);
}
void remember_size(xmlNodePtr node, std::size_t size) noexcept {
    node->psvi = std::bit_cast<void *>(size >= k_long_text ? size : 0);
}
// Bytes that a text of this size is given, its end included.
[[nodiscard]] std::size_t room_for(std::size_t size) noexcept {
    return size >= k_long_text ? std::bit_ceil(size + 1) : size + 1;
}

} // namespace

void replace_content(xmlNodePtr node, xml_text_ptr content) noexcept {
    if (owns_content(node)) {
        xmlFree(node->content);
    }
    node->properties = nullptr;
    node->psvi = nullptr;
    node->content = content.release();
}

void set_own_content(family &owner, xmlNodePtr node, const xmlChar *content) {
    const host::tree_scope scope;
    xml_text_ptr copy(xmlStrdup(content));
    if (copy == nullptr) {
        report(reports::out_of_memory);
    }
    retire_children(owner, node);
    replace_content(node, std::move(copy));
}

text_growth::text_growth(xmlNodePtr target, const xmlChar *added)
    : target_(target), added_(added),
      size_(known_size(target) != 0 ? known_size(target) : text_size(target->content)),
      added_size_(text_size(added)) {
    const std::size_t needed = size_ + added_size_;
    if (added_size_ == 0 || (known_size(target) != 0 && needed < room_for(size_))) {
        return;
    }
    const host::tree_scope scope;
    // libxml2 measures texts in int.
    const bool too_long = needed >= INT_MAX;
    const bool movable = owns_content(target);
    auto *const room = static_cast<xmlChar *>(
        too_long ? nullptr : xmlRealloc(movable ? target->content : nullptr, room_for(needed)));
    if (room == nullptr) {
        report(reports::out_of_memory);
    }
    if (movable) {
        target->content = room;
        return;
    }
    std::memcpy(
        room, target->content == nullptr ? reinterpret_cast<const xmlChar *>("") : target->content,
        size_ + 1);
    target->properties = nullptr;
    target->content = room;
}

void text_growth::apply() noexcept {
    if (added_size_ != 0) {
        std::memcpy(target_->content + size_, added_, added_size_ + 1);
        remember_size(target_, size_ + added_size_);
    }
}

} // namespace pkg_dbe_xml
