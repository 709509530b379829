// The package xmldom: copying nodes, taking them into other documents, renaming them.

#include "edit/adoption.hpp"
#include "functions/package_changes.hpp"

#include <memory>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_clone_node{"xmldom.clone_node", {"node", "deep"}};
constexpr package_function k_import_node{"xmldom.import_node", {"document", "node", "deep"}};
constexpr package_function k_adopt_node{"xmldom.adopt_node", {"document", "node"}};
constexpr package_function k_rename_node{"xmldom.rename_node", {"node", "qualified_name", "uri"}};
constexpr package_function k_set_prefix{"xmldom.set_prefix", {"node", "prefix"}};

constexpr node_wish k_named{type_bits(XML_ELEMENT_NODE, XML_ATTRIBUTE_NODE),
                            "an element or an attribute"};

[[nodiscard]] xmlDocPtr as_document(const named_node &node) noexcept {
    return reinterpret_cast<xmlDocPtr>(node.node);
}

// Documents and declarations stay where they are. Reports not_to_be_copied.
void require_portable(const package_call &here, int index, const xmlNode *node) {
    if (is_document(node) || is_declaration(node->type)) {
        here.fail(reports::not_to_be_copied, index, {node_words(node)}, node);
    }
}

// What is written of a reference to an entity that is not declared cannot be read. Reports
// no_such_entity.
void require_entity(const package_call &here, int index, const xmlChar *missing,
                    const xmlNode *source) {
    if (missing != nullptr) {
        here.fail(reports::no_such_entity, index, {reinterpret_cast<const char *>(missing)},
                  source);
    }
}

// A copy of a document is a document of its own, with all that ends with it.
host::datum clone_document(xmlDocPtr source, bool deep) {
    xml_doc_ptr copy = deep ? copy_whole_document(source) : copy_empty_document(source);
    const host::datum result = register_document(copy.get());
    copy.release();
    return result;
}

// The handle of a new node, which goes when that cannot be made.
host::datum finish(const package_call &here, const named_node &into, xml_node_ptr made) {
    const host::datum result = here.result_of_new(into, made.get());
    made.release();
    return result;
}

// Moves a node to another document of its family.
host::datum adopt_within(const package_call &here, const named_node &node, xmlDocPtr target) {
    if (is_attribute(node.node)) {
        prepare_detachment(reinterpret_cast<const xmlAttr *>(node.node));
    }
    const host::datum result = here.same(1, node);
    if (is_attribute(node.node)) {
        if (node.node->parent != nullptr) {
            detach_attribute(reinterpret_cast<xmlAttrPtr>(node.node));
        }
    } else if (node.node->parent != nullptr) {
        remove_from_tree(node.node);
    }
    set_document_of_tree(node.node, target);
    return result;
}

// Copies a node into another family and lets the handles of the original name nothing.
host::datum adopt_across(const package_call &here, const named_node &document,
                         const named_node &node) {
    family &owner = family_of(*node.entry);
    xml_node_ptr copy = copy_tree(as_document(document), node.node, true).top;
    const host::datum result = here.result(document, copy.get());
    copy.release();
    retire_with_names(owner, node.node);
    return result;
}

// The name of an element or attribute in its new namespace. Reports namespace_error.
void require_name(const package_call &here, int index, const xmlNode *node,
                  const name_argument &name, const xmlChar *uri) {
    const full_name wanted = name.in(uri);
    require_namespace(
        here, index, is_attribute(node) ? check_attribute_name(wanted) : check_element_name(wanted),
        name, uri);
}

// Another attribute of the element must not have the name. Reports attribute_exists.
void require_free_name(const package_call &here, const xmlNode *node, const full_name &name) {
    if (!is_attribute(node) || node->parent == nullptr) {
        return;
    }
    xmlAttrPtr const found = find_attribute(node->parent, name.local, name.uri);
    if (found != nullptr && as_node(found) != node) {
        here.fail(reports::attribute_exists, 1,
                  {node_words(node->parent), reinterpret_cast<const char *>(name.local)}, node);
    }
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_clone_node) {
    const package_call here(call, k_clone_node);
    const named_node node = here.needed_node(0);
    const bool deep = !call.is_null(1) && call.boolean(1);
    if (is_document(node.node)) {
        return clone_document(as_document(node), deep);
    }
    require_portable(here, 0, node.node);
    return finish(here, node, copy_tree(node.node->doc, node.node, deep).top);
}

PKG_DBE_XML_FUNCTION(xmldom_import_node) {
    const package_call here(call, k_import_node);
    const named_node document = here.needed_node(0, k_document);
    const named_node node = here.needed_node(1);
    const bool deep = !call.is_null(2) && call.boolean(2);
    require_portable(here, 1, node.node);
    copied_tree copy = copy_tree(as_document(document), node.node, deep);
    require_entity(here, 1, copy.missing_entity, node.node);
    return finish(here, document, std::move(copy.top));
}

PKG_DBE_XML_FUNCTION(xmldom_adopt_node) {
    const package_call here(call, k_adopt_node);
    const named_node document = here.needed_node(0, k_document);
    const named_node node = here.needed_node(1);
    require_portable(here, 1, node.node);
    require_changeable(here, 1, node.node);
    require_entity(here, 1, missing_entity(as_document(document), node.node), node.node);
    return find_family(*document.entry) == find_family(*node.entry)
               ? adopt_within(here, node, as_document(document))
               : adopt_across(here, document, node);
}

PKG_DBE_XML_FUNCTION(xmldom_rename_node) {
    const package_call here(call, k_rename_node);
    const named_node node = here.needed_node(0, k_named);
    require_changeable(here, 0, node.node);
    const name_argument name(here, call, 1,
                             is_attribute(node.node) ? "an attribute" : "an element");
    const uri_argument uri(here, call, 2);
    require_name(here, 1, node.node, name, uri.xml());
    require_free_name(here, node.node, name.in(uri.xml()));
    const host::datum result = here.same(0, node);
    rename_in_place(node.node, name.in(uri.xml()));
    return result;
}

// A null or empty prefix takes it away; an attribute in a namespace keeps one.
PKG_DBE_XML_FUNCTION(xmldom_set_prefix) {
    const package_call here(call, k_set_prefix);
    const named_node node = here.needed_node(0, k_named);
    require_changeable(here, 0, node.node);
    const optional_argument prefix(call, 1);
    const xmlChar *const wanted = prefix.uri();
    if (wanted != nullptr) {
        if (const text_check check = check_plain_name(wanted); !check.passed()) {
            fail_name(here, 1, reinterpret_cast<const char *>(wanted), "a prefix", check);
        }
    }
    const xmlNs *const record = node.node->ns;
    const full_name name{wanted, node.node->name, uri_of(record)};
    const namespace_fault fault =
        is_attribute(node.node) ? check_attribute_name(name) : check_element_name(name);
    if (fault != namespace_fault::none) {
        here.fail(reports::namespace_error, 1,
                  {reinterpret_cast<const char *>(prefix.or_empty()),
                   name.uri == nullptr ? "" : reinterpret_cast<const char *>(name.uri),
                   words_for(fault)});
    }
    const host::datum result = here.same(0, node);
    if (name.uri != nullptr) {
        rename_in_place(node.node, name);
    }
    return result;
}

} // namespace pkg_dbe_xml
