// Sets of nodes: steps taken for a whole set, predicates over a set, unions, IDs, namespaces.

#include "paths/path_evaluator.hpp"

#include <algorithm>
#include <functional>

namespace pkg_dbe_xml::paths {

// --- steps for a whole set
// ------------------------------------------------------------------------

void evaluator::keep_matching(const step &taken, xmlNodePtr node, node_array &result) {
    const bool fits = is_namespace(node) ? matches_namespace(taken, node)
                                         : matches(taken, memory_of(taken), node);
    if (!fits) {
        return;
    }
    for (std::uint32_t index = 0; index < taken.predicate_count; ++index) {
        if (!passes(code_.predicates[taken.first_predicate + index], {node, 0, 0})) {
            return;
        }
    }
    result.push(memory_, node);
}

node_array evaluator::merge_step(const step &taken, const node_array &from) {
    node_array result;
    if (from.size == 0) {
        return result;
    }
    switch (taken.axis) {
    case axis::descendant:
    case axis::descendant_or_self:
        merge_downwards(taken, from, result);
        break;
    case axis::following_sibling:
    case axis::preceding_sibling:
        merge_siblings(taken, from, result);
        break;
    case axis::following:
    case axis::preceding:
        merge_all_behind(taken, from, result);
        break;
    default:
        merge_upwards(taken, from, result);
        break;
    }
    return result;
}

// The walk below a member meets those that are nested in it: they are done then.
void evaluator::merge_downwards(const step &taken, const node_array &from, node_array &result) {
    const bool self_too = taken.axis == axis::descendant_or_self;
    std::size_t next = 0;
    while (next < from.size) {
        xmlNodePtr const top = from.members[next++];
        if (self_too) {
            keep_matching(taken, top, result);
        }
        if (stands_beside(top) || !has_content(top)) {
            continue;
        }
        xmlNodePtr node = top;
        for (;;) {
            // Attributes come right behind their element.
            while (next < from.size && stands_beside(from.members[next]) &&
                   parent_of(from.members[next]) == node) {
                if (self_too) {
                    keep_matching(taken, from.members[next], result);
                }
                ++next;
            }
            if (has_content(node) && node->children != nullptr) {
                node = node->children;
            } else {
                while (node != top && node->next == nullptr) {
                    node = node->parent;
                }
                if (node == top) {
                    break;
                }
                node = node->next;
            }
            spend(1);
            if (next < from.size && from.members[next] == node) {
                ++next;
            }
            keep_matching(taken, node, result);
        }
    }
}

// Of the siblings in the set the first has all that follow, the last all that come before.
void evaluator::merge_siblings(const step &taken, const node_array &from, node_array &result) {
    const bool forwards = taken.axis == axis::following_sibling;
    growing_node_hash parents(memory_);
    for (std::size_t index = 0; index < from.size; ++index) {
        xmlNodePtr const member = from.members[forwards ? index : from.size - 1 - index];
        spend(1);
        if (stands_beside(member) || member->parent == nullptr || !parents.add(member->parent)) {
            continue;
        }
        for (xmlNodePtr node = forwards ? member->next : member->prev; node != nullptr;
             node = forwards ? node->next : node->prev) {
            spend(1);
            keep_matching(taken, node, result);
        }
    }
}

// Up from each member as far as nobody has been.
void evaluator::merge_upwards(const step &taken, const node_array &from, node_array &result) {
    growing_node_hash visited(memory_);
    for (std::size_t index = 0; index < from.size; ++index) {
        xmlNodePtr node = from.members[index];
        if (taken.axis != axis::ancestor_or_self) {
            node = parent_of(node);
        }
        for (; node != nullptr && visited.add(node); node = parent_of(node)) {
            spend(1);
            keep_matching(taken, node, result);
        }
    }
}

bool evaluator::is_inside(const xmlNode *node, const xmlNode *top) {
    for (; node != nullptr; node = parent_of(node)) {
        spend(1);
        if (node == top) {
            return true;
        }
    }
    return false;
}

// Everything behind the member that ends first, or before the one that begins last.
void evaluator::merge_all_behind(const step &taken, const node_array &from, node_array &result) {
    xmlNodePtr origin = from.members[from.size - 1];
    if (taken.axis == axis::following) {
        origin = from.members[0];
        for (std::size_t index = 1; index < from.size && is_inside(from.members[index], origin);
             ++index) {
            origin = from.members[index];
        }
    }
    node_stream stream(*this, taken, origin);
    while (xmlNodePtr const node = stream.next()) {
        result.push(memory_, node);
    }
}

// --- predicates over a set
// ------------------------------------------------------------------------

void evaluator::filter_set(node_array &set, const predicate &filter) {
    std::size_t kept = 0;
    if (filter.kind == predicate_kind::position || filter.kind == predicate_kind::last_of_axis) {
        const std::uint64_t place =
            filter.kind == predicate_kind::position ? filter.place : set.size;
        if (place >= 1 && place <= set.size) {
            set.members[0] = set.members[place - 1];
            kept = 1;
        }
    } else {
        for (std::size_t index = 0; index < set.size; ++index) {
            spend(1);
            if (passes(filter, {set.members[index], index + 1, set.size})) {
                set.members[kept++] = set.members[index];
            }
        }
    }
    set.size = kept;
}

node_array evaluator::filtered(const expression &whole, const context_node &at) {
    const predicate *filters = code_.predicates + whole.first_predicate;
    node_array set;
    std::uint32_t done = 0;
    if (filters[0].kind == predicate_kind::position && filters[0].place == 1) {
        if (xmlNodePtr const first = first_node(whole.first, at)) {
            set.push(memory_, first);
        }
        done = 1;
    } else {
        const node_array found = nodes(whole.first, at);
        set.append(memory_, found.members, found.size); // the other may be kept for later
    }
    for (; done < whole.predicate_count; ++done) {
        filter_set(set, filters[done]);
    }
    return set;
}

node_array evaluator::united(const expression &whole, const context_node &at) {
    node_array set;
    for (std::size_t place = 0; place < whole.count; ++place) {
        const node_array part = nodes(operand_of(whole, place), at);
        spend(part.size / k_bytes_of_unit + 1);
        set.append(memory_, part.members, part.size);
    }
    put_in_order(set, false);
    return set;
}

// --- namespaces
// -----------------------------------------------------------------------------------

namespace {

constexpr std::size_t k_namespace_chains = 1024;

std::size_t chain_of(const xmlNode *element) noexcept {
    return (reinterpret_cast<std::uintptr_t>(element) >> 4U) % k_namespace_chains;
}

bool same_prefix(const xmlNs *left, const xmlNs *right) noexcept {
    return view_of(left->prefix) == view_of(right->prefix);
}

} // namespace

void evaluator::add_namespaces(node_array &set, xmlNodePtr element) {
    const element_namespaces &found = namespaces_of(element);
    for (std::size_t index = 0; index < found.count; ++index) {
        set.push(memory_, as_node(&found.nodes[index]));
    }
}

// The same nodes whenever they are asked for.
element_namespaces &evaluator::namespaces_of(xmlNodePtr element) {
    if (namespaces_ == nullptr) {
        auto **chains = kept_.take_array<element_namespaces *>(k_namespace_chains);
        std::fill_n(chains, k_namespace_chains, nullptr);
        namespaces_ = chains;
    }
    element_namespaces *&chain = namespaces_[chain_of(element)];
    for (element_namespaces *found = chain; found != nullptr; found = found->next) {
        spend(1);
        if (found->element == element) {
            return *found;
        }
    }
    auto *made = kept_.take_array<element_namespaces>(1);
    *made = {element, nullptr, 0, nullptr};
    find_namespaces(*made);
    made->next = chain;
    chain = made;
    return *made;
}

void evaluator::find_namespaces(element_namespaces &found) {
    path_array<const xmlNs *> records;
    for (const xmlNode *node = found.element; node != nullptr; node = node->parent) {
        spend(1);
        for (const xmlNs *record = declared_namespaces(node); record != nullptr;
             record = record->next) {
            bool hidden = view_of(record->prefix) == "xml";
            for (std::size_t index = 0; index < records.size && !hidden; ++index) {
                spend(1);
                hidden = same_prefix(records.members[index], record);
            }
            if (!hidden) {
                records.push(kept_, record);
            }
        }
    }
    found.nodes = kept_.take_array<namespace_node>(records.size + 1);
    found.nodes[found.count++] = {found.element, nullptr, 0};
    for (std::size_t index = 0; index < records.size; ++index) {
        if (*uri_or_empty(records.members[index]) !=
            0) { // else the default namespace is taken back
            found.nodes[found.count] = {found.element, records.members[index], found.count};
            ++found.count;
        }
    }
}

// --- IDs
// ------------------------------------------------------------------------------------------

namespace {

bool is_id(const xmlAttr *attribute) noexcept {
    return attribute->atype == XML_ATTRIBUTE_ID ||
           (attribute->ns != nullptr && view_of(attribute->name) == "id" &&
            view_of(uri_or_empty(attribute->ns)) == k_xml_uri);
}

} // namespace

// Every ID of the tree that the context node stands in; of several elements with one the first.
void evaluator::build_id_table() {
    path_array<id_entry> entries;
    xmlNodePtr const top = root();
    for (xmlNodePtr node = top; node != nullptr;) {
        spend(1);
        for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            spend(1);
            if (is_id(attribute)) {
                const memory_scope scope(memory_);
                const std::string_view value = text_of(pkg_dbe_xml::as_node(attribute));
                entries.push(kept_, {kept_copy(value), node});
            }
        }
        node = next_of_tree(node, top);
    }
    std::size_t places = 16;
    while (places < entries.size * 2) {
        places *= 2;
    }
    ids_ = kept_.take_array<id_entry>(places);
    std::fill_n(ids_, places, id_entry{});
    id_places_ = places;
    for (std::size_t index = 0; index < entries.size; ++index) {
        std::size_t place = std::hash<std::string_view>{}(entries.members[index].value);
        while (ids_[place % places].element != nullptr &&
               ids_[place % places].value != entries.members[index].value) {
            spend(1);
            ++place;
        }
        if (ids_[place % places].element == nullptr) {
            ids_[place % places] = entries.members[index];
        }
    }
}

xmlNodePtr evaluator::element_with_id(std::string_view value) {
    std::size_t place = std::hash<std::string_view>{}(value);
    while (ids_[place % id_places_].element != nullptr && ids_[place % id_places_].value != value) {
        ++place;
    }
    return ids_[place % id_places_].element;
}

void evaluator::add_elements_with_ids(node_array &found, std::string_view values) {
    constexpr std::string_view k_blanks = " \t\r\n";
    spend_bytes(values.size());
    for (;;) {
        const std::size_t begin = values.find_first_not_of(k_blanks);
        if (begin == std::string_view::npos) {
            return;
        }
        values.remove_prefix(begin);
        const std::size_t end = std::min(values.find_first_of(k_blanks), values.size());
        spend(1);
        if (xmlNodePtr const element = element_with_id(values.substr(0, end))) {
            found.push(memory_, element);
        }
        values.remove_prefix(end);
    }
}

node_array evaluator::nodes_with_ids(std::uint32_t argument, const context_node &at) {
    if (ids_ == nullptr) {
        build_id_table();
    }
    node_array found;
    if (at_index(argument).type == value_type::nodes) {
        const node_array sources = nodes(argument, at);
        for (std::size_t index = 0; index < sources.size; ++index) {
            add_elements_with_ids(found, text_of(sources.members[index]));
        }
    } else {
        add_elements_with_ids(found, text(argument, at));
    }
    put_in_order(found, false);
    return found;
}

} // namespace pkg_dbe_xml::paths
