// Text that nodes hold themselves.
//
// The functions marked "never throws" are the last steps of a change. Whatever can fail (text,
// nodes, room for parking, the handle of the result) is made before them.
#pragma once

#include "registry.hpp"
#include "tree/typed_access.hpp"
#include "xml_owner.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

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

} // namespace pkg_dbe_xml
