// A node in plain words.
#include "tree/node_words.hpp"

#include <algorithm>
#include <cstring>

namespace pkg_dbe_xml {
namespace {

constexpr std::size_t k_longest_name = 60; // bytes of a name that are shown

// How a node of that type is called; the name of the node follows where the words end in a blank or
// in "<".
[[nodiscard]] std::string_view words_for(xmlElementType type) noexcept {
    switch (type) {
    case XML_ELEMENT_NODE:
        return "an element <";
    case XML_ATTRIBUTE_NODE:
        return "an attribute ";
    case XML_TEXT_NODE:
        return "a text";
    case XML_CDATA_SECTION_NODE:
        return "a CDATA section";
    case XML_ENTITY_REF_NODE:
        return "an entity reference ";
    case XML_PI_NODE:
        return "a processing instruction ";
    case XML_COMMENT_NODE:
        return "a comment";
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
        return "a document";
    case XML_DOCUMENT_FRAG_NODE:
        return "a document fragment";
    case XML_DTD_NODE:
    case XML_DOCUMENT_TYPE_NODE:
        return "a document type ";
    default:
        return "a declaration";
    }
}

[[nodiscard]] std::string_view as_view(const xmlChar *text) noexcept {
    const auto *const bytes = reinterpret_cast<const char *>(text);
    return bytes == nullptr ? std::string_view{} : std::string_view(bytes, std::strlen(bytes));
}

// At most k_longest_name bytes, never within a character.
[[nodiscard]] std::string_view cut(std::string_view name) noexcept {
    if (name.size() <= k_longest_name) {
        return name;
    }
    std::size_t size = k_longest_name;
    while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return name.substr(0, size);
}

} // namespace

void node_words::append(std::string_view part) noexcept {
    const std::size_t count = std::min(part.size(), bytes_.size() - size_);
    std::copy_n(part.data(), count, bytes_.data() + size_);
    size_ += count;
}

void node_words::append_name(const xmlNode *node) noexcept {
    const xmlNs *const record = namespace_of(node);
    if (record != nullptr && record->prefix != nullptr) {
        append(cut(as_view(record->prefix)));
        append(":");
    }
    const std::string_view name = as_view(node->name);
    append(cut(name));
    if (cut(name).size() < name.size()) {
        append("...");
    }
}

node_words::node_words(const xmlNode *node) noexcept {
    if (node == nullptr) {
        append("nothing");
        return;
    }
    const std::string_view words = words_for(node->type);
    append(words);
    if (words.back() == ' ' || words.back() == '<') {
        append_name(node);
    }
    if (words.back() == '<') {
        append(">");
    }
}

} // namespace pkg_dbe_xml
