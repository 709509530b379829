// What a tree takes of the process's memory: each node, name and text counts with the size of the
// block that it needs, strings of the document's dictionary once with the dictionary.
#pragma once

#include "tree/poll_counter.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

struct tree_size {
    std::int64_t nodes;
    std::int64_t bytes;
};

// Adds up the parts of one document and what is kept with it.
class tree_measure {
  public:
    explicit tree_measure(xmlDictPtr dictionary) noexcept : dictionary_(dictionary) {}

    void document(const xmlDoc *document);
    void subtree(xmlNodePtr top);
    void namespaces(const xmlNs *record) noexcept;
    [[nodiscard]] tree_size size() const noexcept;

  private:
    void add(std::size_t bytes) noexcept;
    void string(const xmlChar *text) noexcept;
    void one_node(const xmlNode *node);
    void subset(const xmlDtd *dtd);
    void declaration(const xmlNode *node);
    void entity(const xmlEntity *entity);
    // The particles of a content model.
    void model(const xmlElementContent *top);

    xmlDictPtr dictionary_;
    tree_size size_{0, 0};
    poll_counter poll_;
};

} // namespace pkg_dbe_xml
