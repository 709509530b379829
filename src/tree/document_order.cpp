// Where nodes stand to each other. See document_order.hpp.

#include "tree/document_order.hpp"

#include "tree/poll_counter.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

namespace {

// The parent of everything but a document; of an attribute its element, of an external subset its
// document.
[[nodiscard]] const xmlNode *above(const xmlNode *node) noexcept {
    if (is_document(node)) {
        return nullptr;
    }
    if (node->parent == nullptr && node->type == XML_DTD_NODE && node->doc != nullptr &&
        external_subset(as_node(node->doc)) == node) {
        return as_node(node->doc);
    }
    return node->parent;
}

[[nodiscard]] std::size_t depth_of(const xmlNode *node, poll_counter &poll) {
    std::size_t depth = 0;
    for (; (node = above(node)) != nullptr; ++depth) {
        poll.step();
    }
    return depth;
}

[[nodiscard]] const xmlNode *climb(const xmlNode *node, std::size_t levels, poll_counter &poll) {
    for (; levels > 0; --levels) {
        node = above(node);
        poll.step();
    }
    return node;
}

// Whether `left` comes before `right`, which have one parent. Goes on from both, so that the cost
// is the way between them or to the end of the chain, whichever is shorter.
[[nodiscard]] bool comes_before(const xmlNode *left, const xmlNode *right, poll_counter &poll) {
    if (is_attribute(left) != is_attribute(right)) {
        return is_attribute(left);
    }
    const xmlNode *behind_left = left->next;
    const xmlNode *behind_right = right->next;
    for (;;) {
        if (behind_left == right || behind_right == nullptr) {
            return true;
        }
        if (behind_right == left || behind_left == nullptr) {
            return false;
        }
        behind_left = behind_left->next;
        behind_right = behind_right->next;
        poll.step();
    }
}

} // namespace

xmlNodePtr topmost(xmlNodePtr node) {
    poll_counter poll;
    const xmlNode *top = node;
    for (const xmlNode *next = node; next != nullptr; next = above(next)) {
        top = next;
        poll.step();
    }
    return const_cast<xmlNodePtr>(top);
}

bool contains(const xmlNode *outer, const xmlNode *inner) {
    poll_counter poll;
    while (inner != nullptr && inner != outer) {
        inner = is_attribute(inner) ? nullptr : above(inner);
        poll.step();
    }
    return inner == outer;
}

std::uint32_t compare_position(const xmlNode *node, const xmlNode *other) {
    using namespace position;
    if (node == other) {
        return 0;
    }
    poll_counter poll;
    const std::size_t depth = depth_of(node, poll);
    const std::size_t other_depth = depth_of(other, poll);
    const std::size_t common = depth < other_depth ? depth : other_depth;
    const xmlNode *left = climb(node, depth - common, poll);
    const xmlNode *right = climb(other, other_depth - common, poll);
    if (left == right) {
        return depth < other_depth ? k_contained_by | k_following : k_contains | k_preceding;
    }
    while (above(left) != above(right)) {
        left = above(left);
        right = above(right);
        poll.step();
    }
    // Two attributes of one element have no order of their own.
    const bool are_attributes =
        left == node && right == other && is_attribute(left) && is_attribute(right);
    return (are_attributes ? k_implementation_specific : 0U) |
           (comes_before(left, right, poll) ? k_following : k_preceding);
}

} // namespace pkg_dbe_xml
