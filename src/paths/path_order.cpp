// Document order. Sets nearly always come in order, and a look at neighbours shows it: nodes that
// follow each other are near each other. A set that is out of order is put right by one walk over
// its tree that looks every node up in it; a small one by comparing.

#include "paths/path_order.hpp"

#include "paths/path_evaluator.hpp"

#include <algorithm>

namespace pkg_dbe_xml::paths {

namespace {

// Steps for each member that looking at neighbours may take.
constexpr std::size_t k_patience = 64;
constexpr std::size_t k_least_patience = 4096;
constexpr std::size_t k_small_set = 32;
constexpr std::size_t k_set_with_common_top = 1024;

bool spent(std::size_t &budget) noexcept {
    if (budget == 0) {
        return true;
    }
    --budget;
    return false;
}

// Both walk forwards in step, so that it costs the shorter of the ways that tell.
relation compare_siblings(const xmlNode *left, const xmlNode *right, std::size_t &budget) noexcept {
    const xmlNode *behind_left = left->next;
    const xmlNode *behind_right = right->next;
    for (;;) {
        if (behind_left == right || behind_right == nullptr) {
            return relation::before;
        }
        if (behind_right == left || behind_left == nullptr) {
            return relation::after;
        }
        if (spent(budget)) {
            return relation::unknown;
        }
        behind_left = behind_left->next;
        behind_right = behind_right->next;
    }
}

const xmlNode *anchor_of(const xmlNode *node) noexcept {
    return stands_beside(node) && parent_of(node) != nullptr ? parent_of(node) : node;
}

// 0 for the element, 1 for its namespaces, 2 for its attributes.
int rank_of(const xmlNode *node, const xmlNode *element) noexcept {
    return node == element ? 0 : is_namespace(node) ? 1 : 2;
}

// Of two nodes that are an element or stand beside its children.
relation compare_beside(const xmlNode *left, const xmlNode *right, const xmlNode *element,
                        std::size_t &budget) noexcept {
    const int left_rank = rank_of(left, element);
    const int right_rank = rank_of(right, element);
    if (left_rank != right_rank) {
        return left_rank < right_rank ? relation::before : relation::after;
    }
    if (left_rank == 1) {
        return as_namespace(left)->rank < as_namespace(right)->rank ? relation::before
                                                                    : relation::after;
    }
    return compare_siblings(left, right, budget);
}

std::size_t depth_of(const xmlNode *node, std::size_t &budget) noexcept {
    std::size_t depth = 0;
    for (; node->parent != nullptr && !spent(budget); node = node->parent) {
        ++depth;
    }
    return depth;
}

} // namespace

relation compare_order(const xmlNode *left, const xmlNode *right, std::size_t &budget) noexcept {
    if (left == right) {
        return relation::same;
    }
    const xmlNode *upper_left = anchor_of(left);
    const xmlNode *upper_right = anchor_of(right);
    if (upper_left == upper_right) {
        return compare_beside(left, right, upper_left, budget);
    }
    if (upper_left->parent != upper_right->parent) {
        std::size_t left_depth = depth_of(upper_left, budget);
        std::size_t right_depth = depth_of(upper_right, budget);
        const relation nested = left_depth < right_depth ? relation::before : relation::after;
        for (; left_depth > right_depth && !spent(budget); --left_depth) {
            upper_left = upper_left->parent;
        }
        for (; right_depth > left_depth && !spent(budget); --right_depth) {
            upper_right = upper_right->parent;
        }
        if (upper_left == upper_right) {
            return budget == 0 ? relation::unknown : nested;
        }
        while (upper_left->parent != upper_right->parent && !spent(budget)) {
            upper_left = upper_left->parent;
            upper_right = upper_right->parent;
        }
    }
    if (budget == 0 || upper_left->parent == nullptr) {
        return relation::unknown;
    }
    // A text below an attribute may be a context node: its attribute stands before the children.
    if (is_attribute(upper_left) != is_attribute(upper_right)) {
        return is_attribute(upper_left) ? relation::before : relation::after;
    }
    return compare_siblings(upper_left, upper_right, budget);
}

// --- sets of addresses
// ----------------------------------------------------------------------------

node_hash::node_hash(path_memory &memory, std::size_t members) : mask_(0), shift_(64) {
    std::size_t places = 16;
    shift_ -= 4;
    while (places < members * 2) {
        places *= 2;
        --shift_;
    }
    places_ = memory.take_array<const xmlNode *>(places);
    std::fill_n(places_, places, nullptr);
    mask_ = places - 1;
}

bool growing_node_hash::add(const xmlNode *node) {
    if (members_.size == room_) {
        room_ *= 2;
        hash_ = node_hash(memory_, room_);
        for (std::size_t index = 0; index < members_.size; ++index) {
            hash_.add(members_.members[index]);
        }
    }
    if (!hash_.add(node)) {
        return false;
    }
    members_.push(memory_, const_cast<xmlNodePtr>(node));
    return true;
}

// --- order
// ----------------------------------------------------------------------------------------

// Whether each member comes before the next one; false too where that takes too long to find out.
bool evaluator::is_in_order(const node_array &set) {
    std::size_t budget = 0;
    std::size_t spare = k_least_patience;
    for (std::size_t index = 1; index < set.size; ++index) {
        budget = k_patience + spare;
        const std::size_t begun = budget;
        const relation found = compare_order(set.members[index - 1], set.members[index], budget);
        const std::size_t used = begun - budget;
        spend(used + 1);
        if (found != relation::before) {
            return false;
        }
        spare = begun - std::max(used, k_patience);
    }
    return true;
}

void evaluator::put_in_order(node_array &set, bool reversed) {
    if (set.size < 2) {
        return;
    }
    if (reversed) {
        std::reverse(set.members, set.members + set.size);
        spend(set.size / k_bytes_of_unit + 1);
        return;
    }
    if (is_in_order(set)) {
        return;
    }
    node_hash members(memory_, set.size);
    bool attributes = false;
    bool namespaces = false;
    std::size_t kept = 0;
    for (std::size_t index = 0; index < set.size; ++index) {
        xmlNodePtr const node = set.members[index];
        spend(1);
        if (members.add(node)) {
            set.members[kept++] = node;
            namespaces = namespaces || is_namespace(node);
            attributes = attributes || (!is_namespace(node) && is_attribute(node));
        }
    }
    set.size = kept;
    if (namespaces) {
        sort_by_comparing(set);
    } else if (set.size > k_small_set || !sort_small(set)) {
        sort_by_walking(set, members, attributes);
    }
}

std::size_t evaluator::count_distinct(const node_array &set) {
    if (is_in_order(set)) {
        return set.size;
    }
    node_hash members(memory_, set.size);
    std::size_t count = 0;
    for (std::size_t index = 0; index < set.size; ++index) {
        spend(1);
        count += members.add(set.members[index]);
    }
    return count;
}

// By insertion, as long as comparing is cheap: true then. Some order is left otherwise.
bool evaluator::sort_small(node_array &set) {
    std::size_t budget = k_least_patience;
    for (std::size_t index = 1; index < set.size; ++index) {
        xmlNodePtr const node = set.members[index];
        std::size_t place = index;
        for (; place > 0; --place) {
            const relation found = compare_order(set.members[place - 1], node, budget);
            spend(1);
            if (found == relation::unknown) {
                set.members[place] = node;
                return false;
            }
            if (found == relation::before) {
                break;
            }
            set.members[place] = set.members[place - 1];
        }
        set.members[place] = node;
    }
    spend(k_least_patience - budget);
    return true;
}

// By merging, whatever comparing costs: for namespace nodes, which a walk does not meet.
void evaluator::sort_by_comparing(node_array &set) {
    xmlNodePtr *from = set.members;
    auto *to = memory_.take_array<xmlNodePtr>(set.size);
    for (std::size_t width = 1; width < set.size; width *= 2) {
        for (std::size_t begin = 0; begin < set.size; begin += 2 * width) {
            const std::size_t middle = std::min(begin + width, set.size);
            const std::size_t end = std::min(begin + 2 * width, set.size);
            std::size_t left = begin;
            std::size_t right = middle;
            for (std::size_t place = begin; place < end; ++place) {
                std::size_t budget = SIZE_MAX;
                const bool take_left =
                    left < middle && (right >= end || compare_order(from[left], from[right],
                                                                    budget) != relation::after);
                spend(SIZE_MAX - budget + 1);
                to[place] = from[take_left ? left++ : right++];
            }
        }
        std::swap(from, to);
    }
    std::copy_n(from, set.size, set.members);
}

// A node that all members stand below; the root where that would take long to find.
xmlNodePtr evaluator::common_top(const node_array &set) {
    if (set.size > k_set_with_common_top) {
        return root();
    }
    std::size_t budget = k_patience * set.size + k_least_patience;
    const xmlNode *top = set.members[0];
    std::size_t top_depth = depth_of(top, budget);
    for (std::size_t index = 1; index < set.size; ++index) {
        const xmlNode *node = set.members[index];
        std::size_t depth = depth_of(node, budget);
        for (; depth > top_depth && !spent(budget); --depth) {
            node = node->parent;
        }
        for (; top_depth > depth && !spent(budget); --top_depth) {
            top = top->parent;
        }
        for (; top != node && top_depth > 0 && !spent(budget); --top_depth) {
            top = top->parent;
            node = node->parent;
        }
        if (budget == 0 || top != node) {
            return root();
        }
    }
    return const_cast<xmlNodePtr>(has_content(top) || top->parent == nullptr ? top : top->parent);
}

void evaluator::sort_by_walking(node_array &set, const node_hash &members, bool attributes) {
    xmlNodePtr const top = common_top(set);
    std::size_t found = 0;
    for (xmlNodePtr node = top; node != nullptr && found < set.size;) {
        spend(1);
        if (members.has(node)) {
            set.members[found++] = node;
        }
        if (attributes) {
            for (xmlAttrPtr beside = first_attribute(node); beside != nullptr && found < set.size;
                 beside = beside->next) {
                spend(1);
                if (members.has(pkg_dbe_xml::as_node(beside))) {
                    set.members[found++] = pkg_dbe_xml::as_node(beside);
                }
            }
        }
        node = next_of_tree(node, top);
    }
    set.size = found;
}

} // namespace pkg_dbe_xml::paths
