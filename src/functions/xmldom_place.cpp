// The package xmldom: putting nodes into a tree, replacing them and taking them out.
//
// Every function checks and prepares the whole change before anything moves. A fragment stands for
// its children, and is empty afterwards.

#include "functions/package_changes.hpp"
#include "text/value_array.hpp"

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_append_child{"xmldom.append_child", {"parent", "new_child"}};
constexpr package_function k_insert_before{"xmldom.insert_before",
                                           {"parent", "new_child", "reference"}};
constexpr package_function k_replace_child{"xmldom.replace_child",
                                           {"parent", "new_child", "old_child"}};
constexpr package_function k_remove_child{"xmldom.remove_child", {"parent", "old_child"}};
constexpr package_function k_append{"xmldom.append", {"parent", "nodes"}};
constexpr package_function k_prepend{"xmldom.prepend", {"parent", "nodes"}};
constexpr package_function k_before{"xmldom.before", {"node", "nodes"}};
constexpr package_function k_after{"xmldom.after", {"node", "nodes"}};
constexpr package_function k_replace_with{"xmldom.replace_with", {"node", "nodes"}};
constexpr package_function k_replace_children{"xmldom.replace_children", {"parent", "nodes"}};
constexpr package_function k_remove{"xmldom.remove", {"node"}};

// Reports not_found unless the node is a child.
void require_child(const package_call &here, int index, const named_node &parent,
                   const named_node &child) {
    if (child.node->parent != parent.node || is_attribute(child.node)) {
        here.fail(reports::not_found, index, {node_words(child.node), node_words(parent.node)},
                  child.node);
    }
}

// Puts one node, or the children of a fragment, below `parent`; the result is the handle of
// `shown`, which is argument `index`.
host::datum put(const package_call &here, const named_node &parent, const named_node &child,
                xmlNodePtr reference, leaving what, int index, const named_node &shown) {
    require_same_document(here, 1, parent, child);
    // Checked and planned for in general, a child is moved in twice as many instructions.
    if (what == leaving::nothing && reference != child.node &&
        only_needs_links(parent.node, child.node)) {
        const host::datum result = here.same(index, shown);
        move_by_links(parent.node, child.node, reference);
        return result;
    }
    placement place(parent.node, reference, what);
    place.add(child.node);
    require_place(here, 1, parent.node, place.check());
    place.prepare();
    const host::datum result = here.same(index, shown);
    place.carry_out();
    return result;
}

// Adds the nodes of the array that argument 1 is; a null array has none. Reports
// null_member.
void add_nodes(const package_call &here, const host::call &call, const named_node &parent,
               placement &place) {
    if (call.is_null(1)) {
        return;
    }
    const value_array nodes(call.value(1));
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        const named_node node = node_of_member(here, 1, nodes[index]);
        require_same_document(here, 1, parent, node);
        place.add(node.node);
    }
}

// Puts the nodes of argument 1; the result is the handle of argument 0.
host::datum put_all(const package_call &here, const host::call &call, const named_node &parent,
                    xmlNodePtr reference, leaving what, const named_node &shown) {
    placement place(parent.node, reference, what);
    if (shown.node != parent.node) {
        place.around(shown.node);
    }
    add_nodes(here, call, parent, place);
    require_place(here, 1, parent.node, place.check());
    place.prepare();
    const host::datum result = here.same(0, shown);
    place.carry_out();
    return result;
}

// The parent of argument 0, which stands among siblings. Reports no_parent.
named_node parent_of(const package_call &here, const named_node &node) {
    if (node.node->parent == nullptr || is_attribute(node.node)) {
        here.fail(reports::no_parent, 0, {node_words(node.node)}, node.node);
    }
    require_changeable(here, 0, node.node);
    return {node.entry, node.node->parent};
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_append_child) {
    const package_call here(call, k_append_child);
    const named_node parent = here.needed_node(0);
    const named_node child = here.needed_node(1);
    return put(here, parent, child, nullptr, leaving::nothing, 1, child);
}

PKG_DBE_XML_FUNCTION(xmldom_insert_before) {
    const package_call here(call, k_insert_before);
    const named_node parent = here.needed_node(0);
    const named_node child = here.needed_node(1);
    const named_node reference = here.node(2);
    if (reference) {
        require_child(here, 2, parent, reference);
    }
    return put(here, parent, child, reference.node, leaving::nothing, 1, child);
}

PKG_DBE_XML_FUNCTION(xmldom_replace_child) {
    const package_call here(call, k_replace_child);
    const named_node parent = here.needed_node(0);
    const named_node child = here.needed_node(1);
    const named_node old = here.needed_node(2);
    require_child(here, 2, parent, old);
    require_changeable(here, 2, old.node);
    return put(here, parent, child, old.node, leaving::reference, 2, old);
}

PKG_DBE_XML_FUNCTION(xmldom_remove_child) {
    const package_call here(call, k_remove_child);
    const named_node parent = here.needed_node(0);
    const named_node old = here.needed_node(1);
    require_child(here, 1, parent, old);
    require_changeable(here, 1, old.node);
    const host::datum result = here.same(1, old);
    remove_from_tree(old.node);
    return result;
}

PKG_DBE_XML_FUNCTION(xmldom_append) {
    const package_call here(call, k_append);
    const named_node parent = here.needed_node(0);
    return put_all(here, call, parent, nullptr, leaving::nothing, parent);
}

PKG_DBE_XML_FUNCTION(xmldom_prepend) {
    const package_call here(call, k_prepend);
    const named_node parent = here.needed_node(0);
    return put_all(here, call, parent, first_child(parent.node), leaving::nothing, parent);
}

PKG_DBE_XML_FUNCTION(xmldom_replace_children) {
    const package_call here(call, k_replace_children);
    const named_node parent = here.needed_node(0);
    return put_all(here, call, parent, nullptr, leaving::all_children, parent);
}

PKG_DBE_XML_FUNCTION(xmldom_before) {
    const package_call here(call, k_before);
    const named_node node = here.needed_node(0);
    return put_all(here, call, parent_of(here, node), node.node, leaving::nothing, node);
}

PKG_DBE_XML_FUNCTION(xmldom_after) {
    const package_call here(call, k_after);
    const named_node node = here.needed_node(0);
    return put_all(here, call, parent_of(here, node), node.node->next, leaving::nothing, node);
}

PKG_DBE_XML_FUNCTION(xmldom_replace_with) {
    const package_call here(call, k_replace_with);
    const named_node node = here.needed_node(0);
    return put_all(here, call, parent_of(here, node), node.node, leaving::reference, node);
}

// A node that stands nowhere stays there.
PKG_DBE_XML_FUNCTION(xmldom_remove) {
    const package_call here(call, k_remove);
    const named_node node = here.needed_node(0);
    if (is_attribute(node.node) || is_document(node.node)) {
        here.fail(reports::no_parent, 0, {node_words(node.node)}, node.node);
    }
    require_changeable(here, 0, node.node);
    const host::datum result = here.same(0, node);
    if (node.node->parent != nullptr) {
        remove_from_tree(node.node);
    }
    return result;
}

} // namespace pkg_dbe_xml
