// Namespaces that stay right while a tree changes: every name of an element or attribute is bound,
// where the node stands, to the namespace that the node is in.
//
// A change is planned first, which may fail, and carried out after the nodes were linked, which
// cannot. While a plan is made, nothing of the tree changes.
#pragma once

#include "growing_array.hpp"
#include "tree/namespace_scope.hpp"
#include "tree/text_compare.hpp"
#include "xml_owner.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

// --- what is in scope -------------------------------------------------------------------------

// The declaration of a prefix (null: the default namespace) on an element itself; null when there
// is none.
[[nodiscard]] xmlNsPtr declaration_on(const xmlNode *element, const xmlChar *prefix) noexcept;
// The nearest declaration of a prefix on a node or above it; null when there is none. The prefix
// "xml" has none. Throws when the statement was asked to stop.
[[nodiscard]] xmlNsPtr declaration_in_scope(const xmlNode *node, const xmlChar *prefix);
// A declaration with a prefix, in scope at a node, of this URI; null when there is none.
// Throws when the statement was asked to stop.
[[nodiscard]] xmlNsPtr prefixed_declaration(const xmlNode *node, const xmlChar *uri);
// Whether an unprefixed element that came to stand below `parent` would be in a namespace.
// Throws when the statement was asked to stop.
[[nodiscard]] bool has_default_namespace(const xmlNode *parent);
// Whether a node stands below one that declares a namespace. Throws when the statement was asked to
// stop.
[[nodiscard]] bool stands_below_declarations(const xmlNode *node);
[[nodiscard]] bool is_xml_prefix(const xmlChar *prefix) noexcept;
// Whether the name of a node holds a colon that separates no prefix: it was written with a prefix
// that nothing declares.
[[nodiscard]] bool has_undeclared_prefix(const xmlNode *node) noexcept;

// --- declarations -----------------------------------------------------------------------------

// Who made a declaration: the ones that were asked for stay where they are, those made for a name
// go when they come to stand below another one of the same.
enum class declared_by : std::uint8_t { need, request };

// A new record. Reports out_of_memory.
[[nodiscard]] xml_ns_ptr new_declaration(const xmlChar *uri, const xmlChar *prefix,
                                         declared_by whom);
// Puts a record behind the declarations of an element. Never throws.
void link_declaration(xmlNodePtr element, xmlNsPtr record) noexcept;
// Takes a declaration off its element; the document keeps the record for those who use it. The
// document has its record for "xml". Never throws.
void unlink_declaration(xmlDocPtr document, xmlNodePtr element, xmlNsPtr record) noexcept;
// Whether a name of the element itself or of what stands below it is bound by the declaration that
// it has, or would get, of this prefix: where a nearer declaration hides it, it is not used. With
// `unbound`, names that use no declaration at all count too: unprefixed ones in no namespace, and
// those with an undeclared prefix. Throws when the statement was asked to stop.
[[nodiscard]] bool uses_prefix(xmlNodePtr element, const xmlChar *prefix, bool unbound);

// Declarations that were made for the top of a tree and say what is in scope above it are taken
// away again. For trees that stand in their place. Never throws.
void drop_repeated_declarations(xmlNodePtr top) noexcept;

// --- planning ---------------------------------------------------------------------------------

// Nodes, to be told from others.
using node_set = growing_array<xmlNodePtr, 8>;
[[nodiscard]] bool is_member(const node_set &sorted, const xmlNode *node) noexcept;
void sort_nodes(node_set &nodes) noexcept;

namespace planning {

enum class step_kind : std::uint8_t { declare, use, undeclare };
struct step {
    xmlNodePtr node;
    xmlNsPtr record;
    step_kind kind;
};

} // namespace planning

// What is to be declared, and which records names are to use, when trees have come to stand in
// their places.
class namespace_plan {
  public:
    explicit namespace_plan(xmlDocPtr document) noexcept : document_(document) {}
    ~namespace_plan();
    namespace_plan(const namespace_plan &) = delete;
    namespace_plan &operator=(const namespace_plan &) = delete;

    // Plans for the tree below `top`, as if it stood below `parent` (null: nowhere): every name in
    // it gets a record that is in scope there. Trees of `apart` are left out. Costs what the tree
    // and the declarations above `parent` are long. Reports out_of_memory; throws when the
    // statement was asked to stop.
    void fit(xmlNodePtr top, const xmlNode *parent, const node_set *apart = nullptr);
    // The same for a tree that is right by itself, which is that of a node without a parent: in
    // most cases without a walk.
    void fit_detached(xmlNodePtr top, const xmlNode *parent, const node_set *apart = nullptr);
    // The same for a node that stands somewhere and is about to stand below `parent`, or nowhere.
    void fit_moved(xmlNodePtr top, const xmlNode *parent, const node_set *apart = nullptr);
    // The record for an attribute of this namespace on an element: one in scope with this prefix
    // (null: any), else a new declaration on the element, under another prefix where this one means
    // something else. Reports out_of_memory.
    [[nodiscard]] xmlNsPtr record_for_attribute(xmlNodePtr element, const xmlChar *prefix,
                                                const xmlChar *uri);
    // Carries the plan out. Never throws.
    void apply() noexcept;
    [[nodiscard]] bool is_empty() const noexcept { return steps_.size() == 0; }

  private:
    void add(planning::step_kind kind, xmlNodePtr node, xmlNsPtr record);
    [[nodiscard]] xmlNsPtr declare(xmlNodePtr element, const xmlChar *uri, const xmlChar *prefix);
    [[nodiscard]] xmlNsPtr declare_generated(xmlNodePtr element, const xmlChar *uri);
    void push_scope_of(const xmlNode *parent);
    [[nodiscard]] bool leaves_declarations(const xmlNode *top);
    [[nodiscard]] bool meets_default(const xmlNode *parent);
    void enter(xmlNodePtr element);
    void fit_element(xmlNodePtr element);
    void fit_attribute(xmlNodePtr element, xmlNodePtr attribute);
    void take_default_back(xmlNodePtr element);
    void use(xmlNodePtr node, xmlNsPtr record);
    [[nodiscard]] xmlNsPtr record_for_name(xmlNodePtr element, const xmlNs *wanted);
    [[nodiscard]] bool declares(xmlNodePtr element, const xmlChar *prefix) const noexcept;

    xmlDocPtr document_;
    growing_array<planning::step, 8> steps_;
    namespace_scope scope_;
    namespace_scope hoisted_;               // declared on `topmost_` for what stands below it
    growing_array<std::size_t, 16> levels_; // size of the scope before each open element
    // What was found by climbing last; siblings and what comes to stand side by side climb once.
    const xmlNode *scope_parent_ = nullptr;
    std::size_t scope_base_ = 0; // size of the scope of that parent
    const xmlNode *left_parent_ = nullptr;
    bool leaves_declarations_ = false;
    const xmlNode *new_parent_ = nullptr;
    bool meets_default_ = false;
    xmlNodePtr topmost_ = nullptr;
    std::uint32_t generated_ = 0;
    bool applied_ = false;
};

} // namespace pkg_dbe_xml
