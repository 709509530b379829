// What never changes.
#include "tree/immutable_nodes.hpp"

#include "tree/poll_counter.hpp"
#include "tree/typed_access.hpp"

namespace pkg_dbe_xml {

bool is_immutable(const xmlNode *node) {
    if (is_declaration(node->type)) {
        return true;
    }
    if (node->parent != nullptr && is_declaration(node->parent->type)) {
        return true; // a comment or processing instruction among the declarations
    }
    // Only entities keep trees below their declarations.
    const xmlDoc *const document = node->doc;
    const bool declares_entities =
        document != nullptr &&
        ((document->intSubset != nullptr && document->intSubset->entities != nullptr) ||
         (document->extSubset != nullptr && document->extSubset->entities != nullptr));
    if (!declares_entities) {
        return false;
    }
    poll_counter poll;
    for (const xmlNode *above = node->parent; above != nullptr; above = above->parent) {
        poll.step();
        if (is_declaration(above->type)) {
            return true;
        }
    }
    return false;
}

} // namespace pkg_dbe_xml
