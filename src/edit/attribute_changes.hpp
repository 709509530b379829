// Attributes as the DOM has them: by the names as they are written, and by namespace and local
// name; and declarations of namespaces, which are set and removed as attributes are.
#pragma once

#include "edit/namespace_plan.hpp"
#include "registry.hpp"
#include "text/text_argument.hpp"
#include "tree/text_compare.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

// Why a name does not go with a namespace.
enum class namespace_fault : std::uint8_t {
    none,
    prefix_without_uri,
    xml_prefix,       // "xml" stands for its own namespace
    xml_uri,          // which no other prefix stands for
    xmlns_name,       // "xmlns" declares namespaces, and names nothing
    xmlns_uri,        // which no other prefix stands for
    declared_as_none, // a prefix cannot be declared to stand for no namespace
    in_use,           // names use what the prefix means now
};
// The fault in words.
[[nodiscard]] const char *words_for(namespace_fault fault) noexcept;

// A prefix, null for none: a copy with its end, since names are read in one piece.
class prefix_text {
  public:
    // The first `size` bytes of a name. Throws when memory runs out.
    prefix_text(const xmlChar *name, std::size_t size);
    [[nodiscard]] const xmlChar *xml() const noexcept { return text_.data_or_null(); }

  private:
    struct room {
        growing_array<xmlChar, 32> bytes;
        [[nodiscard]] const xmlChar *data_or_null() const noexcept {
            return bytes.size() == 0 ? nullptr : bytes.begin();
        }
    };
    room text_;
};

// A name and its namespace (null: none), in pieces.
struct full_name {
    const xmlChar *prefix; // null: none
    const xmlChar *local;
    const xmlChar *uri; // null: none
};

// Whether an element (or an attribute) can be called so.
[[nodiscard]] namespace_fault check_element_name(const full_name &name) noexcept;
[[nodiscard]] namespace_fault check_attribute_name(const full_name &name) noexcept;
// Whether the name is that of a declaration: "xmlns" or "xmlns:" and a prefix.
[[nodiscard]] inline bool names_declaration(const xmlChar *prefix, const xmlChar *local) noexcept {
    return same_text(prefix == nullptr ? local : prefix, "xmlns");
}

// The attribute of an element whose name is written so, prefix included; null when there is none.
[[nodiscard]] xmlAttrPtr attribute_called(const xmlNode *element, const xmlChar *prefix,
                                          const xmlChar *local) noexcept;

// Gives an attribute a value. Throws before anything has changed; reports out_of_memory.
void set_value(family &owner, xmlAttrPtr attribute, const text_bytes &value);
// Sets the attribute of this name and namespace, making it where there is none. Its prefix is the
// one asked for where that stands for the namespace, or for nothing. As above.
void set_attribute_in(family &owner, xmlNodePtr element, const full_name &name,
                      const text_bytes &value);
// Adds an attribute in no namespace to an element that has none of this name. As above.
void add_plain_attribute(xmlNodePtr element, const xmlChar *name, const text_bytes &value);
// Takes an attribute off its element; it goes unless somebody names it. As above.
void remove_attribute(family &owner, xmlAttrPtr attribute);
// Puts an attribute that stands nowhere on an element, in the place of another one that it
// replaces. Throws while it is made; reports out_of_memory.
class attribute_placement {
  public:
    attribute_placement(xmlNodePtr element, xmlAttrPtr attribute);
    void carry_out() noexcept;

  private:
    xmlNodePtr element_;
    xmlAttrPtr attribute_;
    xmlAttrPtr replaced_;
    xmlNsPtr record_;
    namespace_plan plan_;
};
// The attribute that it would replace.
[[nodiscard]] xmlAttrPtr attribute_like(const xmlNode *element, const xmlAttr *attribute) noexcept;
// Takes an attribute off its element for those who name it. What is prepared is not to fail any
// more; preparing throws before anything has changed.
void prepare_detachment(const xmlAttr *attribute);
void detach_attribute(xmlAttrPtr attribute);

// Declares a prefix (null: the default namespace) on an element, or lets its declaration there mean
// another URI, provided that no name comes to stand for something else. Throws before anything has
// changed.
[[nodiscard]] namespace_fault declare_namespace(xmlNodePtr element, const xmlChar *prefix,
                                                const xmlChar *uri);
// Takes the declaration of a prefix off an element, if it is there, provided that no name uses it.
[[nodiscard]] namespace_fault remove_declaration(xmlNodePtr element, const xmlChar *prefix);

// A new element or attribute with its namespace, declared on the element itself. Reports
// out_of_memory.
[[nodiscard]] xml_node_ptr new_element_in(xmlDocPtr document, const full_name &name);
[[nodiscard]] xml_node_ptr new_attribute_in(xmlDocPtr document, const full_name &name);

// Gives an element or attribute another name and namespace. Whatever stands in it keeps its
// namespaces. Throws before anything has changed; reports out_of_memory.
void rename_in_place(xmlNodePtr node, const full_name &name);

} // namespace pkg_dbe_xml
