// Paths to their compiled form: a parser by recursive descent whose depth is bounded. What can be
// long and not deep, such as steps or terms of a sum, is a list.

#include "paths/path_compiler.hpp"

#include "host/error.hpp"
#include "host/stack.hpp"
#include "path_reports.hpp"
#include "paths/path_numbers.hpp"
#include "tree/text_compare.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace pkg_dbe_xml::paths {

namespace {

struct axis_word {
    std::string_view name;
    paths::axis axis;
};
constexpr axis_word k_axes[] = {{"child", axis::child},
                                {"descendant", axis::descendant},
                                {"descendant-or-self", axis::descendant_or_self},
                                {"self", axis::self},
                                {"attribute", axis::attribute},
                                {"parent", axis::parent},
                                {"ancestor", axis::ancestor},
                                {"ancestor-or-self", axis::ancestor_or_self},
                                {"following-sibling", axis::following_sibling},
                                {"preceding-sibling", axis::preceding_sibling},
                                {"following", axis::following},
                                {"preceding", axis::preceding},
                                {"namespace", axis::name_space}};

struct level_operator {
    token_kind token;
    int level;
    operation performed;
};
constexpr level_operator k_operators[] = {
    {token_kind::either, 0, operation::none},
    {token_kind::both, 1, operation::none},
    {token_kind::equal, 2, operation::equal},
    {token_kind::not_equal, 2, operation::not_equal},
    {token_kind::less, 3, operation::less},
    {token_kind::less_or_equal, 3, operation::less_or_equal},
    {token_kind::greater, 3, operation::greater},
    {token_kind::greater_or_equal, 3, operation::greater_or_equal},
    {token_kind::plus, 4, operation::plus},
    {token_kind::minus, 4, operation::minus},
    {token_kind::times, 5, operation::times},
    {token_kind::divide, 5, operation::divide},
    {token_kind::modulo, 5, operation::modulo}};
constexpr int k_highest_level = 5;

const level_operator *operator_of(token_kind token, int level) noexcept {
    const auto *found = std::find_if(
        std::begin(k_operators), std::end(k_operators),
        [&](const level_operator &row) { return row.token == token && row.level == level; });
    return found == std::end(k_operators) ? nullptr : found;
}

expression_kind kind_of_level(int level) noexcept {
    constexpr expression_kind k_kinds[] = {
        expression_kind::either,     expression_kind::both,       expression_kind::comparison,
        expression_kind::comparison, expression_kind::arithmetic, expression_kind::arithmetic};
    return k_kinds[level];
}

std::uint32_t index_of(std::size_t count) noexcept { return static_cast<std::uint32_t>(count); }

class compiler {
  public:
    compiler(std::string_view text, const path_bindings &bindings)
        : text_(text), bindings_(bindings), lexer_(text) {
        advance();
    }

    // The index of the whole expression.
    std::uint32_t compile() {
        const std::uint32_t root = parse_expression();
        if (token_.kind != token_kind::end) {
            expected("an operator or the end of the path");
        }
        return root;
    }
    [[nodiscard]] path_parts &parts() noexcept { return parts_; }

  private:
    // --- tokens and errors ---

    void advance() {
        token_ = lexer_.next();
        if (++tokens_ % 4096 == 0) {
            host::check_for_interrupts();
        }
    }
    [[nodiscard]] bool take(token_kind kind) {
        if (token_.kind != kind) {
            return false;
        }
        advance();
        return true;
    }
    void require(token_kind kind, std::string_view what) {
        if (!take(kind)) {
            expected(what);
        }
    }
    [[nodiscard]] error_place place() const noexcept { return {text_, token_.start}; }
    [[noreturn]] void expected(std::string_view what) {
        if (token_.kind == token_kind::bad && !token_.text.empty() &&
            (token_.text[0] == '"' || token_.text[0] == '\'')) {
            report_syntax({text_, text_.size()}, "the closing quote of a literal", {});
        }
        if (token_.kind == token_kind::literal) {
            report_syntax(place(), what, text_.substr(token_.start, token_.text.size() + 2));
        }
        report_syntax(place(), what, token_.text);
    }

    // --- building ---

    std::uint32_t add(const expression &made) {
        parts_.expressions.push_back(made);
        return index_of(parts_.expressions.size() - 1);
    }
    [[nodiscard]] expression &at(std::uint32_t index) noexcept { return parts_.expressions[index]; }
    text_range add_text(std::string_view text) {
        const text_range range{index_of(parts_.texts.size()), index_of(text.size())};
        parts_.texts.append(text.data(), text.size());
        parts_.texts.push_back('\0');
        return range;
    }
    static expression made(expression_kind kind, value_type type) noexcept {
        expression fresh{};
        fresh.kind = kind;
        fresh.type = type;
        fresh.memory = k_no_memory;
        return fresh;
    }
    // An operand of `whole`: what it asks of the context, its parent asks.
    void inherit(expression &whole, std::uint32_t part) noexcept {
        whole.uses_position = whole.uses_position || at(part).uses_position;
        whole.uses_last = whole.uses_last || at(part).uses_last;
        whole.invariant = whole.invariant && at(part).invariant;
    }
    // The value of `part` is kept, if it is the same for every node that a predicate is asked for
    // and takes work to find.
    void keep_value(std::uint32_t part) noexcept {
        expression &kept = at(part);
        const bool works = kept.kind != expression_kind::number &&
                           kept.kind != expression_kind::literal &&
                           kept.kind != expression_kind::variable;
        if (predicate_depth_ != 0 && kept.invariant && works && kept.memory == k_no_memory) {
            kept.memory = parts_.memory_count++;
        }
    }
    // Makes a list of the operands from `base` of pending_ on the operands of `whole`.
    std::uint32_t add_with_operands(expression whole, std::size_t base) {
        whole.first = index_of(parts_.operands.size());
        whole.count = index_of(pending_.size() - base);
        whole.invariant = true;
        for (std::size_t index = base; index < pending_.size(); ++index) {
            inherit(whole, pending_[index].expression);
        }
        if (!whole.invariant) {
            for (std::size_t index = base; index < pending_.size(); ++index) {
                keep_value(pending_[index].expression);
            }
        }
        parts_.operands.append(pending_.data() + base, whole.count);
        drop_pending(base);
        return add(whole);
    }
    void drop_pending(std::size_t base) noexcept {
        while (pending_.size() > base) {
            pending_.pop_back();
        }
    }

    // --- expressions ---

    std::uint32_t parse_expression() {
        if (++depth_ > k_deepest_path || host::stack_is_deep()) {
            report_depth(place());
        }
        const std::uint32_t parsed = parse_level(0);
        --depth_;
        return parsed;
    }

    std::uint32_t parse_level(int level) {
        if (level > k_highest_level) {
            return parse_signed();
        }
        const std::uint32_t first = parse_level(level + 1);
        const level_operator *found = operator_of(token_.kind, level);
        if (found == nullptr) {
            return first;
        }
        const std::size_t base = pending_.size();
        pending_.push_back({first, operation::none});
        for (; found != nullptr; found = operator_of(token_.kind, level)) {
            advance();
            const std::uint32_t next = parse_level(level + 1);
            pending_.push_back({next, found->performed});
        }
        const expression_kind kind = kind_of_level(level);
        return add_with_operands(made(kind, kind == expression_kind::arithmetic
                                                ? value_type::number
                                                : value_type::truth),
                                 base);
    }

    std::uint32_t parse_signed() {
        std::size_t signs = 0;
        while (take(token_kind::minus)) {
            ++signs;
        }
        std::uint32_t parsed = parse_union();
        for (std::size_t left = signs == 0 ? 0 : 2 - signs % 2; left != 0; --left) {
            const std::size_t base = pending_.size();
            pending_.push_back({parsed, operation::none});
            parsed = add_with_operands(made(expression_kind::negation, value_type::number), base);
        }
        return parsed;
    }

    std::uint32_t parse_union() {
        const error_place start = place();
        const std::uint32_t first = parse_path();
        if (token_.kind != token_kind::bar) {
            return first;
        }
        require_nodes(first, start, "a union takes sets of nodes");
        const std::size_t base = pending_.size();
        pending_.push_back({first, operation::none});
        while (take(token_kind::bar)) {
            const error_place next_start = place();
            const std::uint32_t next = parse_path();
            require_nodes(next, next_start, "a union takes sets of nodes");
            if (!join_last(next)) {
                pending_.push_back({next, operation::none});
            }
        }
        if (pending_.size() == base + 1) {
            drop_pending(base);
            return first;
        }
        return add_with_operands(made(expression_kind::set_union, value_type::nodes), base);
    }

    // A path of one step without predicates; null for every other expression.
    [[nodiscard]] step *plain_single_step(std::uint32_t index) noexcept {
        const expression &whole = at(index);
        if (whole.kind != expression_kind::path) {
            return nullptr;
        }
        const path &taken = parts_.paths[whole.first];
        if (taken.start == path_start::expression || taken.step_count != 1) {
            return nullptr;
        }
        step &only = parts_.steps[taken.first_step];
        const bool plain = only.predicate_count == 0 && only.axis != axis::name_space;
        return plain ? &only : nullptr;
    }
    // Makes one walk of the last operand of a union and the next one, where they differ in nothing
    // but the test of their only step: "//a | //b".
    [[nodiscard]] bool join_last(std::uint32_t next) noexcept {
        const std::uint32_t last = pending_.back().expression;
        step *const before = plain_single_step(last);
        const step *const added = plain_single_step(next);
        if (before == nullptr || added == nullptr || before->axis != added->axis ||
            parts_.paths[at(last).first].start != parts_.paths[at(next).first].start) {
            return false;
        }
        const std::uint32_t added_index = parts_.paths[at(next).first].first_step;
        parts_.steps[added_index].alternative = before->alternative;
        before->alternative = added_index;
        return true;
    }

    void require_nodes(std::uint32_t index, const error_place &start, std::string_view what) {
        if (at(index).type != value_type::nodes) {
            report_type(start, what, type_name(at(index).type));
        }
    }

    // --- paths ---

    std::uint32_t parse_path() {
        switch (token_.kind) {
        case token_kind::slash:
            return parse_rooted(false);
        case token_kind::two_slashes:
            return parse_rooted(true);
        case token_kind::number:
        case token_kind::literal:
        case token_kind::variable:
        case token_kind::left_parenthesis:
        case token_kind::function_name:
            return parse_filter();
        default:
            return parse_steps(path_start::context, 0, false);
        }
    }

    std::uint32_t parse_rooted(bool below) {
        advance();
        if (!below && !starts_step()) {
            return add_path(path_start::root, 0, steps_.size());
        }
        return parse_steps(path_start::root, 0, below);
    }

    std::uint32_t parse_filter() {
        const error_place start = place();
        std::uint32_t parsed = parse_primary();
        if (token_.kind == token_kind::left_bracket) {
            require_nodes(parsed, start, "a predicate takes a set of nodes");
            expression filter = made(expression_kind::filter, value_type::nodes);
            filter.first = parsed;
            filter.invariant = true;
            inherit(filter, parsed);
            const std::size_t base = predicates_.size();
            parse_predicates();
            take_predicates(base, filter.first_predicate, filter.predicate_count);
            parsed = add(filter);
        }
        if (token_.kind != token_kind::slash && token_.kind != token_kind::two_slashes) {
            return parsed;
        }
        require_nodes(parsed, start, "a step takes a set of nodes");
        const bool below = token_.kind == token_kind::two_slashes;
        advance();
        return parse_steps(path_start::expression, parsed, below);
    }

    [[nodiscard]] bool starts_step() const noexcept {
        switch (token_.kind) {
        case token_kind::name:
        case token_kind::node_type:
        case token_kind::axis_name:
        case token_kind::at:
        case token_kind::dot:
        case token_kind::two_dots:
            return true;
        default:
            return false;
        }
    }

    // Steps, of which the first is due.
    std::uint32_t parse_steps(path_start start, std::uint32_t from, bool below) {
        const std::size_t base = steps_.size();
        for (;;) {
            if (below) {
                steps_.push_back(plain_step(axis::descendant_or_self));
            }
            parse_step();
            if (token_.kind != token_kind::slash && token_.kind != token_kind::two_slashes) {
                break;
            }
            below = token_.kind == token_kind::two_slashes;
            advance();
        }
        return add_path(start, from, base);
    }

    std::uint32_t add_path(path_start start, std::uint32_t from, std::size_t base) {
        path planned{};
        planned.start = start;
        planned.expression = from;
        planned.first_step = index_of(parts_.steps.size());
        planned.step_count = index_of(fuse_steps(steps_.data() + base, steps_.size() - base));
        parts_.steps.append(steps_.data() + base, planned.step_count);
        while (steps_.size() > base) {
            steps_.pop_back();
        }
        plan_segments(parts_, planned);
        expression whole = made(expression_kind::path, value_type::nodes);
        whole.invariant = start == path_start::root;
        if (start == path_start::expression) {
            whole.invariant = true;
            inherit(whole, from);
        }
        whole.first = index_of(parts_.paths.size());
        parts_.paths.push_back(planned);
        return add(whole);
    }

    static step plain_step(axis direction) noexcept {
        step plain{};
        plain.axis = direction;
        plain.test = node_test::any_node;
        plain.alternative = k_no_alternative;
        return plain;
    }

    void parse_step() {
        if (take(token_kind::dot)) {
            return; // the node itself: nothing to do
        }
        if (take(token_kind::two_dots)) {
            steps_.push_back(plain_step(axis::parent));
            return;
        }
        step parsed = plain_step(parse_axis());
        parse_test(parsed);
        const std::size_t base = predicates_.size();
        parse_predicates();
        for (std::size_t index = base; index < predicates_.size(); ++index) {
            parsed.positional = parsed.positional || predicates_[index].counts;
            parsed.buffered = parsed.buffered || predicates_[index].uses_last;
        }
        if (parsed.buffered && has_other_end(parsed.axis) &&
            predicates_[base].kind == predicate_kind::last_of_axis &&
            !std::any_of(predicates_.data() + base + 1, predicates_.end(),
                         [](const predicate &other) { return other.uses_last; })) {
            parsed.buffered = false; // the axis is read from its other end
        } else {
            for (std::size_t index = base; index < predicates_.size(); ++index) {
                forget_other_end(predicates_[index]);
            }
        }
        parsed.jumps = !parsed.buffered && predicates_.size() > base &&
                       predicates_[base].kind == predicate_kind::position &&
                       predicates_[base].place != 0;
        take_predicates(base, parsed.first_predicate, parsed.predicate_count);
        steps_.push_back(parsed);
    }

    // Whether an axis can be read from its far end as cheaply as from the near one.
    static bool has_other_end(axis direction) noexcept {
        return direction == axis::child || direction == axis::following_sibling ||
               direction == axis::preceding_sibling;
    }

    static void forget_other_end(predicate &filter) noexcept {
        if (filter.kind == predicate_kind::last_of_axis) {
            filter.kind = predicate_kind::number;
        }
    }

    axis parse_axis() {
        if (take(token_kind::at)) {
            return axis::attribute;
        }
        if (token_.kind != token_kind::axis_name) {
            return axis::child;
        }
        const auto *found =
            std::find_if(std::begin(k_axes), std::end(k_axes),
                         [&](const axis_word &word) { return word.name == token_.local; });
        if (found == std::end(k_axes)) {
            report_unknown(place(), "axis", token_.local,
                           "The axes are child, descendant, descendant-or-self, self, attribute, "
                           "parent, ancestor, ancestor-or-self, following-sibling, "
                           "preceding-sibling, following, preceding and namespace.");
        }
        advance();
        require(token_kind::two_colons, "\"::\"");
        return found->axis;
    }

    void parse_test(step &parsed) {
        if (token_.kind == token_kind::node_type) {
            parse_type_test(parsed);
            return;
        }
        if (token_.kind != token_kind::name) {
            expected("a step");
        }
        if (!token_.prefix.empty()) {
            parsed.uri = add_text(uri_of_prefix());
        }
        if (token_.local == "*") {
            parsed.test = token_.prefix.empty() ? node_test::any_name : node_test::in_namespace;
        } else {
            parsed.test = token_.prefix.empty() ? node_test::name : node_test::qualified_name;
            parsed.name = add_text(token_.local);
        }
        advance();
    }

    std::string_view uri_of_prefix() {
        for (std::size_t index = bindings_.namespaces.size(); index-- > 0;) {
            const path_binding &binding = bindings_.namespaces[index];
            if (binding.name == token_.prefix && !binding.value.empty()) {
                return binding.value;
            }
        }
        if (token_.prefix != "xml") {
            report_unknown(place(), "prefix", token_.prefix,
                           "Bind it with the argument namespaces, "
                           "as in array[array['p', 'http://example.org/']].");
        }
        return k_xml_uri;
    }

    void parse_type_test(step &parsed) {
        const std::string_view type = token_.local;
        advance();
        require(token_kind::left_parenthesis, "\"(\"");
        if (type == "text") {
            parsed.test = node_test::text;
        } else if (type == "comment") {
            parsed.test = node_test::comment;
        } else if (type == "processing-instruction") {
            parsed.test = node_test::instruction;
            if (token_.kind == token_kind::literal) {
                parsed.test = node_test::named_instruction;
                parsed.name = add_text(token_.text);
                advance();
            }
        }
        require(token_kind::right_parenthesis, "\")\"");
    }

    // --- predicates ---

    void parse_predicates() {
        while (take(token_kind::left_bracket)) {
            ++predicate_depth_;
            const std::uint32_t condition = parse_expression();
            keep_value(condition);
            --predicate_depth_;
            require(token_kind::right_bracket, "\"]\"");
            predicates_.push_back(predicate_of(condition));
        }
    }

    [[nodiscard]] predicate predicate_of(std::uint32_t index) noexcept {
        const expression &condition = at(index);
        predicate made_of{predicate_kind::truth, condition.uses_last, condition.uses_position,
                          index, 0};
        if (condition.type == value_type::number) {
            made_of.kind = predicate_kind::number;
            made_of.counts = true;
            if (condition.kind == expression_kind::number) {
                set_place(made_of, condition.number);
            } else if (condition.kind == expression_kind::call &&
                       condition.called == function::last) {
                made_of.kind = predicate_kind::last_of_axis;
            }
        } else if (const double *number = compared_position(condition)) {
            made_of.counts = true;
            set_place(made_of, *number);
        }
        return made_of;
    }

    static void set_place(predicate &filter, double number) noexcept {
        constexpr double k_far = 4503599627370496.0; // no set has as many members
        filter.kind = predicate_kind::position;
        const bool whole = number >= 1 && number <= k_far &&
                           number == static_cast<double>(static_cast<std::uint64_t>(number));
        filter.place = whole ? static_cast<std::uint64_t>(number) : 0;
    }

    // The number of "position() = number".
    [[nodiscard]] const double *compared_position(const expression &condition) noexcept {
        if (condition.kind != expression_kind::comparison || condition.count != 2) {
            return nullptr;
        }
        const operand *sides = parts_.operands.data() + condition.first;
        const expression &left = at(sides[0].expression);
        const expression &right = at(sides[1].expression);
        const bool fits = sides[1].before == operation::equal &&
                          left.kind == expression_kind::call && left.called == function::position &&
                          right.kind == expression_kind::number;
        return fits ? &right.number : nullptr;
    }

    void take_predicates(std::size_t base, std::uint32_t &first, std::uint32_t &count) {
        first = index_of(parts_.predicates.size());
        count = index_of(predicates_.size() - base);
        parts_.predicates.append(predicates_.data() + base, count);
        while (predicates_.size() > base) {
            predicates_.pop_back();
        }
    }

    // --- primary expressions ---

    std::uint32_t parse_primary() {
        switch (token_.kind) {
        case token_kind::number: {
            expression number = made(expression_kind::number, value_type::number);
            number.number = number_of_text(token_.text);
            number.invariant = true;
            advance();
            return add(number);
        }
        case token_kind::literal: {
            expression literal = made(expression_kind::literal, value_type::text);
            literal.text = add_text(token_.text);
            literal.invariant = true;
            advance();
            return add(literal);
        }
        case token_kind::variable:
            return parse_variable();
        case token_kind::function_name:
            return parse_call();
        default: {
            advance();
            const std::uint32_t inner = parse_expression();
            require(token_kind::right_parenthesis, "\")\"");
            return inner;
        }
        }
    }

    std::uint32_t parse_variable() {
        const std::string_view name = token_.text.substr(1);
        for (std::size_t index = bindings_.variables.size(); index-- > 0;) {
            if (bindings_.variables[index].name == name) {
                expression variable = made(expression_kind::variable, value_type::text);
                variable.first = index_of(index);
                variable.invariant = true;
                advance();
                return add(variable);
            }
        }
        report_unknown(place(), "variable", name,
                       "Give it with the argument variables, as in array[array['name', 'value']].");
    }

    std::uint32_t parse_call() {
        const error_place start = place();
        const function_signature *called =
            token_.prefix.empty() ? find_function(token_.local) : nullptr;
        if (called == nullptr) {
            report_unknown(start, "function", token_.text,
                           "The functions are the 27 of XPath 1.0.");
        }
        advance();
        require(token_kind::left_parenthesis, "\"(\"");
        const std::size_t base = pending_.size();
        if (token_.kind != token_kind::right_parenthesis) {
            do {
                parse_argument(*called, pending_.size() == base);
            } while (take(token_kind::comma));
        }
        if (token_.kind != token_kind::right_parenthesis) {
            expected("\",\" or \")\"");
        }
        check_count(*called, start, pending_.size() - base);
        advance();
        return add_call(*called, base);
    }

    void parse_argument(const function_signature &called, bool first) {
        const error_place start = place();
        const std::uint32_t argument = parse_expression();
        if (first && called.takes_nodes && at(argument).type != value_type::nodes) {
            report_type(start, "the function takes a set of nodes", type_name(at(argument).type));
        }
        pending_.push_back({argument, operation::none});
    }

    static void check_count(const function_signature &called, const error_place &start,
                            std::size_t given) {
        constexpr std::string_view k_numbers[] = {"no argument", "1 argument", "2 arguments",
                                                  "3 arguments"};
        if (given >= called.least && (given <= called.most || called.most == 255)) {
            return;
        }
        std::string_view wanted = k_numbers[called.least];
        if (called.most == 255) {
            wanted = "at least 2 arguments";
        } else if (called.most != called.least) {
            wanted = called.least == 0 ? "at most 1 argument" : "2 or 3 arguments";
        }
        report_argument_count(start, called.name, wanted, given);
    }

    std::uint32_t add_call(const function_signature &called, std::size_t base) {
        const bool looks_around =
            called.looks_around && (pending_.size() == base || called.function == function::lang);
        expression call = made(expression_kind::call, called.result);
        call.called = called.function;
        call.uses_last = called.function == function::last;
        call.uses_position = call.uses_last || called.function == function::position;
        const bool moves = looks_around || call.uses_position;
        const std::uint32_t index = add_with_operands(call, base);
        if (moves) {
            at(index).invariant = false;
            for (std::uint32_t argument = 0; argument < at(index).count; ++argument) {
                keep_value(parts_.operands[at(index).first + argument].expression);
            }
        }
        return index;
    }

    std::string_view text_;
    const path_bindings &bindings_;
    lexer lexer_;
    token token_{};
    std::size_t tokens_ = 0;
    std::size_t depth_ = 0;
    std::size_t predicate_depth_ = 0;
    path_parts parts_;
    // Lists that are being read, the innermost at the end.
    growing_array<operand, 8> pending_;
    growing_array<step, 8> steps_;
    growing_array<predicate, 8> predicates_;
};

// Copies an array to `next`, aligned, and moves `next` behind it; only measures where `block` is
// null.
template <class Member>
const Member *place(char *block, std::size_t &next, const Member *members, std::size_t count) {
    next = (next + alignof(Member) - 1) / alignof(Member) * alignof(Member);
    const std::size_t start = next;
    next += count * sizeof(Member);
    if (block == nullptr) {
        return nullptr;
    }
    if (count != 0) {
        std::memcpy(block + start, members, count * sizeof(Member));
    }
    return reinterpret_cast<const Member *>(block + start);
}

std::size_t lay_out(path_parts &parts, char *block, path_code &code) {
    std::size_t next = sizeof(path_code);
    code.expressions = place(block, next, parts.expressions.data(), parts.expressions.size());
    code.operands = place(block, next, parts.operands.data(), parts.operands.size());
    code.predicates = place(block, next, parts.predicates.data(), parts.predicates.size());
    code.steps = place(block, next, parts.steps.data(), parts.steps.size());
    code.segments = place(block, next, parts.segments.data(), parts.segments.size());
    code.paths = place(block, next, parts.paths.data(), parts.paths.size());
    code.texts = place(block, next, parts.texts.data(), parts.texts.size());
    return next;
}

} // namespace

path_code *compile(std::string_view text, const path_bindings &bindings,
                   host::memory_context *context) {
    if (text.size() > k_longest_path) {
        report(reports::path_too_long);
    }
    compiler reader(text, bindings);
    path_code code{};
    code.root = reader.compile();
    path_parts &parts = reader.parts();
    code.expression_count = index_of(parts.expressions.size());
    code.path_count = index_of(parts.paths.size());
    code.step_count = index_of(parts.steps.size());
    code.memory_count = parts.memory_count;
    code.variable_count = index_of(bindings.variables.size());
    code.block_size = lay_out(parts, nullptr, code);
    auto *block = static_cast<char *>(host::mmgr_memory_alloc_huge(context, code.block_size));
    lay_out(parts, block, code);
    auto *made = reinterpret_cast<path_code *>(block);
    *made = code;
    return made;
}

} // namespace pkg_dbe_xml::paths
