// The order of work: which steps are joined, which are taken node by node, and where a set has to
// be made of what came so far.
//
// Taken node by node, steps look at nothing twice only if what they start from is free of
// duplicates, and for steps that reach below or beside a node free of nesting too. Where that is
// not so, a set is made and put in order, and a step to descendants, siblings or ancestors is taken
// for the whole set at once, so that its work is linear. A predicate that counts positions needs
// each node by itself.

#include "paths/path_compiler.hpp"

namespace pkg_dbe_xml::paths {

namespace {

bool goes_down(axis direction) noexcept {
    return direction == axis::descendant || direction == axis::descendant_or_self;
}

bool plain_descent(const step &taken) noexcept {
    return taken.axis == axis::descendant_or_self && taken.test == node_test::any_node &&
           taken.predicate_count == 0;
}

// The order of what comes from one node.
node_order order_from_one(axis direction) noexcept {
    switch (direction) {
    case axis::self:
    case axis::parent:
        return node_order::single;
    case axis::child:
    case axis::attribute:
    case axis::name_space:
    case axis::following_sibling:
        return node_order::flat;
    case axis::descendant:
    case axis::descendant_or_self:
    case axis::following:
        return node_order::ordered;
    default:
        return node_order::reversed;
    }
}

// The order of what comes from several nodes, one after the other; `unknown` where duplicates may
// come.
node_order order_from_many(node_order from, axis direction) noexcept {
    const bool flat = from == node_order::flat;
    const bool ordered = flat || from == node_order::ordered;
    switch (direction) {
    case axis::self:
        return from;
    case axis::child:
        return flat ? node_order::flat : node_order::distinct;
    case axis::attribute:
    case axis::name_space:
        return ordered ? node_order::flat : node_order::distinct;
    case axis::descendant:
    case axis::descendant_or_self:
        return flat ? node_order::ordered : node_order::unknown;
    default:
        return node_order::unknown;
    }
}

node_order order_after(node_order from, axis direction) noexcept {
    return from == node_order::single ? order_from_one(direction)
                                      : order_from_many(from, direction);
}

// The same, told that a step to descendants gives nodes that are not nested.
node_order flat_order_after(node_order from, axis direction) noexcept {
    if (goes_down(direction) && (from == node_order::single || from == node_order::flat)) {
        return node_order::flat;
    }
    return order_after(from, direction);
}

// Whether taking the step node by node may look at the same nodes again and again.
bool repeats(node_order from, const step &taken) noexcept {
    switch (taken.axis) {
    case axis::self:
    case axis::child:
    case axis::attribute:
    case axis::name_space:
    case axis::parent:
        return from == node_order::unknown;
    case axis::descendant:
    case axis::descendant_or_self:
        return from != node_order::single && from != node_order::flat;
    default:
        return from != node_order::single;
    }
}

// Makes the step to descendants in front of `taken` skip what is nested, if it can: true then.
bool leave_out_nested(step *before, node_order from_before, const step &taken) noexcept {
    if (before == nullptr || !goes_down(taken.axis) || taken.positional ||
        !goes_down(before->axis) || before->positional ||
        (from_before != node_order::single && from_before != node_order::flat)) {
        return false;
    }
    before->outermost = true;
    return true;
}

class planner {
  public:
    planner(path_parts &parts, path &planned) noexcept : parts_(parts), path_(planned) {}

    void plan() {
        path_.first_segment = static_cast<std::uint32_t>(parts_.segments.size());
        begin(path_.first_step,
              path_.start == path_start::expression ? node_order::ordered : node_order::single);
        for (std::uint32_t index = 0; index < path_.step_count; ++index) {
            add(path_.first_step + index);
        }
        end();
        path_.segment_count =
            static_cast<std::uint32_t>(parts_.segments.size()) - path_.first_segment;
    }

  private:
    void begin(std::uint32_t first, node_order order) noexcept {
        open_ = {first, 0, false, order, order};
        before_ = node_order::unknown;
    }
    void end() {
        if (open_.step_count != 0) {
            parts_.segments.push_back(open_);
        }
    }

    void add(std::uint32_t index) {
        step &taken = parts_.steps[index];
        step *previous = open_.step_count == 0 ? nullptr : &parts_.steps[index - 1];
        if (leave_out_nested(previous, before_, taken)) {
            open_.order = open_.flat_order = node_order::flat;
        }
        if (repeats(open_.order, taken)) {
            if (open_.order == node_order::unknown && open_.step_count != 0) {
                end();
                begin(index, node_order::ordered);
            }
            if (repeats(open_.order, taken) && !taken.positional) {
                merge(index, taken);
                return;
            }
        }
        before_ = open_.order;
        open_.order = order_after(open_.order, taken.axis);
        open_.flat_order = flat_order_after(open_.flat_order, taken.axis);
        ++open_.step_count;
    }

    // A segment of its own for a step that is taken for a whole set.
    void merge(std::uint32_t index, const step &taken) {
        end();
        const node_order order = goes_down(taken.axis) || taken.axis == axis::following
                                     ? node_order::ordered
                                 : taken.axis == axis::preceding ? node_order::reversed
                                                                 : node_order::distinct;
        open_ = {index, 1, true, order, order};
        end();
        begin(index + 1, node_order::ordered);
    }

    path_parts &parts_;
    path &path_;
    segment open_{};
    node_order before_ = node_order::unknown; // what the last step of open_ started from
};

} // namespace

std::size_t fuse_steps(step *steps, std::size_t count) noexcept {
    std::size_t kept = 0;
    for (std::size_t index = 0; index < count; ++index) {
        step taken = steps[index];
        if (kept != 0 && plain_descent(steps[kept - 1])) {
            step &before = steps[kept - 1];
            const bool replaces =
                !taken.positional &&
                (taken.axis == axis::child || goes_down(taken.axis) || taken.axis == axis::self);
            if (replaces) {
                taken.axis = taken.axis == axis::child || taken.axis == axis::descendant
                                 ? axis::descendant
                                 : axis::descendant_or_self;
                before = taken;
                continue;
            }
            if (taken.axis == axis::attribute || taken.axis == axis::name_space) {
                before.test = node_test::any_name; // only elements have any
            }
        }
        steps[kept++] = taken;
    }
    return kept;
}

void plan_segments(path_parts &parts, path &planned) { planner(parts, planned).plan(); }

} // namespace pkg_dbe_xml::paths
