// Trees that pass: elements that are shown while a document is parsed and then dropped, built in
// memory that the next one uses again.
//
// They are what libxml2 would build of them, but that nothing in them is to be freed or changed one
// by one. Only for documents without a document type: no attributes by default, no entities.
#pragma once

#include "libxml/xml_service.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>

namespace host {

struct start_tag;

class passing_tree {
  public:
    passing_tree() noexcept = default;
    ~passing_tree();
    passing_tree(const passing_tree &) = delete;
    passing_tree &operator=(const passing_tree &) = delete;

    // Whether elements are being built, or passed over.
    [[nodiscard]] bool is_open() const noexcept { return at_ != nullptr || passed_over_ != 0; }
    // The element that has just ended, as long as it is not dropped; its parent knows it as its
    // last child.
    [[nodiscard]] xmlNodePtr top() const noexcept { return top_; }

    // The functions that build give false when memory was refused.

    // Begins an element: the top one below the open element of the context, when none is open.
    // `namespaces` are prefixes and URIs in turns.
    [[nodiscard]] bool begin_element(xmlParserCtxtPtr context, const start_tag &tag,
                                     const xmlChar **namespaces) noexcept;
    // Everything up to the end of the element that was begun last is passed over; it is dropped.
    void pass_over() noexcept;
    // True when the top element has ended. It is to be dropped then.
    [[nodiscard]] bool end_element() noexcept;
    // Text that follows text of the same kind is appended to it. XML_TEXT_NODE or
    // XML_CDATA_SECTION_NODE.
    [[nodiscard]] bool add_text(xmlElementType type, const xmlChar *text, int size) noexcept;
    // A comment or a processing instruction; `content` may be null.
    [[nodiscard]] bool add_leaf(xmlElementType type, const xmlChar *name,
                                const xmlChar *content) noexcept;
    // Takes the top element out of the document and forgets it.
    void drop() noexcept;

  private:
    struct segment {
        segment *next;
        std::size_t size; // of the memory behind this
        [[nodiscard]] char *begin() noexcept { return reinterpret_cast<char *>(this + 1); }
    };

    template <class Object> [[nodiscard]] Object *make() noexcept;
    [[nodiscard]] void *room(std::size_t size) noexcept;
    [[nodiscard]] bool add_segment(std::size_t size) noexcept;
    [[nodiscard]] xmlChar *copy(const xmlChar *bytes, std::size_t size) noexcept;
    [[nodiscard]] xmlNodePtr make_node(xmlElementType type, const xmlChar *name,
                                       xmlNodePtr parent) noexcept;
    static void link(xmlNodePtr node) noexcept;
    [[nodiscard]] xmlNodePtr add_node(xmlElementType type, const xmlChar *name) noexcept;
    [[nodiscard]] bool grow_text(xmlNodePtr text, const xmlChar *more, std::size_t size) noexcept;
    [[nodiscard]] xmlNsPtr space(const xmlChar *prefix, const xmlChar *uri) noexcept;
    [[nodiscard]] bool add_attributes(xmlParserCtxtPtr context, xmlNodePtr element,
                                      const start_tag &tag) noexcept;
    [[nodiscard]] bool add_namespaces(xmlNodePtr element, int count,
                                      const xmlChar **namespaces) noexcept;

    segment *segments_ = nullptr; // the last first
    char *next_ = nullptr;
    char *end_ = nullptr;
    xmlDocPtr document_ = nullptr;
    xmlNodePtr top_ = nullptr;
    xmlNodePtr before_ = nullptr; // the top's place: what was its parent's last child
    xmlNodePtr at_ = nullptr;     // the open element
    std::size_t text_size_ = 0;   // of the text that was added last
    xmlNsPtr last_space_ = nullptr;
    int passed_over_ = 0; // open elements that are
};

} // namespace host
