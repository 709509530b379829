// The steps that the changing functions of the packages share: texts that must be legal, places
// that must be possible, nodes that may change.
#pragma once

#include "edit/attribute_changes.hpp"
#include "edit/legal_text.hpp"
#include "edit/place.hpp"
#include "edit/tree_append.hpp"
#include "edit/tree_attributes.hpp"
#include "edit/tree_copy.hpp"
#include "functions/package_arguments.hpp"
#include "text/text_argument.hpp"
#include "tree/immutable_nodes.hpp"

#include <cstdint>
#include <optional>

namespace pkg_dbe_xml {

// A text argument in UTF-8 that must not be null. Reports null_package_argument.
class needed_text {
  public:
    needed_text(const package_call &here, const host::call &call, int index) {
        here.needs(index);
        text_.emplace(call.value(index));
    }
    [[nodiscard]] const xmlChar *xml() const noexcept { return text_->xml(); }
    [[nodiscard]] const char *c_str() const noexcept { return text_->c_str(); }

  private:
    std::optional<utf8_argument> text_;
};

// A name of the form "name" or "prefix:name" that XML allows, and its pieces.
class name_argument {
  public:
    // Reports null_package_argument and invalid_name; `what` is to be called so, as "an element".
    name_argument(const package_call &here, const host::call &call, int index, const char *what) {
        here.needs(index);
        if (!copy_plain(call.value(index))) [[unlikely]] {
            read(here, call.value(index), index, what);
        }
    }
    name_argument(const name_argument &) = delete;
    name_argument &operator=(const name_argument &) = delete;
    [[nodiscard]] const xmlChar *prefix() const noexcept {
        return prefix_ ? prefix_->xml() : nullptr;
    }
    [[nodiscard]] const xmlChar *local() const noexcept { return local_; }
    [[nodiscard]] const char *whole() const noexcept {
        return text_ ? text_->c_str() : reinterpret_cast<const char *>(room_);
    }
    [[nodiscard]] full_name in(const xmlChar *uri) const noexcept {
        return {prefix(), local(), uri};
    }

  private:
    // Copies a short name of ASCII characters without a colon, as nearly all are, and checks it on
    // the way. False for any other.
    [[nodiscard]] bool copy_plain(host::datum value) noexcept;
    void read(const package_call &here, host::datum value, int index, const char *what);
    const xmlChar *local_ = room_;
    std::optional<utf8_argument> text_; // of any other name
    std::optional<prefix_text> prefix_;
    xmlChar room_[64];
};

// The URI of a namespace, null for none, which the empty one is too.
class uri_argument {
  public:
    // Reports invalid_data: it holds characters of XML.
    uri_argument(const package_call &here, const host::call &call, int index) {
        if (!call.is_null(index) && !copy_plain(call.value(index))) [[unlikely]] {
            read(here, call.value(index), index);
        }
    }
    uri_argument(const uri_argument &) = delete;
    uri_argument &operator=(const uri_argument &) = delete;
    [[nodiscard]] const xmlChar *xml() const noexcept { return uri_; }

  private:
    // Copies a short one of printable ASCII characters, as nearly all are. False for any other.
    [[nodiscard]] bool copy_plain(host::datum value) noexcept;
    void read(const package_call &here, host::datum value, int index);
    const xmlChar *uri_ = nullptr;
    std::optional<utf8_argument> text_; // of any other
    xmlChar room_[64];
};

// Reports invalid_name.
[[noreturn]] void fail_name(const package_call &here, int index, const char *name, const char *what,
                            const text_check &check);
// Reports index_size about an offset into what a node holds, or a count.
[[noreturn]] void fail_offset(const package_call &here, int index, std::int32_t offset,
                              const xmlNode *node);

// Whether a text argument is what `check` wants. Reports invalid_data.
void require_data(const package_call &here, int index, const text_check &check, const char *what);
// The same for what a node of that type holds.
void require_data(const package_call &here, int index, xmlElementType type, const xmlChar *data);
void require_data(const package_call &here, int index, xmlElementType type, const text_bytes &data);
inline void require_data(const package_call &here, int index, xmlElementType type,
                         const data_argument &data) {
    if (!data.is_plain() || !holds_plain_text(type)) {
        require_data(here, index, type, data.text());
    }
}
// A namespace URI holds characters of XML. Reports invalid_data.
void require_uri(const package_call &here, int index, const xmlChar *uri);
// Reports namespace_error.
void require_namespace(const package_call &here, int index, namespace_fault fault,
                       const name_argument &name, const xmlChar *uri);

// Declarations and what stands in them never change. Reports no_modification_allowed.
[[noreturn]] void fail_as_immutable(const package_call &here, int index, const xmlNode *node);
inline void require_changeable(const package_call &here, int index, const xmlNode *node) {
    if (is_immutable(node)) [[unlikely]] {
        fail_as_immutable(here, index, node);
    }
}
// Both belong to the same document. Reports wrong_document about argument `index`, or
// child_not_allowed when it is a document itself.
void require_same_document(const package_call &here, int index, const named_node &parent,
                           const named_node &node);
// The node of a member of an array of handles (0: null). Reports null_member, unknown_handle,
// stale_handle and wrong_node_type about argument `index`.
[[nodiscard]] named_node node_of_member(const package_call &here, int index, host::datum member);
// The report for a place that is not possible; argument `index` names the child, or a list of
// nodes.
void require_place(const package_call &here, int index, const xmlNode *parent,
                   const place_check &check);

} // namespace pkg_dbe_xml
