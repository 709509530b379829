// The compiled form of a path: flat arrays that name each other by index.
//
// Nothing in it points into a document, and nothing changes once it is made: it can be kept for
// the session and evaluated over any tree. All types are known when a path is compiled, since the
// language has four of them, every function has one, and a variable is always a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml::paths {

enum class value_type : std::uint8_t { nodes, number, text, truth };

enum class axis : std::uint8_t {
    child,
    descendant,
    descendant_or_self,
    self,
    attribute,
    parent,
    ancestor,
    ancestor_or_self,
    following_sibling,
    preceding_sibling,
    following,
    preceding,
    name_space
};

enum class node_test : std::uint8_t {
    any_node,         // node()
    any_name,         // *: every node of the axis' principal type
    name,             // a name without a prefix: in no namespace
    qualified_name,   // prefix:name
    in_namespace,     // prefix:*
    text,             // text()
    comment,          // comment()
    instruction,      // processing-instruction()
    named_instruction // processing-instruction('target')
};

enum class expression_kind : std::uint8_t {
    number,
    literal,
    variable,
    either,     // a or b or c
    both,       // a and b and c
    comparison, // operands with operators, from the left
    arithmetic, // the same
    negation,
    set_union,
    path,   // `first` is the index of a path
    filter, // operand `first`, then predicates
    call
};

enum class operation : std::uint8_t {
    none,
    equal,
    not_equal,
    less,
    less_or_equal,
    greater,
    greater_or_equal,
    plus,
    minus,
    times,
    divide,
    modulo
};

enum class function : std::uint8_t {
    last,
    position,
    count,
    id,
    local_name,
    namespace_uri,
    name,
    string,
    concat,
    starts_with,
    contains,
    substring_before,
    substring_after,
    substring,
    string_length,
    normalize_space,
    translate,
    boolean,
    negated, // not()
    true_value,
    false_value,
    lang,
    number,
    sum,
    floor,
    ceiling,
    round
};

// A text of the path: literals, names, URIs. A zero byte follows it.
struct text_range {
    std::uint32_t start;
    std::uint32_t size;
};

struct expression {
    expression_kind kind;
    value_type type;
    function called;     // of a call
    bool uses_position;  // asks for the position or the size of its context
    bool uses_last;      // asks for the size
    bool invariant;      // the same whatever the context node: no part of it looks there
    std::uint32_t first; // operand list, path or variable, by kind
    std::uint32_t count; // of the operands
    std::uint32_t first_predicate;
    std::uint32_t predicate_count;
    text_range text;      // of a literal
    double number;        // of a number
    std::uint32_t memory; // where the evaluation keeps an invariant's value; see k_no_memory
};
inline constexpr std::uint32_t k_no_memory = 0xFFFFFFFFU;

struct operand {
    std::uint32_t expression;
    operation before; // the operator in front of it
};

enum class predicate_kind : std::uint8_t {
    truth,       // an expression of any type but number
    number,      // true where it equals the position
    position,    // a constant position, `place`; 0: none
    last_of_axis // [last()] as the first predicate of a step
};

struct predicate {
    predicate_kind kind;
    bool uses_last;
    bool counts; // needs the position
    std::uint32_t expression;
    std::uint64_t place;
};

struct step {
    paths::axis axis;
    node_test test;
    bool positional; // one of the predicates needs positions
    bool buffered;   // one of the predicates needs the size: candidates are collected first
    bool jumps;      // the first predicate is a constant position: candidates before it are skipped
    bool outermost;  // of nested members only the outer one matters to the next step
    std::uint32_t first_predicate;
    std::uint32_t predicate_count;
    text_range name;
    text_range uri;
    std::uint32_t alternative; // a step with another test that will do as well; k_no_alternative
};
inline constexpr std::uint32_t k_no_alternative = 0xFFFFFFFFU;

// What is known of the order of nodes as they come.
enum class node_order : std::uint8_t {
    single,   // at most one
    flat,     // in order, no duplicates, none inside another
    ordered,  // in order, no duplicates
    reversed, // in reverse order, no duplicates
    distinct, // no duplicates
    unknown
};

// Steps that are taken for each node in turn, without a set in between.
struct segment {
    std::uint32_t first_step;
    std::uint32_t step_count;
    bool merged;           // one step, taken for the whole set at once
    node_order order;      // of the result, whatever the tree
    node_order flat_order; // the same where no step to descendants gave nested nodes
};

enum class path_start : std::uint8_t { context, root, expression };

struct path {
    path_start start;
    std::uint32_t expression; // that the path starts from
    std::uint32_t first_segment;
    std::uint32_t segment_count;
    std::uint32_t first_step;
    std::uint32_t step_count;
};

// One block of host memory holds the record and all its arrays.
struct path_code {
    const expression *expressions;
    const operand *operands;
    const predicate *predicates;
    const step *steps;
    const segment *segments;
    const path *paths;
    const char *texts;
    std::uint32_t expression_count;
    std::uint32_t path_count;
    std::uint32_t step_count;
    std::uint32_t memory_count;   // values of invariants to keep
    std::uint32_t variable_count; // variables are numbered in the order of the bindings
    std::uint32_t root;           // the whole expression
    std::size_t block_size;

    [[nodiscard]] std::string_view text(text_range range) const noexcept {
        return {texts + range.start, range.size};
    }
};

} // namespace pkg_dbe_xml::paths
