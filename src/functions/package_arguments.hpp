// How the functions of the packages read their arguments and hand out nodes: null rules, handles,
// types of nodes, and failures that say which argument of which function it was.
//
//   constexpr package_function k_append_child{"xmldom.append_child", {"parent", "child"}};
//
//   PKG_DBE_XML_FUNCTION(xmldom_append_child) {
//       const package_call here(call, k_append_child);
//       const named_node parent = here.needed_node(0);          // 22004 for null
//       const named_node child = here.needed_node(1);
//       if (!may_stand_in(child.node, parent.node)) {
//           here.fail(reports::child_not_allowed, 1,
//                     {node_words(child.node), node_words(parent.node)}, child.node);
//       }
//       ...
//       return here.same(1, child);                             // its own handle
//   }
//
// A function that reads takes `node`, which gives nothing for a null handle, and answers that with
// null; a function that changes or writes takes `needed_node` and `needs`. A handle that names
// nothing any more is an error in both, never null. The checks of an argument come in this order:
// null, unknown handle, handle that names nothing, type of the node.
#pragma once

#include "error_reports.hpp"
#include "functions/call_frame.hpp"
#include "host/call.hpp"
#include "registry.hpp"
#include "text/text_argument.hpp"
#include "tree/node_words.hpp"
#include "tree/text_compare.hpp"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace pkg_dbe_xml {

// A function of the packages as reports name it.
struct package_function {
    const char *name;         // with its schema
    const char *arguments[6]; // as the SQL declares them
};

// What types of nodes an argument may name, and how they are called in a report.
struct node_wish {
    std::uint32_t types; // a bit for each xmlElementType
    const char *words;
};
template <class... Type> [[nodiscard]] constexpr std::uint32_t type_bits(Type... types) noexcept {
    return ((1U << static_cast<unsigned>(types)) | ...);
}
inline constexpr node_wish k_any_node{0xFFFFFFFFU, "a node"};
inline constexpr node_wish k_element{type_bits(XML_ELEMENT_NODE), "an element"};
inline constexpr node_wish k_attribute{type_bits(XML_ATTRIBUTE_NODE), "an attribute"};
inline constexpr node_wish k_document{type_bits(XML_DOCUMENT_NODE), "a document"};
inline constexpr node_wish k_element_or_document{type_bits(XML_ELEMENT_NODE, XML_DOCUMENT_NODE),
                                                 "an element or a document"};
inline constexpr node_wish k_text{type_bits(XML_TEXT_NODE, XML_CDATA_SECTION_NODE), "a text"};
inline constexpr node_wish k_character_data{
    type_bits(XML_TEXT_NODE, XML_CDATA_SECTION_NODE, XML_COMMENT_NODE, XML_PI_NODE),
    "a text, a CDATA section, a comment or a processing instruction"};

// The node of an argument with its entry, from which handles of the same family are made. Both are
// null for a null argument.
struct named_node {
    XMLHashEntry *entry;
    xmlNodePtr node;
    explicit operator bool() const noexcept { return node != nullptr; }
};

class package_call {
  public:
    package_call(host::call &frame, const package_function &function) noexcept
        : frame_(frame), function_(function) {}

    // The node of a handle argument; nothing for null. Reports unknown_handle, stale_handle and
    // wrong_node_type.
    [[nodiscard]] named_node node(int index, const node_wish &wish = k_any_node) const {
        return frame_.is_null(index) ? named_node{nullptr, nullptr} : node_there(index, wish);
    }
    // The same of an argument that must not be null; reports null_package_argument too.
    [[nodiscard, gnu::always_inline]] named_node
    needed_node(int index, const node_wish &wish = k_any_node) const {
        needs(index);
        return node_there(index, wish);
    }
    // The entry of a list or of a map; null for null. Reports as above.
    [[nodiscard]] XMLHashEntry *list(int index) const {
        return collection(index, XMLDomNodeType::node_list, "a list");
    }
    [[nodiscard]] XMLHashEntry *map(int index) const {
        return collection(index, XMLDomNodeType::named_node_map, "a map of attributes");
    }
    [[nodiscard]] XMLHashEntry &needed_map(int index) const {
        needs(index);
        return *map(index);
    }
    // The entry of a handle argument that is not null, of whatever kind; it names something.
    // Reports unknown_handle and stale_handle.
    [[nodiscard]] XMLHashEntry &handle(int index) const {
        const DomKey *const key = handle_in_place(frame_.value(index));
        XMLHashEntry *const entry =
            key != nullptr ? look_up_handle(*key) : look_up_stored_handle(frame_.value(index));
        if (entry == nullptr || entry->object == nullptr) [[unlikely]] {
            fail_as_handle(index, entry);
        }
        return *entry;
    }
    // Reports null_package_argument for a null argument.
    void needs(int index) const {
        if (frame_.is_null(index)) [[unlikely]] {
            fail_as_null(index);
        }
    }

    // A handle of a node as the result, its own; null for null.
    [[nodiscard]] host::datum result(const named_node &from, xmlNodePtr node) const {
        return node == nullptr ? frame_.null() : own_handle(*from.entry, node);
    }
    // The same of a node that was just made.
    [[nodiscard]] host::datum result_of_new(const named_node &from, xmlNodePtr node) const {
        return own_handle_of_new(*from.entry, node);
    }
    // The handle of the node of argument `index` as the result: the argument itself where it is the
    // node's own.
    [[nodiscard]] host::datum same(int index, const named_node &named) const {
        return named.entry->is_own ? frame_.same_as(index) : result(named, named.node);
    }
    [[nodiscard]] host::datum null() const noexcept { return frame_.null(); }

    // Makes a report about an argument: CONTEXT says which one it was, and which node it names if
    // that is given. `texts` fill the message.
    [[noreturn]] void fail(const report_row &row, int index,
                           std::initializer_list<std::string_view> texts = {},
                           const xmlNode *named = nullptr, const char *file = __builtin_FILE(),
                           int line = __builtin_LINE(),
                           const char *function = __builtin_FUNCTION()) const;

  private:
    // In place, it takes 20 instructions less.
    [[nodiscard, gnu::always_inline]] named_node node_there(int index,
                                                            const node_wish &wish) const {
        XMLHashEntry &entry = handle(index);
        if (is_collection(entry)) [[unlikely]] {
            fail_as_collection(index, wish, entry);
        }
        xmlNodePtr const found = as_node(entry.object);
        if ((type_bits(found->type) & wish.types) == 0) [[unlikely]] {
            fail_as_type(index, wish, found);
        }
        return {&entry, found};
    }
    // The entry of a value in any other form than those in which handles are passed; null when
    // there is none. Throws what the host raises while fetching it.
    [[nodiscard]] static XMLHashEntry *look_up_stored_handle(host::datum value);
    [[nodiscard]] XMLHashEntry *collection(int index, XMLDomNodeType kind,
                                           const char *words) const {
        if (frame_.is_null(index)) {
            return nullptr;
        }
        XMLHashEntry &entry = handle(index);
        if (entry.kind != kind) [[unlikely]] {
            fail_as_no_collection(index, words, entry);
        }
        return &entry;
    }
    [[noreturn]] void fail_as_no_collection(int index, const char *words,
                                            const XMLHashEntry &entry) const;
    [[noreturn]] void fail_as_null(int index) const;
    [[noreturn]] void fail_as_handle(int index, const XMLHashEntry *entry) const;
    [[noreturn]] void fail_as_collection(int index, const node_wish &wish,
                                         const XMLHashEntry &entry) const;
    [[noreturn]] void fail_as_type(int index, const node_wish &wish, const xmlNode *found) const;

    host::call &frame_;
    const package_function &function_;
};

// A text argument in UTF-8, null for null.
class optional_argument {
  public:
    optional_argument(const host::call &call, int index) {
        if (!call.is_null(index)) {
            text_.emplace(call.value(index));
        }
    }
    [[nodiscard]] const xmlChar *xml() const noexcept { return text_ ? text_->xml() : nullptr; }
    [[nodiscard]] const xmlChar *or_empty() const noexcept {
        return text_ ? text_->xml() : reinterpret_cast<const xmlChar *>("");
    }
    // A namespace URI: the empty one is none.
    [[nodiscard]] const xmlChar *uri() const noexcept {
        return text_ && *text_->xml() != 0 ? text_->xml() : nullptr;
    }

  private:
    std::optional<utf8_argument> text_;
};

// A text of libxml2's as the result, null for null.
[[nodiscard]] inline host::datum text_or_null(host::call &call, const xmlChar *text) {
    return text == nullptr ? call.null() : text_result(text, length_of(text));
}

} // namespace pkg_dbe_xml
