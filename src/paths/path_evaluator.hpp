// Inside the room: an evaluation in progress.
#pragma once

#include "paths/path_code.hpp"
#include "paths/path_memory.hpp"
#include "paths/path_nodes.hpp"
#include "paths/paths.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace pkg_dbe_xml::paths {

using node_array = path_array<xmlNodePtr>;

struct context_node {
    xmlNodePtr node;
    std::uint64_t position;
    std::uint64_t size;
};

// What a step's test found out last: the same name has nearly always the same address.
struct test_memory {
    const xmlChar *name;       // is the step's
    const xmlChar *other_name; // is not
    const xmlNs *record;       // has the step's URI
    const xmlNs *other_record; // has not
};

// Texts to be looked up: what "=" between two sets needs.
struct text_table {
    std::string_view *texts; // by hash; an empty place has no data
    std::size_t places;      // a power of two; 0: no table yet
};

// The value of an expression that is the same for every node a predicate is asked for.
struct kept_value {
    bool has_nodes, has_number, has_text, has_truth;
    bool truth;
    double number;
    std::string_view text;
    node_array nodes;
    text_table table;
};

// The namespace nodes of one element.
struct element_namespaces {
    xmlNodePtr element;
    namespace_node *nodes;
    std::size_t count;
    element_namespaces *next;
};

struct id_entry {
    std::string_view value;
    xmlNodePtr element;
};

class node_hash;

class evaluator {
  public:
    evaluator(const path_code &code, xmlNodePtr context, std::span<const path_binding> variables,
              std::byte *room, std::size_t room_size);

    // --- values of expressions, by the type that is wanted ---
    [[nodiscard]] bool truth(std::uint32_t index, const context_node &at);
    [[nodiscard]] double number(std::uint32_t index, const context_node &at);
    // Good until the memory in force is given back.
    [[nodiscard]] std::string_view text(std::uint32_t index, const context_node &at);
    // In document order, without duplicates.
    [[nodiscard]] node_array nodes(std::uint32_t index, const context_node &at);
    [[nodiscard]] xmlNodePtr first_node(std::uint32_t index, const context_node &at);
    [[nodiscard]] std::size_t count(std::uint32_t index, const context_node &at);

    // --- values of nodes ---
    [[nodiscard]] std::string_view text_of(const xmlNode *node);
    [[nodiscard]] double number_of(const xmlNode *node);

    // --- sets ---
    // Puts a set in document order and takes duplicates out. `reversed` where it is known to be in
    // reverse order without duplicates.
    void put_in_order(node_array &set, bool reversed);
    // The members without duplicates, in any order: their number.
    [[nodiscard]] std::size_t count_distinct(const node_array &set);
    // Takes a step for all members of an ordered set at once; not in order. Predicates that count
    // positions are not possible.
    [[nodiscard]] node_array merge_step(const step &taken, const node_array &from);
    // The namespace nodes of an element, the one for xml first.
    void add_namespaces(node_array &set, xmlNodePtr element);
    [[nodiscard]] node_array nodes_with_ids(std::uint32_t argument, const context_node &at);

    // --- steps ---
    [[nodiscard]] bool matches(const step &taken, test_memory &memory, const xmlNode *node) {
        switch (taken.test) {
        case node_test::name:
            return node->type == principal_type(taken.axis) && has_plain_name(taken, memory, node);
        case node_test::any_name:
            return node->type == principal_type(taken.axis);
        case node_test::any_node:
            return is_node(node);
        default:
            return matches_other(taken, memory, node);
        }
    }
    [[nodiscard]] bool matches_namespace(const step &taken, const xmlNode *node) const noexcept;
    [[nodiscard]] bool passes(const predicate &filter, const context_node &at);
    [[nodiscard]] test_memory &memory_of(const step &taken) noexcept {
        return tests_[&taken - code_.steps];
    }
    [[nodiscard]] xmlNodePtr root() noexcept;

    // --- the counter ---
    void spend(std::size_t units) {
        work_ += units;
        if (work_ >= next_look_) [[unlikely]] {
            look();
        }
    }
    void spend_bytes(std::size_t bytes) { spend(bytes / k_bytes_of_unit + 1); }
    [[nodiscard]] std::size_t work() const noexcept { return work_; }

    [[nodiscard]] const path_code &code() const noexcept { return code_; }
    [[nodiscard]] path_memory &memory() noexcept { return memory_; }
    [[nodiscard]] xmlNodePtr context() const noexcept { return context_; }

    static constexpr std::size_t k_bytes_of_unit = 16;
    static constexpr std::size_t k_units_between_looks = 4096;

  private:
    friend class node_stream;
    friend class node_source;

    static xmlElementType principal_type(axis direction) noexcept {
        return direction == axis::attribute ? XML_ATTRIBUTE_NODE : XML_ELEMENT_NODE;
    }
    [[nodiscard]] bool has_name(const step &taken, test_memory &memory, const xmlNode *node) const {
        if (node->name == memory.name) [[likely]] {
            return true;
        }
        return node->name != memory.other_name && node->name != nullptr &&
               node->name[0] == static_cast<xmlChar>(code_.texts[taken.name.start]) &&
               compare_name(taken, memory, node);
    }
    [[nodiscard]] bool has_plain_name(const step &taken, test_memory &memory,
                                      const xmlNode *node) const {
        return has_name(taken, memory, node) && uri_of(node->ns) == nullptr;
    }
    // The test of a step, or one of the others that it has.
    [[nodiscard]] bool matches_any(const step &taken, test_memory &memory, const xmlNode *node) {
        if (matches(taken, memory, node)) {
            return true;
        }
        for (const step *other = &taken; other->alternative != k_no_alternative;) {
            other = &code_.steps[other->alternative];
            if (matches(*other, memory_of(*other), node)) {
                return true;
            }
        }
        return false;
    }
    [[nodiscard]] bool compare_name(const step &taken, test_memory &memory,
                                    const xmlNode *node) const noexcept;
    [[nodiscard]] bool has_uri(const step &taken, test_memory &memory,
                               const xmlNode *node) const noexcept;
    [[nodiscard]] bool matches_other(const step &taken, test_memory &memory,
                                     const xmlNode *node) const;
    void look();

    [[nodiscard]] const expression &at_index(std::uint32_t index) const noexcept {
        return code_.expressions[index];
    }
    [[nodiscard]] std::uint32_t operand_of(const expression &whole, std::size_t place) const {
        return code_.operands[whole.first + place].expression;
    }
    [[nodiscard]] kept_value *kept(const expression &whole) noexcept {
        return whole.memory == k_no_memory ? nullptr : &kept_values_[whole.memory];
    }

    // Without a look at what was kept.
    [[nodiscard]] bool find_truth(std::uint32_t index, const context_node &at);
    [[nodiscard]] double find_number(std::uint32_t index, const context_node &at);
    [[nodiscard]] std::string_view find_text(std::uint32_t index, const context_node &at);
    [[nodiscard]] node_array find_nodes(std::uint32_t index, const context_node &at);

    [[nodiscard]] double arithmetic(const expression &whole, const context_node &at);
    [[nodiscard]] bool comparison(const expression &whole, const context_node &at);
    [[nodiscard]] bool compare(std::uint32_t left, operation how, std::uint32_t right,
                               const context_node &at);
    [[nodiscard]] bool compare_sets(std::uint32_t left, operation how, std::uint32_t right,
                                    const context_node &at);
    [[nodiscard]] bool sets_share_text(std::uint32_t left, std::uint32_t right,
                                       const context_node &at);
    [[nodiscard]] bool sets_differ(std::uint32_t left, std::uint32_t right, const context_node &at);
    [[nodiscard]] bool compare_set(std::uint32_t set, operation how, std::uint32_t other,
                                   const context_node &at);
    [[nodiscard]] text_table table_of(std::uint32_t index, const context_node &at);

    [[nodiscard]] bool call_truth(const expression &call, const context_node &at);
    [[nodiscard]] double call_number(const expression &call, const context_node &at);
    [[nodiscard]] std::string_view call_text(const expression &call, const context_node &at);
    [[nodiscard]] std::string_view text_argument(const expression &call, std::size_t place,
                                                 const context_node &at);
    [[nodiscard]] xmlNodePtr node_argument(const expression &call, const context_node &at);
    [[nodiscard]] std::string_view concat(const expression &call, const context_node &at);
    [[nodiscard]] std::string_view substring(const expression &call, const context_node &at);
    [[nodiscard]] std::string_view normalize_space(std::string_view text);
    [[nodiscard]] std::string_view translate(std::string_view text, std::string_view from,
                                             std::string_view to);
    [[nodiscard]] bool has_language(std::string_view language, const xmlNode *node);
    [[nodiscard]] double sum(const expression &call, const context_node &at);
    [[nodiscard]] std::size_t find_in(std::string_view text, std::string_view wanted);
    [[nodiscard]] bool same_texts(std::string_view left, std::string_view right);
    [[nodiscard]] std::size_t characters(std::string_view text);
    [[nodiscard]] std::string_view copied(std::string_view text);
    [[nodiscard]] std::string_view kept_copy(std::string_view text);

    [[nodiscard]] node_array filtered(const expression &whole, const context_node &at);
    [[nodiscard]] node_array united(const expression &whole, const context_node &at);
    void filter_set(node_array &set, const predicate &filter);
    void collect_texts(path_array<char> &collected, const xmlNode *top);
    void append_node_text(path_array<char> &collected, const xmlNode *node);
    void build_id_table();
    [[nodiscard]] xmlNodePtr element_with_id(std::string_view value);
    void add_elements_with_ids(node_array &found, std::string_view values);
    [[nodiscard]] element_namespaces &namespaces_of(xmlNodePtr element);
    void find_namespaces(element_namespaces &found);

    [[nodiscard]] bool is_in_order(const node_array &set);
    [[nodiscard]] bool sort_small(node_array &set);
    void sort_by_comparing(node_array &set);
    void sort_by_walking(node_array &set, const node_hash &members, bool attributes);
    [[nodiscard]] xmlNodePtr common_top(const node_array &set);

    void merge_downwards(const step &taken, const node_array &from, node_array &result);
    void merge_siblings(const step &taken, const node_array &from, node_array &result);
    void merge_upwards(const step &taken, const node_array &from, node_array &result);
    void merge_all_behind(const step &taken, const node_array &from, node_array &result);
    void keep_matching(const step &taken, xmlNodePtr node, node_array &result);
    [[nodiscard]] bool is_inside(const xmlNode *node, const xmlNode *top);

    const path_code &code_;
    xmlNodePtr context_;
    xmlNodePtr root_ = nullptr; // looked for when it is needed
    std::span<const path_binding> variables_;
    std::size_t work_ = 0;
    std::size_t next_look_ = k_units_between_looks;
    std::size_t ceiling_;
    memory_account account_;
    path_memory memory_; // given back with the predicate that took it
    path_memory kept_;   // for the whole evaluation
    test_memory *tests_ = nullptr;
    kept_value *kept_values_ = nullptr;
    element_namespaces **namespaces_ = nullptr; // chains by the element's address; or null
    id_entry *ids_ = nullptr;                   // by hash
    std::size_t id_places_ = 0;
};

// A set of addresses.
class node_hash {
  public:
    // Room for `members`.
    node_hash(path_memory &memory, std::size_t members);
    // False when the node was in it.
    bool add(const xmlNode *node) noexcept {
        std::size_t place = place_of(node);
        while (places_[place] != nullptr) {
            if (places_[place] == node) {
                return false;
            }
            place = (place + 1) & mask_;
        }
        places_[place] = node;
        return true;
    }
    [[nodiscard]] bool has(const xmlNode *node) const noexcept {
        std::size_t place = place_of(node);
        while (places_[place] != nullptr) {
            if (places_[place] == node) {
                return true;
            }
            place = (place + 1) & mask_;
        }
        return false;
    }

  private:
    [[nodiscard]] std::size_t place_of(const xmlNode *node) const noexcept {
        return static_cast<std::size_t>(
                   (reinterpret_cast<std::uintptr_t>(node) * 0x9E3779B97F4A7C15U) >> shift_) &
               mask_;
    }
    const xmlNode **places_;
    std::size_t mask_;
    unsigned shift_;
};

// One that grows.
class growing_node_hash {
  public:
    explicit growing_node_hash(path_memory &memory) : memory_(memory), hash_(memory, 32) {}
    bool add(const xmlNode *node);

  private:
    path_memory &memory_;
    node_hash hash_;
    node_array members_;
    std::size_t room_ = 32;
};

// A place on an axis.
struct axis_cursor {
    const step *taken;
    test_memory *test;
    xmlNodePtr origin;
    xmlNodePtr current; // to be looked at next, or looked at last, by axis
    std::size_t level;  // below the origin
    std::size_t fence;  // level + 1 of the outermost member the walk is inside of; 0: of none
    bool exhausted;
    bool begun;
    bool skip;                // do not go below `current`
    std::uint64_t *positions; // candidates counted so far, for each predicate
    node_array gathered;      // candidates, where they are collected first
    std::size_t next_gathered;
    bool from_gathered;
};

// The nodes that a path gives, one after the other; in which order, `order` tells at the end. The
// memory in force must be given back after it.
class node_stream {
  public:
    node_stream(evaluator &run, const path &taken, const context_node &at);
    // Of one step from one node.
    node_stream(evaluator &run, const step &taken, xmlNodePtr origin);
    // Null at the end.
    [[nodiscard]] xmlNodePtr next();
    // What is known of the nodes given so far; all of them when the stream is at its end.
    [[nodiscard]] node_order order() const noexcept { return nested_ ? order_ : flat_order_; }
    // The same, whatever the tree.
    [[nodiscard]] node_order sure_order() const noexcept { return order_; }
    // The number of those that are left.
    [[nodiscard]] std::size_t count_rest();
    // All that are left, one that comes twice in a row once.
    [[nodiscard]] node_array collect_rest();
    // As many as are sure to have the first in document order among them. For streams that have
    // not been read from.
    [[nodiscard]] node_array collect_for_first();

  private:
    void start(axis_cursor &cursor, xmlNodePtr origin);
    void start_axis(axis_cursor &cursor);
    void start_at_other_end(axis_cursor &cursor);
    void gather(axis_cursor &cursor);
    [[nodiscard]] xmlNodePtr candidate(axis_cursor &cursor);
    // Goes along the axis until `take` is content with a node that the test lets through: that
    // node, null at the end.
    template <class Take> [[nodiscard]] xmlNodePtr advance(axis_cursor &cursor, Take take);
    template <class Accept> xmlNodePtr along(axis_cursor &cursor, Accept accept);
    template <xmlNodePtr xmlNode::*Next, class Accept>
    xmlNodePtr along_links(axis_cursor &cursor, const xmlNode *end, Accept accept);
    template <class Accept> xmlNodePtr along_siblings(axis_cursor &cursor, Accept accept);
    template <class Accept> xmlNodePtr below(axis_cursor &cursor, Accept accept);
    [[nodiscard]] xmlNodePtr advance_slowly(axis_cursor &cursor);
    [[nodiscard]] bool goes_straight_down() const noexcept;
    template <class Accept, class Take>
    void take_down(const step &taken, const xmlNode *origin, Accept accept, Take take);
    template <class Take>
    void take_down_from(const step &taken, const node_array &origins, Take take);
    [[nodiscard]] node_array take_all_but_last();
    [[nodiscard]] bool can_drain() const noexcept;
    [[nodiscard]] xmlNodePtr advance_following(axis_cursor &cursor);
    [[nodiscard]] xmlNodePtr advance_preceding(axis_cursor &cursor);
    [[nodiscard]] xmlNodePtr advance_up(axis_cursor &cursor);
    [[nodiscard]] bool accepts(axis_cursor &cursor, xmlNodePtr node);
    void note_emission(axis_cursor &cursor) noexcept;
    [[nodiscard]] const axis_cursor *first_descent() const noexcept;
    [[nodiscard]] bool is_past_bound(const axis_cursor &cursor, const xmlNode *node);
    void run_segment(const segment &part);
    void open_cursor(axis_cursor &cursor, const step &taken);
    void open_segment(const segment &part);
    [[nodiscard]] xmlNodePtr next_origin() noexcept;

    evaluator &run_;
    xmlNodePtr single_; // what the steps start from, or null and ...
    node_array from_{}; // ... a set in order
    std::size_t next_from_ = 0;
    axis_cursor *cursors_ = nullptr;
    std::size_t count_ = 0; // of the cursors
    std::size_t depth_ = 0; // cursors in use
    node_order order_ = node_order::single;
    node_order flat_order_ = node_order::single;
    bool nested_ = false;
    const axis_cursor *descent_ = nullptr; // for collect_for_first
    xmlNodePtr bound_ = nullptr;           // what is found from nodes behind it does not matter
};

// The nodes of an expression one after the other, in no order, duplicates perhaps among them.
class node_source {
  public:
    node_source(evaluator &run, std::uint32_t index, const context_node &at);
    [[nodiscard]] xmlNodePtr next();

  private:
    std::optional<node_stream> stream_; // without one, the set
    node_array set_{};
    std::size_t next_ = 0;
};

} // namespace pkg_dbe_xml::paths
