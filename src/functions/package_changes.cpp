// Failures of the changing functions of the packages.

#include "functions/package_changes.hpp"

#include "edit/character_data.hpp"

#include <cstdio>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// A number as a text for a report.
struct number_text {
    char bytes[24];
    explicit number_text(std::size_t number) noexcept {
        std::snprintf(bytes, sizeof bytes, "%zu", number);
    }
};

// The beginning of a text, for a report.
[[nodiscard]] std::string_view beginning(const char *text) noexcept {
    constexpr std::size_t k_shown = 80;
    const std::string_view whole(text);
    std::size_t size = whole.size() < k_shown ? whole.size() : k_shown;
    while (size < whole.size() && (static_cast<unsigned char>(whole[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return whole.substr(0, size);
}

} // namespace

bool name_argument::copy_plain(host::datum value) noexcept {
    const auto *const stored = reinterpret_cast<const host::varlena *>(value);
    if (!host::lies_in_memory(stored)) {
        return false;
    }
    const auto bytes = host::payload(stored);
    return bytes.size() < sizeof room_ &&
           copy_plain_name(reinterpret_cast<const xmlChar *>(bytes.data()), bytes.size(), room_);
}

void name_argument::read(const package_call &here, host::datum value, int index, const char *what) {
    const utf8_argument &text = text_.emplace(value);
    const qualified_name parts = check_qualified_name(text.xml());
    if (!parts.check.passed()) {
        fail_name(here, index, text.c_str(), what, parts.check);
    }
    local_ = parts.local;
    if (parts.prefix_size != 0) {
        prefix_.emplace(text.xml(), parts.prefix_size);
    }
}

bool uri_argument::copy_plain(host::datum value) noexcept {
    const auto *const stored = reinterpret_cast<const host::varlena *>(value);
    if (!host::lies_in_memory(stored)) {
        return false;
    }
    const auto bytes = host::payload(stored);
    if (bytes.size() >= sizeof room_ ||
        !is_plain(reinterpret_cast<const xmlChar *>(bytes.data()), bytes.size())) {
        return false;
    }
    if (!bytes.empty()) {
        std::memcpy(room_, bytes.data(), bytes.size());
        uri_ = room_;
    }
    room_[bytes.size()] = 0;
    return true;
}

void uri_argument::read(const package_call &here, host::datum value, int index) {
    const utf8_argument &text = text_.emplace(value);
    uri_ = *text.xml() == 0 ? nullptr : text.xml();
    require_uri(here, index, uri_);
}

void fail_name(const package_call &here, int index, const char *name, const char *what,
               const text_check &check) {
    const number_text place(check.place);
    here.fail(reports::invalid_name, index,
              {beginning(name), what, place.bytes, words_for(check.fault)});
}

void fail_offset(const package_call &here, int index, std::int32_t offset, const xmlNode *node) {
    char number[16];
    std::snprintf(number, sizeof number, "%d", offset);
    const number_text length(count_characters(data_of(node)));
    here.fail(reports::index_size, index, {number, node_words(node), length.bytes}, node);
}

void require_data(const package_call &here, int index, const text_check &check, const char *what) {
    if (!check.passed()) {
        const number_text place(check.place);
        here.fail(reports::invalid_data, index, {what, place.bytes, words_for(check.fault)});
    }
}

void require_data(const package_call &here, int index, xmlElementType type, const xmlChar *data) {
    require_data(here, index, type, {data, length_of(data)});
}

void require_data(const package_call &here, int index, xmlElementType type,
                  const text_bytes &data) {
    const text_check check = check_data(type, data.bytes, data.size);
    switch (type) {
    case XML_COMMENT_NODE:
        return require_data(here, index, check, "comment");
    case XML_PI_NODE:
        return require_data(here, index, check, "processing instruction");
    case XML_CDATA_SECTION_NODE:
        return require_data(here, index, check, "CDATA section");
    case XML_ATTRIBUTE_NODE:
        return require_data(here, index, check, "attribute");
    default:
        return require_data(here, index, check, "text");
    }
}

void require_uri(const package_call &here, int index, const xmlChar *uri) {
    if (uri != nullptr) {
        require_data(here, index, check_characters(uri), "namespace");
    }
}

void require_namespace(const package_call &here, int index, namespace_fault fault,
                       const name_argument &name, const xmlChar *uri) {
    if (fault != namespace_fault::none) {
        here.fail(reports::namespace_error, index,
                  {beginning(name.whole()),
                   beginning(uri == nullptr ? "" : reinterpret_cast<const char *>(uri)),
                   words_for(fault)});
    }
}

void fail_as_immutable(const package_call &here, int index, const xmlNode *node) {
    here.fail(reports::no_modification_allowed, index, {node_words(node)}, node);
}

void require_same_document(const package_call &here, int index, const named_node &parent,
                           const named_node &node) {
    const bool is_same_id = parent.entry->key.document_id() == node.entry->key.document_id();
    if (!is_same_id && find_family(*parent.entry) != find_family(*node.entry)) {
        // No adoption would let a document stand below a node.
        if (is_document(node.node)) {
            here.fail(reports::child_not_allowed, index,
                      {node_words(node.node), node_words(parent.node)}, node.node);
        }
        here.fail(reports::wrong_document, index, {node_words(node.node)}, node.node);
    }
}

named_node node_of_member(const package_call &here, int index, host::datum member) {
    if (member == 0) {
        here.fail(reports::null_member, index);
    }
    const DomKey *const key = handle_in_place(member);
    XMLHashEntry *const entry = key == nullptr ? nullptr : look_up_handle(*key);
    if (entry == nullptr || entry->object == nullptr) {
        here.fail(entry == nullptr ? reports::unknown_handle : reports::stale_handle, index);
    }
    if (is_collection(*entry)) {
        here.fail(reports::wrong_node_type, index, {k_any_node.words, "a list"});
    }
    return {entry, as_node(entry->object)};
}

void require_place(const package_call &here, int index, const xmlNode *parent,
                   const place_check &check) {
    const xmlNode *const child = check.child;
    switch (check.fault) {
    case place_fault::none:
        return;
    case place_fault::no_children:
    case place_fault::not_in_attribute:
    case place_fault::no_child:
        if (child != nullptr && child != parent && is_attribute(child)) {
            here.fail(reports::attribute_as_child, index, {node_words(child)}, child);
        }
        if (child == parent) {
            here.fail(reports::no_children_allowed, index, {node_words(parent)}, parent);
        }
        here.fail(reports::child_not_allowed, index, {node_words(child), node_words(parent)},
                  child);
    case place_fault::not_in_document:
        here.fail(reports::child_not_allowed, index, {node_words(child), node_words(parent)},
                  child);
    case place_fault::below_itself:
        here.fail(reports::child_contains_parent, index, {node_words(child)}, child);
    case place_fault::second_root:
        here.fail(reports::second_root, index, {node_words(child)}, child);
    case place_fault::before_doctype:
        here.fail(reports::root_before_doctype, index, {node_words(child)}, child);
    case place_fault::immutable_parent:
        here.fail(reports::no_modification_allowed, index, {node_words(parent)}, parent);
    case place_fault::immutable_child:
        here.fail(reports::no_modification_allowed, index, {node_words(child)}, child);
    case place_fault::other_document:
        here.fail(reports::wrong_document, index, {node_words(child)}, child);
    }
}

} // namespace pkg_dbe_xml
