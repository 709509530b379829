// Changing a tree without letting libxml2 free a node that somebody names: attributes and their
// values, appending, copying.
//
// The functions marked "never throws" are the last steps of a change. Whatever can fail (text,
// nodes, room for parking, the handle of the result) is made before them.
#pragma once

#include "registry.hpp"
#include "text/text_argument.hpp"
#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

#include <cstddef>
#include <optional>

namespace pkg_dbe_xml {

// A text argument in UTF-8 that counts as the empty text when it is null.
class optional_text {
  public:
    optional_text(const host::call &call, int index) {
        if (!call.is_null(index)) {
            text_.emplace(call.value(index));
        }
    }
    [[nodiscard]] const xmlChar *xml() const noexcept {
        return text_ ? text_->xml() : reinterpret_cast<const xmlChar *>("");
    }

  private:
    std::optional<utf8_argument> text_;
};

// True for a declaration of the document type and for all that stands below one: none of it is
// ever changed. Costs the depth of the node in documents that declare entities, else nothing.
[[nodiscard]] bool is_immutable(const xmlNode *node) noexcept;

// --- attributes (src/edit/tree_attributes.cpp)
// -------------------------------------------------------

// The attribute that stands on `element` under this name, in no namespace when `uri` is null.
// Null when there is none; a default from the document type does not count.
[[nodiscard]] xmlAttrPtr find_attribute(const xmlNode *element, const xmlChar *name,
                                        const xmlChar *uri) noexcept;
// True when the element has an attribute of this name and no namespace, or the document type
// gives it one by default. Reports out_of_memory.
[[nodiscard]] bool has_plain_attribute(const xmlNode *element, const xmlChar *name);
// A new attribute in no tree; with one text below it unless `value` is null. `document` may be
// null. Reports out_of_memory.
[[nodiscard]] xml_node_ptr new_attribute(xmlDocPtr document, const xmlChar *name,
                                         const xmlChar *value);
// A new element without a namespace. Reports out_of_memory.
[[nodiscard]] xml_node_ptr new_element(xmlDocPtr document, const xmlChar *name);
// Gives an attribute of `owner` this very text as its value; an empty text leaves a text node of
// no length when `keep_empty_text`, else nothing. The old texts are changed in place or retired.
// Throws before anything has changed.
void set_attribute_text(family &owner, xmlAttrPtr attribute, const xmlChar *value,
                        bool keep_empty_text);
// Sets the attribute of this name, in the namespace of `space` unless that is null, and makes it
// if it is missing. Throws before anything has changed; reports out_of_memory.
void set_attribute_of(family &owner, xmlNodePtr element, xmlNsPtr space, const xmlChar *name,
                      const xmlChar *value);
// Puts an attribute that stands nowhere behind the last one of `element`. Never throws.
void link_attribute(xmlNodePtr element, xmlAttrPtr attribute) noexcept;

// --- text that nodes hold themselves (src/edit/tree_texts.cpp)
// ---------------------------------------

// Replaces what a text, CDATA section, comment or processing instruction holds; its old text is
// freed. Never throws.
void replace_content(xmlNodePtr node, xml_text_ptr content) noexcept;
// The same with a copy of `content`; what stood below the node is retired. Throws before anything
// has changed; reports out_of_memory.
void set_own_content(family &owner, xmlNodePtr node, const xmlChar *content);

// Room for more text behind that of a text node, made before it is needed.
class text_growth {
  public:
    // Reports out_of_memory; the text is the same before and after.
    text_growth(xmlNodePtr target, const xmlChar *added);
    // Adds the text. Never throws.
    void apply() noexcept;

  private:
    xmlNodePtr target_;
    const xmlChar *added_;
    std::size_t size_;
    std::size_t added_size_;
};

// --- namespace records (src/edit/tree_namespaces.cpp)
// ------------------------------------------------

// The document's record for the namespace of the prefix "xml". Reports out_of_memory.
[[nodiscard]] xmlNsPtr xml_namespace(xmlDocPtr document);
// The one record that a document keeps for a URI and a prefix (which may be null) that no element
// declares; it lives as long as the document. Reports out_of_memory.
[[nodiscard]] xmlNsPtr shared_namespace(xmlDocPtr document, const xmlChar *uri,
                                        const xmlChar *prefix);
// Marks a record that an element declares and that nothing but the element and what stands in it
// uses. It stays so until something leaves the element. Records that a parse made are not marked:
// declarations of entities may use them.
void mark_used_inside(xmlNsPtr record) noexcept;
// What stands in a tree is about to leave its parent: from now on it may use, from outside, what
// the elements above it declare. Costs the depth of the node; nothing when it has no parent.
void mark_used_outside(const xmlNode *leaving) noexcept;
// True when nodes that do not stand in the element may use a namespace record that it declares.
[[nodiscard]] bool declares_for_others(const xmlNode *element) noexcept;

// --- appending (src/edit/tree_append.cpp)
// ------------------------------------------------------------

// Whether `child` may stand below `parent`: types that can hold it, nothing immutable, no node
// below itself.
[[nodiscard]] bool may_append(const xmlNode *parent, const xmlNode *child) noexcept;
// The text node that takes up the text of `child` once the child has left its old place, null when
// the child will stand on its own.
[[nodiscard]] xmlNodePtr merge_target(xmlNodePtr parent, const xmlNode *child) noexcept;
// The attribute of `parent` that an attribute will replace; null for every other node.
[[nodiscard]] xmlAttrPtr replaced_attribute(const xmlNode *parent, const xmlNode *child) noexcept;
// Takes a node out of its tree. Never throws.
void detach(xmlNodePtr node) noexcept;
// Moves a node behind the last child, or the last attribute, of `parent`. Never throws.
void move_below(xmlNodePtr parent, xmlNodePtr child) noexcept;

// --- copying (src/edit/tree_copy.cpp)
// ----------------------------------------------------------------

// A copy of `source` for `target`, of any depth, standing nowhere: the node with its attributes and
// namespace declarations, and when `deep` with all below it. Names come from the target's
// dictionary. Namespaces declared outside of the copied tree are declared on top of the copy.
// `source` is of a type from 1 to 12 and no document. Reports out_of_memory.
[[nodiscard]] xml_node_ptr copy_node(xmlDocPtr target, xmlNodePtr source, bool deep);
// A copy of a whole document, document type included, that shares the dictionary of `target`.
// Reports out_of_memory.
[[nodiscard]] xml_doc_ptr copy_document(xmlDocPtr target, xmlDocPtr source);

} // namespace pkg_dbe_xml
