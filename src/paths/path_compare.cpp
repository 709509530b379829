// Comparisons. Between two sets of nodes they are linear: a table for "=", two different texts for
// "!=", the least and the greatest number for the others.

#include "paths/path_evaluator.hpp"
#include "paths/path_numbers.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

namespace pkg_dbe_xml::paths {

namespace {

bool is_equality(operation how) noexcept {
    return how == operation::equal || how == operation::not_equal;
}

bool holds(double left, operation how, double right) noexcept {
    switch (how) {
    case operation::equal:
        return left == right;
    case operation::not_equal:
        return left != right;
    case operation::less:
        return left < right;
    case operation::less_or_equal:
        return left <= right;
    case operation::greater:
        return left > right;
    default:
        return left >= right;
    }
}

// The same comparison with its sides changed.
operation turned(operation how) noexcept {
    switch (how) {
    case operation::less:
        return operation::greater;
    case operation::less_or_equal:
        return operation::greater_or_equal;
    case operation::greater:
        return operation::less;
    case operation::greater_or_equal:
        return operation::less_or_equal;
    default:
        return how;
    }
}

bool truths_hold(bool left, operation how, bool right) noexcept {
    return holds(left ? 1 : 0, how, right ? 1 : 0);
}

} // namespace

// From the left: the result of the first comparison is compared with the next operand.
bool evaluator::comparison(const expression &whole, const context_node &at) {
    const operand *sides = code_.operands + whole.first;
    bool value = compare(sides[0].expression, sides[1].before, sides[1].expression, at);
    for (std::size_t place = 2; place < whole.count; ++place) {
        const memory_scope scope(memory_);
        const std::uint32_t next = sides[place].expression;
        const value_type type = at_index(next).type;
        spend(1);
        if (is_equality(sides[place].before) || type == value_type::nodes) {
            value = truths_hold(value, sides[place].before, truth(next, at));
        } else {
            value = holds(value ? 1 : 0, sides[place].before, number(next, at));
        }
    }
    return value;
}

bool evaluator::compare(std::uint32_t left, operation how, std::uint32_t right,
                        const context_node &at) {
    const value_type left_type = at_index(left).type;
    const value_type right_type = at_index(right).type;
    spend(1);
    if (left_type == value_type::nodes) {
        return right_type == value_type::nodes ? compare_sets(left, how, right, at)
                                               : compare_set(left, how, right, at);
    }
    if (right_type == value_type::nodes) {
        return compare_set(right, turned(how), left, at);
    }
    const bool equality = is_equality(how);
    if (equality && (left_type == value_type::truth || right_type == value_type::truth)) {
        return truths_hold(truth(left, at), how, truth(right, at));
    }
    if (equality && left_type == value_type::text && right_type == value_type::text) {
        return same_texts(text(left, at), text(right, at)) == (how == operation::equal);
    }
    const double value = number(left, at);
    return holds(value, how, number(right, at));
}

// A set with something else: true where it holds for one of its nodes.
bool evaluator::compare_set(std::uint32_t set, operation how, std::uint32_t other,
                            const context_node &at) {
    const value_type type = at_index(other).type;
    if (type == value_type::truth) {
        return truths_hold(truth(set, at), how, truth(other, at));
    }
    if (type == value_type::text && is_equality(how)) {
        const std::string_view wanted = text(other, at);
        node_source source(*this, set, at);
        while (const xmlNode *node = source.next()) {
            const memory_scope scope(memory_);
            if (same_texts(text_of(node), wanted) == (how == operation::equal)) {
                return true;
            }
        }
        return false;
    }
    const double value = number(other, at);
    node_source source(*this, set, at);
    while (const xmlNode *node = source.next()) {
        const memory_scope scope(memory_);
        if (holds(number_of(node), how, value)) {
            return true;
        }
    }
    return false;
}

bool evaluator::compare_sets(std::uint32_t left, operation how, std::uint32_t right,
                             const context_node &at) {
    if (how == operation::equal) {
        return sets_share_text(left, right, at);
    }
    if (how == operation::not_equal) {
        return sets_differ(left, right, at);
    }
    // There is a pair of which it holds if it holds of the best one from each side.
    const bool left_least = how == operation::less || how == operation::less_or_equal;
    double best[2] = {std::nan(""), std::nan("")};
    const std::uint32_t sides[2] = {left, right};
    for (int side = 0; side < 2; ++side) {
        const bool least = (side == 0) == left_least;
        node_source source(*this, sides[side], at);
        while (const xmlNode *node = source.next()) {
            const memory_scope scope(memory_);
            const double value = number_of(node);
            best[side] = least ? std::fmin(best[side], value) : std::fmax(best[side], value);
        }
    }
    return holds(best[0], how, best[1]);
}

// --- "=" and "!=" between sets
// --------------------------------------------------------------------

bool evaluator::sets_share_text(std::uint32_t left, std::uint32_t right, const context_node &at) {
    if (kept(at_index(left)) != nullptr) {
        std::swap(left, right);
    }
    const text_table table = table_of(right, at);
    if (table.places == 0) {
        return false;
    }
    node_source source(*this, left, at);
    while (const xmlNode *node = source.next()) {
        const memory_scope scope(memory_);
        const std::string_view wanted = text_of(node);
        spend_bytes(wanted.size());
        std::size_t place = std::hash<std::string_view>{}(wanted);
        for (; table.texts[place & (table.places - 1)].data() != nullptr; ++place) {
            if (same_texts(table.texts[place & (table.places - 1)], wanted)) {
                return true;
            }
        }
    }
    return false;
}

// The different texts of a set. Kept where the set is.
text_table evaluator::table_of(std::uint32_t index, const context_node &at) {
    kept_value *const memory = kept(at_index(index));
    if (memory != nullptr && memory->table.places != 0) {
        return memory->table;
    }
    path_memory &owner = memory != nullptr ? kept_ : memory_;
    path_array<std::string_view> texts;
    node_source source(*this, index, at);
    while (const xmlNode *node = source.next()) {
        std::string_view found = text_of(node);
        if (memory != nullptr) {
            found = kept_copy(found);
        }
        texts.push(owner, found.data() == nullptr ? std::string_view("") : found);
    }
    text_table table{nullptr, 0};
    if (texts.size == 0) {
        return table;
    }
    for (table.places = 4; table.places < texts.size * 2; table.places *= 2) {
    }
    table.texts = owner.take_array<std::string_view>(table.places);
    std::fill_n(table.texts, table.places, std::string_view());
    for (std::size_t member = 0; member < texts.size; ++member) {
        const std::string_view added = texts.members[member];
        spend_bytes(added.size());
        std::size_t place = std::hash<std::string_view>{}(added);
        while (table.texts[place & (table.places - 1)].data() != nullptr &&
               !same_texts(table.texts[place & (table.places - 1)], added)) {
            ++place;
        }
        table.texts[place & (table.places - 1)] = added;
    }
    if (memory != nullptr) {
        memory->table = table;
    }
    return table;
}

bool evaluator::sets_differ(std::uint32_t left, std::uint32_t right, const context_node &at) {
    // With two different texts on the left, whatever stands on the right differs from one of them.
    node_source left_source(*this, left, at);
    const xmlNode *node = left_source.next();
    if (node == nullptr) {
        return false;
    }
    const std::string_view first = text_of(node);
    bool several = false;
    while (!several && (node = left_source.next()) != nullptr) {
        const memory_scope scope(memory_);
        several = !same_texts(text_of(node), first);
    }
    node_source right_source(*this, right, at);
    while ((node = right_source.next()) != nullptr) {
        const memory_scope scope(memory_);
        if (several || !same_texts(text_of(node), first)) {
            return true;
        }
    }
    return false;
}

} // namespace pkg_dbe_xml::paths
