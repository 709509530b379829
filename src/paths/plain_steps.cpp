// Paths that only step down by name.
#include "paths/plain_steps.hpp"

#include <algorithm>
#include <cstring>

namespace pkg_dbe_xml::paths {

bool looks_down(const path_code &code) noexcept {
    const auto goes_down = [](const step &taken) {
        return taken.axis == axis::child || taken.axis == axis::attribute ||
               taken.axis == axis::self || taken.axis == axis::descendant ||
               taken.axis == axis::descendant_or_self;
    };
    const auto starts_here = [](const path &steps) { return steps.start != path_start::root; };
    const auto asks_the_document = [](const expression &part) {
        return part.kind == expression_kind::call && part.called == function::id;
    };
    return std::all_of(code.steps, code.steps + code.step_count, goes_down) &&
           std::all_of(code.paths, code.paths + code.path_count, starts_here) &&
           std::none_of(code.expressions, code.expressions + code.expression_count,
                        asks_the_document);
}

bool plain_steps::read(const path_code &code, path_start start) noexcept {
    count_ = 0;
    const expression &whole = code.expressions[code.root];
    if (whole.kind != expression_kind::path || whole.predicate_count != 0) {
        return false;
    }
    const path &steps = code.paths[whole.first];
    if (steps.start != start || steps.step_count == 0 || steps.step_count > k_most_steps) {
        return false;
    }
    const step *const first = code.steps + steps.first_step;
    if (steps.step_count == 1 && first->axis == axis::self && first->test == node_test::any_node &&
        first->predicate_count == 0 && first->alternative == k_no_alternative) {
        return true;
    }
    for (std::uint32_t place = 0; place < steps.step_count; ++place) {
        const step &taken = first[place];
        const bool is_last = place + 1 == steps.step_count;
        const bool goes_down =
            taken.axis == axis::child || (is_last && taken.axis == axis::attribute);
        if (!goes_down || taken.test != node_test::name || taken.predicate_count != 0 ||
            taken.alternative != k_no_alternative) {
            return false;
        }
        steps_[place] = {code.texts + taken.name.start, taken.axis == axis::attribute, nullptr,
                         nullptr};
    }
    count_ = steps.step_count;
    return true;
}

bool plain_steps::has_name(named_step &step, const xmlNode *node) noexcept {
    const auto *const name = reinterpret_cast<const char *>(node->name);
    if (name != nullptr && std::strcmp(name, step.name) == 0) {
        step.same = node->name;
        return true;
    }
    step.other = node->name;
    return false;
}

} // namespace pkg_dbe_xml::paths
