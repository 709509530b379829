// Attributes of elements, changed without freeing a node that somebody names.
//
// The functions marked "never throws" are the last steps of a change. Whatever can fail (text,
// nodes, room for parking, the handle of the result) is made before them.
#pragma once

#include "registry.hpp"
#include "text/text_argument.hpp"
#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

// The attribute that stands on `element` under this name, in no namespace when `uri` is null.
// Null when there is none; a default from the document type does not count.
[[nodiscard]] xmlAttrPtr find_attribute(const xmlNode *element, const xmlChar *name,
                                        const xmlChar *uri) noexcept;
// True when the element has an attribute of this name and no namespace, or the document type
// gives it one by default. Reports out_of_memory.
[[nodiscard]] bool has_plain_attribute(const xmlNode *element, const xmlChar *name);
// A new attribute in no tree, with one text below it if `value` is given. `document` may be
// null. Reports out_of_memory.
[[nodiscard]] xml_node_ptr new_attribute(xmlDocPtr document, const xmlChar *name,
                                         const text_bytes *value = nullptr);
// A new element without a namespace. Reports out_of_memory.
[[nodiscard]] xml_node_ptr new_element(xmlDocPtr document, const xmlChar *name);
// Gives an attribute of `owner` this very text as its value; an empty text leaves a text node of
// no length when `keep_empty_text`, else nothing. The old texts are changed in place or retired.
// Throws before anything has changed.
void set_attribute_text(family &owner, xmlAttrPtr attribute, const text_bytes &value,
                        bool keep_empty_text);
// Sets the attribute of this name, in the namespace of `space` unless that is null, and makes it
// if it is missing. Throws before anything has changed; reports out_of_memory.
void set_attribute_of(family &owner, xmlNodePtr element, xmlNsPtr space, const xmlChar *name,
                      const text_bytes &value);
// Puts an attribute that stands nowhere behind the last one of `element`. Never throws.
void link_attribute(xmlNodePtr element, xmlAttrPtr attribute) noexcept;

} // namespace pkg_dbe_xml
