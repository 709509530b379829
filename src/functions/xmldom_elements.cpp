// Attributes of elements, and elements by their names.
//
// A name without a namespace is a qualified one, prefix and all, as it is written; with a namespace
// it is a local name, whatever the prefix. Attributes that the document type only gives by default
// have values and no nodes.

#include "functions/package_arguments.hpp"
#include "registry/list_making.hpp"
#include "tree/attribute_names.hpp"
#include "tree/element_names.hpp"
#include "tree/node_text.hpp"

#include <optional>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_attribute{"xmldom.get_attribute", {"element", "name"}};
constexpr package_function k_get_attribute_ns{"xmldom.get_attribute_ns",
                                              {"element", "name", "namespace_uri"}};
constexpr package_function k_has_attribute{"xmldom.has_attribute", {"element", "name"}};
constexpr package_function k_has_attribute_ns{"xmldom.has_attribute_ns",
                                              {"element", "name", "namespace_uri"}};
constexpr package_function k_get_attribute_node{"xmldom.get_attribute_node", {"element", "name"}};
constexpr package_function k_get_attribute_node_ns{"xmldom.get_attribute_node_ns",
                                                   {"element", "name", "namespace_uri"}};
constexpr package_function k_has_attributes{"xmldom.has_attributes", {"node"}};
constexpr package_function k_get_attributes{"xmldom.get_attributes", {"node"}};
constexpr package_function k_get_elements_by_tag_name{"xmldom.get_elements_by_tag_name",
                                                      {"node", "name"}};
constexpr package_function k_get_elements_by_tag_name_ns{"xmldom.get_elements_by_tag_name_ns",
                                                         {"node", "name", "namespace_uri"}};
constexpr package_function k_get_children_by_tag_name{"xmldom.get_children_by_tag_name",
                                                      {"element", "name"}};
constexpr package_function k_get_children_by_tag_name_ns{"xmldom.get_children_by_tag_name_ns",
                                                         {"element", "name", "namespace_uri"}};
constexpr node_wish k_searched{
    type_bits(XML_ELEMENT_NODE, XML_DOCUMENT_NODE, XML_DOCUMENT_FRAG_NODE),
    "an element, a document or a fragment"};

// The element of argument 0 and what is found of it under the name of argument 1, and in the
// namespace of argument 2 where the function takes one: an attribute, or a declaration that gives
// it by default.
template <bool by_namespace> class attribute_search {
  public:
    attribute_search(host::call &call, const package_function &function)
        : element_(package_call(call, function).node(0, k_element)) {
        if (!element_ || call.is_null(1)) {
            return;
        }
        asked_ = true;
        const utf8_argument name(call.value(1));
        if constexpr (by_namespace) {
            const optional_argument uri(call, 2);
            find(name.xml(), uri.or_empty());
        } else {
            find(name.xml(), nullptr);
        }
    }
    // False when one of the arguments is null.
    [[nodiscard]] bool asked() const noexcept { return asked_; }
    [[nodiscard]] const named_node &element() const noexcept { return element_; }
    [[nodiscard]] xmlNodePtr found() const noexcept { return found_; }

  private:
    void find(const xmlChar *name, const xmlChar *uri) {
        found_ = as_node(attribute_name(name, uri).find(element_.node));
        if (found_ == nullptr && declares_attributes(element_.node->doc)) {
            found_ = declared_attribute(element_.node, name, uri);
        }
    }
    named_node element_;
    xmlNodePtr found_ = nullptr;
    bool asked_ = false;
};

template <bool by_namespace>
host::datum attribute_value(host::call &call, const package_function &function) {
    const attribute_search<by_namespace> search(call, function);
    if (search.found() == nullptr) {
        return call.null();
    }
    text_room room;
    const text_piece value = node_text(search.found(), room);
    return value.bytes == nullptr ? call.null() : text_result(value.bytes, value.size);
}

template <bool by_namespace>
host::datum attribute_exists(host::call &call, const package_function &function) {
    const attribute_search<by_namespace> search(call, function);
    return search.asked() ? host::from_boolean(search.found() != nullptr) : call.null();
}

template <bool by_namespace>
host::datum attribute_node(host::call &call, const package_function &function) {
    const attribute_search<by_namespace> search(call, function);
    const bool has_node = search.found() != nullptr && is_attribute(search.found());
    return has_node ? own_handle(*search.element().entry, search.found()) : call.null();
}

// The list of the elements with a name, below the top or among its children.
template <bool children_only>
host::datum elements_of(const named_node &top, const element_name &wanted) {
    const auto next = [&top](xmlNodePtr node) {
        return children_only ? node->next : next_below(node, top.node);
    };
    return list_result(*top.entry, [&](node_collector &found) {
        for (xmlNodePtr node = first_child(top.node); node != nullptr; node = next(node)) {
            if (wanted.matches(node)) {
                found.add(node);
            } else {
                found.pass_by();
            }
        }
    });
}

// The elements of argument 0 that have the name in argument 1.
template <bool children_only>
host::datum named_elements(host::call &call, const package_function &function) {
    const named_node top = package_call(call, function).node(0, k_searched);
    if (!top || call.is_null(1)) {
        return call.null();
    }
    const utf8_argument name(call.value(1));
    return elements_of<children_only>(top, element_name(name.xml(), nullptr));
}

// The same in the namespace of argument 2; null and the empty text mean none.
template <bool children_only>
host::datum named_elements_ns(host::call &call, const package_function &function) {
    const named_node top = package_call(call, function).node(0, k_searched);
    if (!top || call.is_null(1)) {
        return call.null();
    }
    const utf8_argument name(call.value(1));
    std::optional<utf8_argument> uri;
    if (!call.is_null(2)) {
        uri.emplace(call.value(2));
    }
    return elements_of<children_only>(top,
                                      element_name(name.xml(), uri ? uri->xml() : BAD_CAST ""));
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_attribute) { return attribute_value<false>(call, k_get_attribute); }

PKG_DBE_XML_FUNCTION(xmldom_get_attribute_ns) {
    return attribute_value<true>(call, k_get_attribute_ns);
}

PKG_DBE_XML_FUNCTION(xmldom_has_attribute) {
    return attribute_exists<false>(call, k_has_attribute);
}

PKG_DBE_XML_FUNCTION(xmldom_has_attribute_ns) {
    return attribute_exists<true>(call, k_has_attribute_ns);
}

PKG_DBE_XML_FUNCTION(xmldom_get_attribute_node) {
    return attribute_node<false>(call, k_get_attribute_node);
}

PKG_DBE_XML_FUNCTION(xmldom_get_attribute_node_ns) {
    return attribute_node<true>(call, k_get_attribute_node_ns);
}

PKG_DBE_XML_FUNCTION(xmldom_has_attributes) {
    const named_node named = package_call(call, k_has_attributes).node(0);
    return named ? host::from_boolean(first_attribute(named.node) != nullptr) : call.null();
}

// The map of an element's attributes, null for every other node.
PKG_DBE_XML_FUNCTION(xmldom_get_attributes) {
    const named_node named = package_call(call, k_get_attributes).node(0);
    return named && named.node->type == XML_ELEMENT_NODE ? own_map(*named.entry, named.node)
                                                         : call.null();
}

// "*" means any name, and any namespace.
PKG_DBE_XML_FUNCTION(xmldom_get_elements_by_tag_name) {
    return named_elements<false>(call, k_get_elements_by_tag_name);
}

PKG_DBE_XML_FUNCTION(xmldom_get_elements_by_tag_name_ns) {
    return named_elements_ns<false>(call, k_get_elements_by_tag_name_ns);
}

PKG_DBE_XML_FUNCTION(xmldom_get_children_by_tag_name) {
    return named_elements<true>(call, k_get_children_by_tag_name);
}

PKG_DBE_XML_FUNCTION(xmldom_get_children_by_tag_name_ns) {
    return named_elements_ns<true>(call, k_get_children_by_tag_name_ns);
}

} // namespace pkg_dbe_xml
