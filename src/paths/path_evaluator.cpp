// Expressions: a value of the type that is wanted, out of each kind of expression.

#include "paths/path_evaluator.hpp"

#include "host/error.hpp"
#include "host/limits.hpp"
#include "host/stack.hpp"
#include "path_reports.hpp"
#include "paths/path_numbers.hpp"
#include "paths/path_order.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace pkg_dbe_xml::paths {

evaluator::evaluator(const path_code &code, xmlNodePtr context,
                     std::span<const path_binding> variables, std::byte *room,
                     std::size_t room_size)
    : code_(code), context_(context), variables_(variables),
      ceiling_(static_cast<std::size_t>(host::path_limits.max_work)),
      account_{0, static_cast<std::size_t>(host::path_limits.max_memory) * 1024},
      memory_(account_, room, room_size), kept_(account_, nullptr, 0) {
    next_look_ = std::min(next_look_, ceiling_);
    tests_ = memory_.take_array<test_memory>(code.step_count);
    if (code.step_count != 0) {
        std::memset(tests_, 0, code.step_count * sizeof(test_memory));
    }
    if (code.memory_count != 0) {
        kept_values_ = kept_.take_array<kept_value>(code.memory_count);
        std::fill_n(kept_values_, code.memory_count, kept_value{});
    }
}

void evaluator::look() {
    if (work_ >= ceiling_) {
        report(reports::path_work_limit, {host::k_max_path_work_name});
    }
    host::check_for_interrupts();
    next_look_ = std::min(work_ + k_units_between_looks, ceiling_);
}

std::string_view evaluator::copied(std::string_view text) {
    auto *copy = memory_.take_array<char>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy);
    return {copy, text.size()};
}

std::string_view evaluator::kept_copy(std::string_view text) {
    auto *copy = kept_.take_array<char>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy);
    return {copy, text.size()};
}

// --- truth
// ----------------------------------------------------------------------------------------

bool evaluator::truth(std::uint32_t index, const context_node &at) {
    kept_value *const memory = kept(at_index(index));
    if (memory == nullptr) {
        return find_truth(index, at);
    }
    if (!memory->has_truth) {
        const memory_scope scope(memory_);
        memory->truth = find_truth(index, at);
        memory->has_truth = true;
    }
    return memory->truth;
}

bool evaluator::find_truth(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    switch (whole.kind) {
    case expression_kind::either:
    case expression_kind::both: {
        const bool decides = whole.kind == expression_kind::either;
        for (std::size_t place = 0; place < whole.count; ++place) {
            const memory_scope scope(memory_);
            spend(1);
            if (truth(operand_of(whole, place), at) == decides) {
                return decides;
            }
        }
        return !decides;
    }
    case expression_kind::comparison:
        return comparison(whole, at);
    case expression_kind::set_union:
        for (std::size_t place = 0; place < whole.count; ++place) {
            if (truth(operand_of(whole, place), at)) {
                return true;
            }
        }
        return false;
    case expression_kind::path:
        return node_stream(*this, code_.paths[whole.first], at).next() != nullptr;
    default:
        break;
    }
    if (whole.kind == expression_kind::call && whole.type == value_type::truth) {
        return call_truth(whole, at);
    }
    switch (whole.type) {
    case value_type::nodes:
        return nodes(index, at).size != 0;
    case value_type::text:
        return !text(index, at).empty();
    default: {
        const double value = number(index, at);
        return value != 0 && !std::isnan(value);
    }
    }
}

// --- numbers
// --------------------------------------------------------------------------------------

double evaluator::number(std::uint32_t index, const context_node &at) {
    kept_value *const memory = kept(at_index(index));
    if (memory == nullptr) {
        return find_number(index, at);
    }
    if (!memory->has_number) {
        const memory_scope scope(memory_);
        memory->number = find_number(index, at);
        memory->has_number = true;
    }
    return memory->number;
}

double evaluator::find_number(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    switch (whole.kind) {
    case expression_kind::number:
        return whole.number;
    case expression_kind::arithmetic:
        return arithmetic(whole, at);
    case expression_kind::negation:
        return -number(operand_of(whole, 0), at);
    default:
        break;
    }
    switch (whole.type) {
    case value_type::number:
        return call_number(whole, at);
    case value_type::truth:
        return truth(index, at) ? 1 : 0;
    case value_type::nodes: {
        xmlNodePtr const first = first_node(index, at);
        return first == nullptr ? std::nan("") : number_of(first);
    }
    case value_type::text:
        break;
    }
    const std::string_view digits = text(index, at);
    spend_bytes(digits.size());
    return number_of_text(digits);
}

double evaluator::arithmetic(const expression &whole, const context_node &at) {
    double value = number(operand_of(whole, 0), at);
    for (std::size_t place = 1; place < whole.count; ++place) {
        const operand &next = code_.operands[whole.first + place];
        const memory_scope scope(memory_);
        const double other = number(next.expression, at);
        spend(1);
        switch (next.before) {
        case operation::plus:
            value += other;
            break;
        case operation::minus:
            value -= other;
            break;
        case operation::times:
            value *= other;
            break;
        case operation::divide:
            value /= other;
            break;
        default:
            value = std::fmod(value, other);
            break;
        }
    }
    return value;
}

// --- texts
// ----------------------------------------------------------------------------------------

std::string_view evaluator::text(std::uint32_t index, const context_node &at) {
    kept_value *const memory = kept(at_index(index));
    if (memory == nullptr) {
        return find_text(index, at);
    }
    if (!memory->has_text) {
        const memory_scope scope(memory_);
        memory->text = kept_copy(find_text(index, at));
        memory->has_text = true;
    }
    return memory->text;
}

std::string_view evaluator::find_text(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    switch (whole.kind) {
    case expression_kind::literal:
        return code_.text(whole.text);
    case expression_kind::variable:
        return variables_[whole.first].value;
    default:
        break;
    }
    switch (whole.type) {
    case value_type::text:
        return call_text(whole, at);
    case value_type::truth:
        return truth(index, at) ? "true" : "false";
    case value_type::number:
        return copied(number_text(number(index, at)).view());
    case value_type::nodes:
        break;
    }
    xmlNodePtr const first = first_node(index, at);
    return first == nullptr ? std::string_view() : text_of(first);
}

// --- nodes
// ----------------------------------------------------------------------------------------

node_array evaluator::nodes(std::uint32_t index, const context_node &at) {
    kept_value *const memory = kept(at_index(index));
    if (memory == nullptr) {
        return find_nodes(index, at);
    }
    if (!memory->has_nodes) {
        const memory_scope scope(memory_);
        const node_array found = find_nodes(index, at);
        memory->nodes.append(kept_, found.members, found.size);
        memory->has_nodes = true;
    }
    return memory->nodes;
}

node_array evaluator::find_nodes(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    if (host::stack_is_deep()) {
        report(reports::path_too_deep, {"1"});
    }
    switch (whole.kind) {
    case expression_kind::path: {
        node_stream stream(*this, code_.paths[whole.first], at);
        node_array set = stream.collect_rest();
        if (stream.order() > node_order::ordered) {
            put_in_order(set, stream.order() == node_order::reversed);
        }
        return set;
    }
    case expression_kind::set_union:
        return united(whole, at);
    case expression_kind::filter:
        return filtered(whole, at);
    default:
        return nodes_with_ids(operand_of(whole, 0), at);
    }
}

xmlNodePtr evaluator::first_node(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    if (whole.memory == k_no_memory && whole.kind == expression_kind::path) {
        node_stream stream(*this, code_.paths[whole.first], at);
        if (stream.sure_order() <= node_order::ordered) {
            return stream.next();
        }
        node_array set = stream.collect_for_first();
        if (stream.order() > node_order::ordered) {
            put_in_order(set, stream.order() == node_order::reversed);
        }
        return set.size == 0 ? nullptr : set.members[0];
    }
    if (whole.memory == k_no_memory && whole.kind == expression_kind::set_union) {
        node_array firsts;
        for (std::size_t place = 0; place < whole.count; ++place) {
            if (xmlNodePtr const first = first_node(operand_of(whole, place), at)) {
                firsts.push(memory_, first);
            }
        }
        put_in_order(firsts, false);
        return firsts.size == 0 ? nullptr : firsts.members[0];
    }
    const node_array set = nodes(index, at);
    return set.size == 0 ? nullptr : set.members[0];
}

std::size_t evaluator::count(std::uint32_t index, const context_node &at) {
    const expression &whole = at_index(index);
    if (whole.memory != k_no_memory || whole.kind != expression_kind::path) {
        return nodes(index, at).size;
    }
    node_stream stream(*this, code_.paths[whole.first], at);
    if (stream.sure_order() == node_order::unknown) {
        const node_array set = stream.collect_rest();
        return stream.order() == node_order::unknown ? count_distinct(set) : set.size;
    }
    return stream.count_rest();
}

} // namespace pkg_dbe_xml::paths
