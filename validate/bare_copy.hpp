// A copy of a tree that validation may write into, and that is made and freed in no time.
//
// What validation writes are words of elements and attributes. So only these words and the links
// between nodes are new: names, namespaces, texts and the values of attributes stay those of the
// tree, which must neither change nor go while the copy is there. The records of the copy lie in
// one block, which is freed at once; libxml2 must not be let free or move any of them.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

namespace pkg_dbe_xml::validation {

// How many nodes, elements among them, and attributes a tree has.
struct tree_size {
    std::size_t nodes = 0;
    std::size_t attributes = 0;
};

class bare_copy {
  public:
    bare_copy() noexcept = default;
    ~bare_copy();
    bare_copy(const bare_copy &) = delete;
    bare_copy &operator=(const bare_copy &) = delete;

    // Whether a copy of the tree says the same as the tree. An element below declarations of
    // namespaces would need some of these for its own.
    [[nodiscard]] static bool fits(const xmlNode *tree) noexcept;

    // Copies a document, or an element with all below it, which becomes the root of a document.
    // `root` is the element, or that of the document, and `size` that of the tree below it, which
    // has no references to entities. To be called once. Reports out_of_memory and
    // session_memory_full; throws when the statement was asked to stop.
    xmlDocPtr make(const xmlNode *tree, const xmlNode *root, const tree_size &size);

  private:
    void allocate(const tree_size &size);
    [[nodiscard]] xmlNodePtr copy_node(const xmlNode *source, xmlNodePtr parent) noexcept;
    void copy_attributes(const xmlNode *source, xmlNodePtr copy) noexcept;
    void copy_below(const xmlNode *source, xmlNodePtr copy);

    xmlDoc document_{};
    void *block_ = nullptr; // libxml2's memory, which is counted
    xmlNodePtr next_node_ = nullptr;
    xmlAttrPtr next_attribute_ = nullptr;
};

} // namespace pkg_dbe_xml::validation
