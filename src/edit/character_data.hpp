// Changes of texts, CDATA sections, comments and processing instructions, and of runs of texts.
#pragma once

#include "growing_array.hpp"
#include "registry.hpp"
#include "text/text_argument.hpp"
#include "xml_owner.hpp"

#include <libxml/tree.h>

#include <cstddef>

namespace pkg_dbe_xml {

// Texts and CDATA sections: what the text of an element consists of.
[[nodiscard]] bool is_text_or_section(const xmlNode *node) noexcept;

// What a node holds itself; "" for nothing.
[[nodiscard]] const xmlChar *data_of(const xmlNode *node) noexcept;

// The data of a node with `removed` bytes from `offset` on replaced by another text, in memory of
// its own. Reports out_of_memory.
[[nodiscard]] xml_text_ptr spliced_data(const xmlNode *node, std::size_t offset,
                                        std::size_t removed, const xmlChar *inserted);
// Gives a node new data. What stood below it is retired. Throws before anything has changed;
// reports out_of_memory.
void set_data(family &owner, xmlNodePtr node, xml_text_ptr data);
// Adds to the data of a node; many small additions cost what they are long. As above.
void append_data(xmlNodePtr node, const xmlChar *added);
// A copy of a text for libxml2. Reports out_of_memory.
[[nodiscard]] xml_text_ptr copy_of_text(const xmlChar *text);
[[nodiscard]] xml_text_ptr copy_of_text(const text_bytes &text);
// A new text in no tree. Reports out_of_memory.
[[nodiscard]] xml_node_ptr new_text(xmlDocPtr document, const text_bytes &text);

// A new node of the type of `node` with its text from `offset` bytes on, which `node` loses; it
// stands behind `node`, if that stands anywhere. `made` is prepared, carry_out cannot fail.
class text_split {
  public:
    // Reports out_of_memory.
    text_split(xmlNodePtr node, std::size_t offset);
    [[nodiscard]] xmlNodePtr made() const noexcept { return made_.get(); }
    void carry_out() noexcept;

  private:
    xmlNodePtr node_;
    xml_node_ptr made_;
    xml_text_ptr kept_;
};

// Joins neighbouring texts in a tree, its attributes' values included, and takes empty ones out.
// CDATA sections stay as they are. Throws before anything has changed.
void normalize_texts(family &owner, xmlNodePtr top);

// The first and the last of the texts and CDATA sections that stand side by side with a text.
[[nodiscard]] xmlNodePtr first_of_run(xmlNodePtr text) noexcept;
[[nodiscard]] xmlNodePtr last_of_run(xmlNodePtr text) noexcept;

// Lets a text take the place of all those that stand side by side with it, with new data, or takes
// all of them out. Throws before anything has changed.
void replace_run(family &owner, xmlNodePtr text, xml_text_ptr data, bool goes_too);

} // namespace pkg_dbe_xml
