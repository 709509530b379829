// The package xmldom: setting and removing attributes, by name, as nodes, and in maps.
//
// A name with a prefix means the namespace that the prefix is bound to at the element. Declarations
// of namespaces ("xmlns", "xmlns:p") are set and removed like attributes, as long as no name comes
// to stand for something else.

#include "edit/id_lookup.hpp"
#include "functions/package_changes.hpp"
#include "tree/id_attributes.hpp"
#include "tree/text_compare.hpp"

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_set_attribute{"xmldom.set_attribute", {"element", "name", "value"}};
constexpr package_function k_set_attribute_ns{"xmldom.set_attribute_ns",
                                              {"element", "qualified_name", "value", "uri"}};
constexpr package_function k_remove_attribute{"xmldom.remove_attribute", {"element", "name"}};
constexpr package_function k_remove_attribute_ns{"xmldom.remove_attribute_ns",
                                                 {"element", "local_name", "uri"}};
constexpr package_function k_set_attribute_node{"xmldom.set_attribute_node",
                                                {"element", "attribute"}};
constexpr package_function k_remove_attribute_node{"xmldom.remove_attribute_node",
                                                   {"element", "attribute"}};
constexpr package_function k_set_value{"xmldom.set_value", {"attribute", "value"}};
constexpr package_function k_set_named_item{"xmldom.set_named_item", {"map", "attribute"}};
constexpr package_function k_remove_named_item{"xmldom.remove_named_item", {"map", "name"}};
constexpr package_function k_remove_named_item_ns{"xmldom.remove_named_item_ns",
                                                  {"map", "local_name", "uri"}};
constexpr package_function k_set_id_attribute{"xmldom.set_id_attribute",
                                              {"element", "name", "is_id"}};
constexpr package_function k_set_id_attribute_ns{"xmldom.set_id_attribute_ns",
                                                 {"element", "local_name", "uri", "is_id"}};
constexpr package_function k_set_id_attribute_node{"xmldom.set_id_attribute_node",
                                                   {"element", "attribute", "is_id"}};
constexpr package_function k_get_element_by_id{"xmldom.get_element_by_id", {"document", "id"}};

constexpr const char *k_what = "an attribute";

[[nodiscard]] xmlAttrPtr as_attribute(const named_node &node) noexcept {
    return reinterpret_cast<xmlAttrPtr>(node.node);
}

[[nodiscard]] named_node changeable_element(const package_call &here) {
    const named_node element = here.needed_node(0, k_element);
    require_changeable(here, 0, element.node);
    return element;
}

[[nodiscard]] bool is_xmlns(const xmlChar *uri) noexcept { return same_text(uri, k_xmlns_uri); }

void require_declarable(const package_call &here, int index, namespace_fault fault,
                        const name_argument &name) {
    if (fault != namespace_fault::none) {
        here.fail(reports::declaration_in_use, index, {name.whole(), words_for(fault)});
    }
}

// Sets or, for a null URI, removes the declaration that `name` is the attribute of.
void set_declaration(const package_call &here, const named_node &element, const name_argument &name,
                     const xmlChar *uri) {
    const xmlChar *const prefix = name.prefix() == nullptr ? nullptr : name.local();
    require_declarable(here, 1,
                       uri == nullptr ? remove_declaration(element.node, prefix)
                                      : declare_namespace(element.node, prefix, uri),
                       name);
}

// The namespace that the prefix of a name is bound to at an element. Reports undeclared_prefix.
[[nodiscard]] const xmlChar *uri_of_prefix(const package_call &here, const named_node &element,
                                           const name_argument &name) {
    if (name.prefix() == nullptr) {
        return nullptr;
    }
    if (is_xml_prefix(name.prefix())) {
        return reinterpret_cast<const xmlChar *>(k_xml_uri);
    }
    const xmlNs *const found = declaration_in_scope(element.node, name.prefix());
    if (uri_of(found) == nullptr) {
        here.fail(reports::undeclared_prefix, 1, {name.whole()});
    }
    return found->href;
}

// The attribute of a name as it is written; null when there is none.
[[nodiscard]] xmlAttrPtr find_by_name(const named_node &element,
                                      const name_argument &name) noexcept {
    return attribute_called(element.node, name.prefix(), name.local());
}

// The attribute of argument 1 on the element, which must have it. Reports not_found.
[[nodiscard]] named_node own_attribute(const package_call &here, const named_node &element) {
    const named_node attribute = here.needed_node(1, k_attribute);
    if (attribute.node->parent != element.node) {
        here.fail(reports::not_found, 1, {node_words(attribute.node), node_words(element.node)},
                  attribute.node);
    }
    require_changeable(here, 1, attribute.node);
    return attribute;
}

// The element of a map. One of an element without attributes that was not made by the packages
// names none.
[[nodiscard]] named_node element_of_map(const package_call &here) {
    XMLHashEntry &map = here.needed_map(0);
    xmlNodePtr const named = as_node(map.object);
    xmlNodePtr const element = named->type == XML_ATTRIBUTE_NODE ? named->parent : named;
    if (element == nullptr || element->type != XML_ELEMENT_NODE) {
        here.fail(reports::stale_handle, 0);
    }
    require_changeable(here, 0, element);
    return {&map, element};
}

// Puts the attribute of argument 1 on an element; the handle of the one that it replaces, or null.
host::datum put_attribute(const package_call &here, const named_node &element) {
    const named_node attribute = here.needed_node(1, k_attribute);
    require_changeable(here, 1, attribute.node);
    require_same_document(here, 1, element, attribute);
    if (attribute.node->doc != element.node->doc) {
        here.fail(reports::wrong_document, 1, {node_words(attribute.node)}, attribute.node);
    }
    if (attribute.node->parent != nullptr && attribute.node->parent != element.node) {
        here.fail(reports::attribute_in_use, 1, {node_words(attribute.node)}, attribute.node);
    }
    if (attribute.node->parent == element.node) {
        return here.same(1, attribute);
    }
    xmlAttrPtr const replaced = attribute_like(element.node, as_attribute(attribute));
    attribute_placement place(element.node, as_attribute(attribute));
    const host::datum result = here.result(element, as_node(replaced));
    place.carry_out();
    return result;
}

// Takes an attribute off for its handle, which is the result.
host::datum take_off(const package_call &here, const named_node &element, xmlAttrPtr attribute) {
    prepare_detachment(attribute);
    const host::datum result = here.result(element, as_node(attribute));
    detach_attribute(attribute);
    return result;
}

host::datum mark_as_id(const package_call &here, const named_node &element, xmlAttrPtr attribute,
                       const char *name, bool is_id) {
    if (attribute == nullptr) {
        here.fail(reports::no_such_attribute, 1, {node_words(element.node), name}, element.node);
    }
    const host::datum result = here.same(0, element);
    make_id(attribute, is_id);
    return result;
}

[[nodiscard]] bool truth_argument(const package_call &here, const host::call &call, int index) {
    here.needs(index);
    return call.boolean(index);
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_set_attribute) {
    const package_call here(call, k_set_attribute);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const data_argument value(call, 2);
    require_data(here, 2, XML_ATTRIBUTE_NODE, value);
    const host::datum result = here.same(0, element);
    if (names_declaration(name.prefix(), name.local())) {
        set_declaration(here, element, name, optional_argument(call, 2).xml());
        return result;
    }
    family &owner = family_of(*element.entry);
    xmlAttrPtr const found = find_by_name(element, name);
    if (value.is_null()) {
        if (found != nullptr) {
            remove_attribute(owner, found);
        }
    } else if (found != nullptr) {
        set_value(owner, found, value.text());
    } else if (name.prefix() == nullptr) {
        add_plain_attribute(element.node, name.local(), value.text());
    } else {
        set_attribute_in(owner, element.node, name.in(uri_of_prefix(here, element, name)),
                         value.text());
    }
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_set_attribute_ns) {
    const package_call here(call, k_set_attribute_ns);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const data_argument value(call, 2);
    const optional_argument uri(call, 3);
    require_data(here, 2, XML_ATTRIBUTE_NODE, value);
    require_uri(here, 3, uri.uri());
    const host::datum result = here.same(0, element);
    if (is_xmlns(uri.uri()) && names_declaration(name.prefix(), name.local())) {
        set_declaration(here, element, name, optional_argument(call, 2).xml());
        return result;
    }
    require_namespace(here, 1, check_attribute_name(name.in(uri.uri())), name, uri.uri());
    family &owner = family_of(*element.entry);
    if (!value.is_null()) {
        set_attribute_in(owner, element.node, name.in(uri.uri()), value.text());
    } else if (xmlAttrPtr const found = find_attribute(element.node, name.local(), uri.uri())) {
        remove_attribute(owner, found);
    }
    return result;
}

// Where there is no such attribute, nothing is to be done.
PKG_DBE_XML_FUNCTION(xmldom_remove_attribute) {
    const package_call here(call, k_remove_attribute);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const host::datum result = here.same(0, element);
    if (names_declaration(name.prefix(), name.local())) {
        set_declaration(here, element, name, nullptr);
    } else if (xmlAttrPtr const found = find_by_name(element, name)) {
        remove_attribute(family_of(*element.entry), found);
    }
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_remove_attribute_ns) {
    const package_call here(call, k_remove_attribute_ns);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const optional_argument uri(call, 2);
    const host::datum result = here.same(0, element);
    if (is_xmlns(uri.uri())) {
        // The local name of a declaration is its prefix, and "xmlns" that of the default one.
        const bool is_default = same_text(name.local(), "xmlns");
        require_declarable(
            here, 1, remove_declaration(element.node, is_default ? nullptr : name.local()), name);
    } else if (xmlAttrPtr const found = find_attribute(element.node, name.local(), uri.uri())) {
        remove_attribute(family_of(*element.entry), found);
    }
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_set_attribute_node) {
    const package_call here(call, k_set_attribute_node);
    return put_attribute(here, changeable_element(here));
}

PKG_DBE_XML_FUNCTION(xmldom_remove_attribute_node) {
    const package_call here(call, k_remove_attribute_node);
    const named_node element = changeable_element(here);
    const named_node attribute = own_attribute(here, element);
    return take_off(here, attribute, as_attribute(attribute));
}

PKG_DBE_XML_FUNCTION(xmldom_set_value) {
    const package_call here(call, k_set_value);
    const named_node attribute = here.needed_node(0, k_attribute);
    require_changeable(here, 0, attribute.node);
    const data_argument value(call, 1);
    require_data(here, 1, XML_ATTRIBUTE_NODE, value);
    const host::datum result = here.same(0, attribute);
    set_value(family_of(*attribute.entry), as_attribute(attribute), value.text());
    return result;
}

// --- maps ---------------------------------------------------------------------------------------

PKG_DBE_XML_FUNCTION(xmldom_set_named_item) {
    const package_call here(call, k_set_named_item);
    return put_attribute(here, element_of_map(here));
}

PKG_DBE_XML_FUNCTION(xmldom_remove_named_item) {
    const package_call here(call, k_remove_named_item);
    const named_node element = element_of_map(here);
    const name_argument name(here, call, 1, k_what);
    xmlAttrPtr const found = find_by_name(element, name);
    if (found == nullptr) {
        here.fail(reports::no_such_attribute, 1, {node_words(element.node), name.whole()},
                  element.node);
    }
    return take_off(here, element, found);
}

PKG_DBE_XML_FUNCTION(xmldom_remove_named_item_ns) {
    const package_call here(call, k_remove_named_item_ns);
    const named_node element = element_of_map(here);
    const name_argument name(here, call, 1, k_what);
    const optional_argument uri(call, 2);
    xmlAttrPtr const found = find_attribute(element.node, name.local(), uri.uri());
    if (found == nullptr) {
        here.fail(reports::no_such_attribute, 1, {node_words(element.node), name.whole()},
                  element.node);
    }
    return take_off(here, element, found);
}

// --- IDs ----------------------------------------------------------------------------------------

PKG_DBE_XML_FUNCTION(xmldom_set_id_attribute) {
    const package_call here(call, k_set_id_attribute);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const bool is_id = truth_argument(here, call, 2);
    return mark_as_id(here, element, find_by_name(element, name), name.whole(), is_id);
}

PKG_DBE_XML_FUNCTION(xmldom_set_id_attribute_ns) {
    const package_call here(call, k_set_id_attribute_ns);
    const named_node element = changeable_element(here);
    const name_argument name(here, call, 1, k_what);
    const optional_argument uri(call, 2);
    const bool is_id = truth_argument(here, call, 3);
    return mark_as_id(here, element, find_attribute(element.node, name.local(), uri.uri()),
                      name.whole(), is_id);
}

PKG_DBE_XML_FUNCTION(xmldom_set_id_attribute_node) {
    const package_call here(call, k_set_id_attribute_node);
    const named_node element = changeable_element(here);
    const named_node attribute = own_attribute(here, element);
    const bool is_id = truth_argument(here, call, 2);
    return mark_as_id(here, element, as_attribute(attribute), "", is_id);
}

PKG_DBE_XML_FUNCTION(xmldom_get_element_by_id) {
    const package_call here(call, k_get_element_by_id);
    const named_node document = here.node(0, k_document);
    if (!document || call.is_null(1)) {
        return call.null();
    }
    const utf8_argument id(call.value(1));
    return here.result(document,
                       element_with_id(family_of(*document.entry),
                                       reinterpret_cast<xmlDocPtr>(document.node), id.xml()));
}

} // namespace pkg_dbe_xml
