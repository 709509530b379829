// Walking: the steps of a path, each with a cursor on its axis, taken in turn without recursion.

#include "host/error.hpp"
#include "paths/path_evaluator.hpp"
#include "paths/path_order.hpp"

#include <cstring>

namespace pkg_dbe_xml::paths {

namespace {

xmlNodePtr first_content(const xmlNode *node) noexcept {
    return has_content(node) ? node->children : nullptr;
}

} // namespace

// --- tests
// ----------------------------------------------------------------------------------------

bool evaluator::compare_name(const step &taken, test_memory &memory,
                             const xmlNode *node) const noexcept {
    const auto *wanted = reinterpret_cast<const xmlChar *>(code_.texts + taken.name.start);
    if (node->name == nullptr || xmlStrcmp(node->name, wanted) != 0) {
        memory.other_name = node->name;
        return false;
    }
    memory.name = node->name;
    return true;
}

bool evaluator::has_uri(const step &taken, test_memory &memory,
                        const xmlNode *node) const noexcept {
    const xmlNs *record = node->ns;
    if (record == nullptr || record == memory.other_record) {
        return false;
    }
    if (record == memory.record) {
        return true;
    }
    const auto *wanted = reinterpret_cast<const xmlChar *>(code_.texts + taken.uri.start);
    const bool same = xmlStrcmp(uri_or_empty(record), wanted) == 0;
    (same ? memory.record : memory.other_record) = record;
    return same;
}

bool evaluator::matches_other(const step &taken, test_memory &memory, const xmlNode *node) const {
    switch (taken.test) {
    case node_test::qualified_name:
        return node->type == principal_type(taken.axis) && has_name(taken, memory, node) &&
               has_uri(taken, memory, node);
    case node_test::in_namespace:
        return node->type == principal_type(taken.axis) && has_uri(taken, memory, node);
    case node_test::text:
        return is_text(node);
    case node_test::comment:
        return node->type == XML_COMMENT_NODE;
    case node_test::instruction:
        return node->type == XML_PI_NODE;
    default:
        return node->type == XML_PI_NODE && has_name(taken, memory, node);
    }
}

bool evaluator::matches_namespace(const step &taken, const xmlNode *node) const noexcept {
    const bool principal = taken.axis == axis::name_space;
    switch (taken.test) {
    case node_test::any_node:
        return true;
    case node_test::any_name:
        return principal;
    case node_test::name: {
        const xmlNs *record = as_namespace(node)->record;
        const std::string_view prefix = record == nullptr ? "xml" : view_of(record->prefix);
        return principal && prefix == code_.text(taken.name);
    }
    default:
        return false;
    }
}

xmlNodePtr evaluator::root() noexcept {
    if (root_ == nullptr) {
        root_ = is_namespace(context_) ? as_namespace(context_)->element : context_;
        while (root_->parent != nullptr) {
            root_ = root_->parent;
        }
    }
    return root_;
}

// --- going on
// -------------------------------------------------------------------------------------

namespace {

// Nodes looked at before they are counted: the counter is not for inner loops.
constexpr std::size_t k_uncounted = 512;

// Calls for siblings before the walk along them comes there. They come from a parser that allocates
// them in turn, so they stand at nearly even distances, and where blanks stand between elements
// every other one does. In 50 MB, the million children of the root take 12 ms instead of 50 to 55:
// the processor does the same by itself, or does not, by where the linker has put the loop.
class sibling_forecast {
  public:
    void come_to(const xmlNode *node) noexcept {
        const auto here = reinterpret_cast<std::uintptr_t>(node);
        if (++seen_ > k_short_list) {
            const std::uintptr_t there = here + k_pairs_ahead * (here - two_before_);
            __builtin_prefetch(reinterpret_cast<const void *>(there));
        }
        two_before_ = before_;
        before_ = here;
    }

  private:
    static constexpr std::size_t k_short_list = 8;
    static constexpr std::uintptr_t k_pairs_ahead = 16;
    std::uintptr_t before_ = 0;
    std::uintptr_t two_before_ = 0;
    std::size_t seen_ = 0;
};

// Calls for what stands below the next ones of `origins`, one level at a time: a node can be
// called for when the one that points to it has come. Origins are no namespaces. In 50 MB,
// `/r/item/price` takes half the time. Always inline: gcc 12 takes a function that only calls for
// memory to have no effect, and leaves it out.
[[gnu::always_inline]] inline void forecast_children(const node_array &origins,
                                                     std::size_t index) noexcept {
    if (index + 24 >= origins.size) {
        return;
    }
    __builtin_prefetch(&origins.members[index + 24]->children);
    if (const xmlNode *const first = origins.members[index + 16]->children) {
        __builtin_prefetch(&first->name);
        __builtin_prefetch(&first->next);
    }
    const xmlNode *const first = origins.members[index + 8]->children;
    if (first != nullptr && first->next != nullptr) {
        __builtin_prefetch(&first->next->name);
        __builtin_prefetch(&first->next->next);
    }
    const xmlNode *const earlier = origins.members[index + 4]->children;
    if (earlier != nullptr && earlier->next != nullptr && earlier->next->next != nullptr) {
        __builtin_prefetch(&earlier->next->next->next);
    }
}

} // namespace

template <xmlNodePtr xmlNode::*Next, class Accept>
xmlNodePtr node_stream::along_links(axis_cursor &cursor, const xmlNode *end, Accept accept) {
    xmlNodePtr node = cursor.current;
    std::size_t looked = 0;
    xmlNodePtr found = nullptr;
    while (node != nullptr && node != end) {
        xmlNodePtr const here = node;
        node = node->*Next;
        if (++looked == k_uncounted) [[unlikely]] {
            run_.spend(looked);
            looked = 0;
        }
        if (accept(here)) {
            found = here;
            break;
        }
    }
    run_.spend(looked);
    cursor.current = node;
    return found;
}

template <class Accept> xmlNodePtr node_stream::along_siblings(axis_cursor &cursor, Accept accept) {
    const axis direction = cursor.taken->axis;
    const bool forwards = (direction == axis::preceding_sibling) == cursor.begun;
    const xmlNode *end = cursor.begun && direction != axis::child ? cursor.origin : nullptr;
    return forwards ? along_links<&xmlNode::next>(cursor, end, accept)
                    : along_links<&xmlNode::prev>(cursor, end, accept);
}

// The origin, where it counts, and what stands below it.
template <class Accept> xmlNodePtr node_stream::below(axis_cursor &cursor, Accept accept) {
    xmlNodePtr node = cursor.current;
    if (!cursor.begun) {
        cursor.begun = true;
        run_.spend(1);
        if (is_namespace(node)) {
            cursor.exhausted = true;
            return run_.matches_namespace(*cursor.taken, node) ? node : nullptr;
        }
        if (accept(node)) {
            return node;
        }
    }
    if (cursor.level == 0 && stands_beside(node)) {
        cursor.exhausted = true;
        return nullptr;
    }
    std::size_t level = cursor.level;
    std::size_t looked = 0;
    bool skip = cursor.skip;
    cursor.skip = false;
    for (;;) {
        xmlNodePtr const child =
            skip || !(is_element(node) || level == 0) ? nullptr : first_content(node);
        skip = false;
        if (child != nullptr) {
            node = child;
            ++level;
        } else {
            while (level != 0 && node->next == nullptr) {
                node = node->parent;
                --level;
            }
            if (level == 0) {
                run_.spend(looked);
                cursor.exhausted = true;
                cursor.fence = 0;
                return nullptr;
            }
            node = node->next;
            cursor.fence = level < cursor.fence ? 0 : cursor.fence;
        }
        if (++looked == k_uncounted) [[unlikely]] {
            run_.spend(looked);
            looked = 0;
        }
        if (accept(node)) {
            run_.spend(looked);
            cursor.current = node;
            cursor.level = level;
            return node;
        }
    }
}

template <class Accept> xmlNodePtr node_stream::along(axis_cursor &cursor, Accept accept) {
    const axis direction = cursor.taken->axis;
    return direction == axis::descendant || direction == axis::descendant_or_self
               ? below(cursor, accept)
               : along_siblings(cursor, accept);
}

template <class Take> xmlNodePtr node_stream::advance(axis_cursor &cursor, Take take) {
    const step &taken = *cursor.taken;
    test_memory &memory = *cursor.test;
    evaluator &run = run_;
    switch (taken.axis) {
    case axis::child:
    case axis::attribute:
    case axis::following_sibling:
    case axis::preceding_sibling:
    case axis::descendant:
    case axis::descendant_or_self:
        break;
    default:
        for (;;) {
            xmlNodePtr const node = advance_slowly(cursor);
            if (node == nullptr || take(node)) {
                return node;
            }
        }
    }
    const xmlElementType principal = evaluator::principal_type(taken.axis);
    if (taken.alternative == k_no_alternative && taken.test == node_test::name) {
        return along(cursor, [&, principal](xmlNodePtr node) {
            return node->type == principal && run.has_plain_name(taken, memory, node) && take(node);
        });
    }
    if (taken.alternative == k_no_alternative && taken.test == node_test::any_name) {
        return along(cursor, [&, principal](xmlNodePtr node) {
            return node->type == principal && take(node);
        });
    }
    return along(cursor, [&](xmlNodePtr node) {
        return run.matches_any(taken, memory, node) && take(node);
    });
}

xmlNodePtr node_stream::advance_slowly(axis_cursor &cursor) {
    switch (cursor.taken->axis) {
    case axis::following:
        return advance_following(cursor);
    case axis::preceding:
        return advance_preceding(cursor);
    case axis::name_space:
        while (cursor.next_gathered < cursor.gathered.size) {
            xmlNodePtr const node = cursor.gathered.members[cursor.next_gathered++];
            if (run_.matches_namespace(*cursor.taken, node)) {
                return node;
            }
        }
        return nullptr;
    default:
        return advance_up(cursor);
    }
}

// --- opening
// --------------------------------------------------------------------------------------

node_stream::node_stream(evaluator &run, const path &taken, const context_node &at)
    : run_(run), single_(at.node) {
    if (taken.start == path_start::root) {
        single_ = run.root();
    } else if (taken.start == path_start::expression) {
        from_ = run.nodes(taken.expression, at);
        single_ = nullptr;
        order_ = flat_order_ = node_order::ordered;
    }
    for (std::uint32_t index = 0; index + 1 < taken.segment_count; ++index) {
        run_segment(run.code().segments[taken.first_segment + index]);
    }
    if (taken.segment_count != 0) {
        const segment &last = run.code().segments[taken.first_segment + taken.segment_count - 1];
        if (last.merged) {
            run_segment(last);
        } else {
            open_segment(last);
        }
    }
}

node_stream::node_stream(evaluator &run, const step &taken, xmlNodePtr origin)
    : run_(run), single_(origin), cursors_(run.memory().take_array<axis_cursor>(1)), count_(1) {
    open_cursor(cursors_[0], taken);
    order_ = flat_order_ = node_order::unknown;
}

void node_stream::open_cursor(axis_cursor &cursor, const step &taken) {
    cursor.taken = &taken;
    cursor.test = &run_.memory_of(taken);
    cursor.gathered = {};
    cursor.positions = nullptr;
    if (taken.positional) {
        cursor.positions = run_.memory().take_array<std::uint64_t>(taken.predicate_count);
    }
}

void node_stream::open_segment(const segment &part) {
    count_ = part.step_count;
    depth_ = 0;
    nested_ = false;
    order_ = part.order;
    flat_order_ = part.flat_order;
    cursors_ = run_.memory().take_array<axis_cursor>(count_);
    for (std::size_t index = 0; index < count_; ++index) {
        open_cursor(cursors_[index], run_.code().steps[part.first_step + index]);
    }
}

namespace {

// Whether an axis gives what comes before a node, nearest first.
bool goes_backwards(axis direction) noexcept {
    return direction == axis::ancestor || direction == axis::ancestor_or_self ||
           direction == axis::preceding || direction == axis::preceding_sibling;
}

} // namespace

// Takes the steps and makes a set in order of what they give, which the next ones start from.
void node_stream::run_segment(const segment &part) {
    if (part.merged) {
        if (single_ != nullptr) {
            from_ = {};
            from_.push(run_.memory(), single_);
        }
        const step &taken = run_.code().steps[part.first_step];
        const bool from_one = from_.size == 1;
        from_ = run_.merge_step(taken, from_);
        if (!from_one || goes_backwards(taken.axis)) {
            run_.put_in_order(from_, from_one || part.order == node_order::reversed);
        }
    } else {
        open_segment(part);
        from_ = collect_rest();
        if (order() > node_order::ordered) {
            run_.put_in_order(from_, order() == node_order::reversed);
        }
    }
    count_ = 0;
    single_ = nullptr;
    next_from_ = 0;
    nested_ = false;
    order_ = flat_order_ = node_order::ordered;
}

// Whether the last step can be taken to its end in one go: it has no predicates.
bool node_stream::can_drain() const noexcept {
    if (depth_ == 0 || depth_ != count_) {
        return false;
    }
    const axis_cursor &last = cursors_[count_ - 1];
    return last.taken->predicate_count == 0 && !last.taken->outermost &&
           last.taken->axis != axis::parent && !last.from_gathered && !last.exhausted;
}

// Whether the steps only go down from child to child, each letting through all of its name.
bool node_stream::goes_straight_down() const noexcept {
    if (depth_ != 0 || count_ < 2) {
        return false;
    }
    for (std::size_t index = 0; index < count_; ++index) {
        const step &taken = *cursors_[index].taken;
        if ((taken.axis != axis::child && taken.axis != axis::attribute) ||
            taken.predicate_count != 0) {
            return false;
        }
    }
    return true;
}

// What lets `accept` through of the children or attributes of `origin`, in order.
template <class Accept, class Take>
void node_stream::take_down(const step &taken, const xmlNode *origin, Accept accept, Take take) {
    xmlNodePtr node = nullptr;
    if (!stands_beside(origin)) {
        node = taken.axis == axis::child ? first_content(origin)
                                         : pkg_dbe_xml::as_node(first_attribute(origin));
    }
    std::size_t looked = 1;
    sibling_forecast forecast;
    for (; node != nullptr; node = node->next) {
        forecast.come_to(node);
        if (++looked == k_uncounted) [[unlikely]] {
            run_.spend(looked);
            looked = 0;
        }
        if (accept(node)) {
            take(node);
        }
    }
    run_.spend(looked);
}

// What a step down gives from each of `origins`.
template <class Take>
void node_stream::take_down_from(const step &taken, const node_array &origins, Take take) {
    test_memory &memory = run_.memory_of(taken);
    evaluator &run = run_;
    const bool by_name = taken.alternative == k_no_alternative && taken.test == node_test::name;
    const xmlElementType principal = evaluator::principal_type(taken.axis);
    const bool are_in_tree = &taken != cursors_[0].taken; // no namespaces: a step down gave them
    for (std::size_t index = 0; index < origins.size; ++index) {
        if (are_in_tree) {
            forecast_children(origins, index);
        }
        if (by_name) {
            take_down(
                taken, origins.members[index],
                [&run, &taken, &memory, principal](xmlNodePtr node) {
                    return node->type == principal && run.has_plain_name(taken, memory, node);
                },
                take);
        } else {
            take_down(
                taken, origins.members[index],
                [&](xmlNodePtr node) { return run.matches_any(taken, memory, node); }, take);
        }
    }
}

// Takes all steps but the last, one after the other: what it gives is where the last one starts.
// On a tree larger than the caches that takes a third of the time of taking them in turn, since
// the processor reads on below one node while it waits for another.
node_array node_stream::take_all_but_last() {
    node_array found = from_;
    if (single_ != nullptr) {
        found = {};
        found.push(run_.memory(), single_);
    }
    for (std::size_t index = 0; index + 1 < count_; ++index) {
        const node_array origins = found;
        found = {};
        take_down_from(*cursors_[index].taken, origins,
                       [&](xmlNodePtr node) { found.push(run_.memory(), node); });
    }
    return found;
}

std::size_t node_stream::count_rest() {
    std::size_t found = 0;
    if (goes_straight_down()) {
        const node_array origins = take_all_but_last();
        take_down_from(*cursors_[count_ - 1].taken, origins, [&](xmlNodePtr) { ++found; });
        return found;
    }
    while (next() != nullptr) {
        ++found;
        if (can_drain()) {
            static_cast<void>(advance(cursors_[count_ - 1], [&](xmlNodePtr) {
                ++found;
                return false;
            }));
        }
    }
    return found;
}

node_array node_stream::collect_rest() {
    node_array collected;
    if (goes_straight_down()) {
        const node_array origins = take_all_but_last();
        take_down_from(*cursors_[count_ - 1].taken, origins,
                       [&](xmlNodePtr node) { collected.push(run_.memory(), node); });
        return collected;
    }
    while (xmlNodePtr const node = next()) {
        if (can_drain()) {
            collected.push(run_.memory(), node);
            static_cast<void>(advance(cursors_[count_ - 1], [&](xmlNodePtr more) {
                collected.push(run_.memory(), more);
                return false;
            }));
            --depth_; // the last step has no more from there
            continue;
        }
        if (collected.size != 0 && collected.members[collected.size - 1] == node) {
            continue; // the parent of siblings, say
        }
        collected.push(run_.memory(), node);
    }
    return collected;
}

// The first step to descendants, if all steps stay in the tree below it.
const axis_cursor *node_stream::first_descent() const noexcept {
    const axis_cursor *found = nullptr;
    for (std::size_t index = 0; index < count_; ++index) {
        switch (cursors_[index].taken->axis) {
        case axis::descendant:
        case axis::descendant_or_self:
            found = found == nullptr ? &cursors_[index] : found;
            break;
        case axis::child:
        case axis::attribute:
        case axis::self:
            break;
        default:
            return nullptr;
        }
    }
    return found;
}

// What such steps find from a node does not come before the node. So the search ends where the step
// to descendants has come behind what was found.
node_array node_stream::collect_for_first() {
    descent_ = from_.size == 0 ? first_descent() : nullptr;
    if (descent_ == nullptr) {
        return collect_rest();
    }
    node_array collected;
    while (xmlNodePtr const node = next()) {
        collected.push(run_.memory(), node);
        bound_ = bound_ == nullptr ? node : bound_;
    }
    return collected;
}

bool node_stream::is_past_bound(const axis_cursor &cursor, const xmlNode *node) {
    if (bound_ == nullptr || &cursor != descent_) {
        return false;
    }
    std::size_t budget = 64;
    const relation found = compare_order(bound_, node, budget);
    run_.spend(64 - budget);
    return found == relation::before || found == relation::same;
}

// --- the stream
// -----------------------------------------------------------------------------------

xmlNodePtr node_stream::next_origin() noexcept {
    if (single_ != nullptr) {
        xmlNodePtr const only = single_;
        single_ = nullptr;
        return only;
    }
    return next_from_ < from_.size ? from_.members[next_from_++] : nullptr;
}

xmlNodePtr node_stream::next() {
    for (;;) {
        if (depth_ == 0) {
            xmlNodePtr const origin = next_origin();
            if (origin == nullptr || count_ == 0) {
                return origin;
            }
            start(cursors_[0], origin);
            depth_ = 1;
        }
        axis_cursor &cursor = cursors_[depth_ - 1];
        xmlNodePtr const node = candidate(cursor);
        if (node == nullptr) {
            --depth_;
        } else if (accepts(cursor, node)) {
            if (is_past_bound(cursor, node)) {
                return nullptr;
            }
            note_emission(cursor);
            if (depth_ == count_) {
                return node;
            }
            start(cursors_[depth_++], node);
        }
    }
}

// A node of the axis that the test lets through; null when there is none left.
xmlNodePtr node_stream::candidate(axis_cursor &cursor) {
    if (cursor.from_gathered) {
        return cursor.next_gathered < cursor.gathered.size
                   ? cursor.gathered.members[cursor.next_gathered++]
                   : nullptr;
    }
    if (cursor.exhausted) {
        return nullptr;
    }
    if (cursor.taken->jumps && cursor.positions[0] == 0) {
        const std::uint64_t place = run_.code().predicates[cursor.taken->first_predicate].place;
        std::uint64_t left = place;
        cursor.positions[0] = place - 1;
        return advance(cursor, [&left](xmlNodePtr) { return --left == 0; });
    }
    return advance(cursor, [](xmlNodePtr) { return true; });
}

// Whether the predicates let a candidate through. Of collected candidates they did so before.
bool node_stream::accepts(axis_cursor &cursor, xmlNodePtr node) {
    const step &taken = *cursor.taken;
    if (taken.predicate_count == 0 || taken.buffered) {
        return true;
    }
    for (std::uint32_t index = 0; index < taken.predicate_count; ++index) {
        const predicate &filter = run_.code().predicates[taken.first_predicate + index];
        std::uint64_t position = 0;
        if (cursor.positions != nullptr) {
            position = ++cursor.positions[index];
        }
        if (filter.kind == predicate_kind::position) {
            if (index == 0 && position >= filter.place) {
                cursor.exhausted = true;
            }
            if (position != filter.place) {
                return false;
            }
        } else if (filter.kind == predicate_kind::last_of_axis) {
            cursor.exhausted = true; // the axis is read from its other end
        } else if (!run_.passes(filter, {node, position, 0})) {
            return false;
        }
    }
    return true;
}

// Notes whether members of a walk below a node stand inside each other.
void node_stream::note_emission(axis_cursor &cursor) noexcept {
    const axis direction = cursor.taken->axis;
    if (direction != axis::descendant && direction != axis::descendant_or_self) {
        return;
    }
    if (cursor.taken->outermost) {
        cursor.skip = true;
        if (cursor.level == 0) {
            cursor.exhausted = true;
        }
    } else if (cursor.fence != 0) {
        nested_ = true;
    } else {
        cursor.fence = cursor.level + 1;
    }
}

bool evaluator::passes(const predicate &filter, const context_node &at) {
    if (filter.kind == predicate_kind::position) {
        return at.position == filter.place;
    }
    const memory_scope scope(memory_);
    if (filter.kind == predicate_kind::truth) {
        return truth(filter.expression, at);
    }
    return number(filter.expression, at) == static_cast<double>(at.position);
}

// --- beginning an axis
// ----------------------------------------------------------------------------

void node_stream::start(axis_cursor &cursor, xmlNodePtr origin) {
    const step &taken = *cursor.taken;
    cursor.origin = origin;
    cursor.current = nullptr;
    cursor.level = 0;
    cursor.fence = 0;
    cursor.exhausted = false;
    cursor.begun = false;
    cursor.skip = false;
    cursor.from_gathered = false;
    if (cursor.positions != nullptr) {
        std::memset(cursor.positions, 0, taken.predicate_count * sizeof(std::uint64_t));
    }
    start_axis(cursor);
    if (taken.buffered) {
        gather(cursor);
    } else if (taken.positional &&
               run_.code().predicates[taken.first_predicate].kind == predicate_kind::last_of_axis) {
        start_at_other_end(cursor);
    }
}

void node_stream::start_axis(axis_cursor &cursor) {
    const xmlNode *origin = cursor.origin;
    const bool beside = stands_beside(origin);
    switch (cursor.taken->axis) {
    case axis::child:
        cursor.current = beside ? nullptr : first_content(origin);
        break;
    case axis::attribute:
        cursor.current = beside ? nullptr : pkg_dbe_xml::as_node(first_attribute(origin));
        break;
    case axis::following_sibling:
        cursor.current = beside ? nullptr : origin->next;
        break;
    case axis::preceding_sibling:
        cursor.current = beside ? nullptr : origin->prev;
        break;
    case axis::parent:
    case axis::ancestor:
        cursor.current = parent_of(origin);
        break;
    case axis::self:
    case axis::ancestor_or_self:
        cursor.current = cursor.origin;
        break;
    case axis::descendant:
        cursor.current = cursor.origin;
        cursor.begun = true;
        cursor.exhausted = beside;
        break;
    case axis::descendant_or_self:
        cursor.current = cursor.origin;
        break;
    case axis::following:
        cursor.current = cursor.origin;
        break;
    case axis::preceding:
        cursor.current = beside ? parent_of(origin) : cursor.origin;
        cursor.exhausted = cursor.current == nullptr;
        break;
    case axis::name_space:
        cursor.gathered.size = 0;
        cursor.next_gathered = 0;
        if (!beside && is_element(origin)) {
            run_.add_namespaces(cursor.gathered, cursor.origin);
        }
        break;
    }
}

// For [last()]: children from the last one, siblings from the far end.
void node_stream::start_at_other_end(axis_cursor &cursor) {
    const xmlNode *origin = cursor.origin;
    cursor.begun = true; // the cursor goes the other way
    if (stands_beside(origin)) {
        return;
    }
    if (cursor.taken->axis == axis::child) {
        cursor.current = has_content(origin) ? origin->last : nullptr;
    } else if (origin->parent == nullptr) {
        cursor.current = nullptr;
    } else if (cursor.taken->axis == axis::following_sibling) {
        cursor.current = origin->parent->last;
    } else {
        cursor.current = origin->parent->children;
    }
}

// Collects the candidates and lets the predicates choose, each with the size of what is left.
void node_stream::gather(axis_cursor &cursor) {
    node_array found = cursor.gathered;
    if (cursor.taken->axis == axis::name_space) {
        found = {}; // the cursor reads the other
    } else {
        found.size = 0;
    }
    while (!cursor.exhausted) {
        xmlNodePtr const node = advance(cursor, [](xmlNodePtr) { return true; });
        if (node == nullptr) {
            break;
        }
        found.push(run_.memory(), node);
    }
    for (std::uint32_t index = 0; index < cursor.taken->predicate_count; ++index) {
        run_.filter_set(found, run_.code().predicates[cursor.taken->first_predicate + index]);
    }
    cursor.gathered = found;
    cursor.next_gathered = 0;
    cursor.from_gathered = true;
}

// --- the other axes
// --------------------------------------------------------------------------------

// Self, parent and ancestors.
xmlNodePtr node_stream::advance_up(axis_cursor &cursor) {
    const step &taken = *cursor.taken;
    const bool once = taken.axis == axis::self || taken.axis == axis::parent;
    while (xmlNodePtr const node = cursor.current) {
        cursor.current = once ? nullptr : parent_of(node);
        run_.spend(1);
        if (is_namespace(node) ? run_.matches_namespace(taken, node)
                               : run_.matches_any(taken, *cursor.test, node)) {
            return node;
        }
    }
    return nullptr;
}

// What begins behind the end of the origin.
xmlNodePtr node_stream::advance_following(axis_cursor &cursor) {
    xmlNodePtr node = cursor.current;
    bool below_too = cursor.begun;
    if (!cursor.begun) {
        cursor.begun = true;
        if (stands_beside(node)) { // the children of its element follow it
            node = parent_of(node);
            below_too = node != nullptr;
        }
    }
    while (node != nullptr) {
        xmlNodePtr const below = below_too ? first_content(node) : nullptr;
        below_too = true;
        if (below != nullptr) {
            node = below;
        } else {
            while (node != nullptr && (node->next == nullptr || is_attribute(node))) {
                node = node->parent;
            }
            node = node == nullptr ? nullptr : node->next;
        }
        run_.spend(1);
        if (node != nullptr && run_.matches_any(*cursor.taken, *cursor.test, node)) {
            cursor.current = node;
            return node;
        }
    }
    cursor.exhausted = true;
    return nullptr;
}

// What ends before the origin begins, backwards: all but the ancestors.
xmlNodePtr node_stream::advance_preceding(axis_cursor &cursor) {
    xmlNodePtr node = cursor.current;
    for (;;) {
        bool is_ancestor = false;
        if (node->prev != nullptr && !is_attribute(node)) {
            node = node->prev;
            while (has_content(node) && node->last != nullptr) {
                node = node->last;
                ++cursor.level;
                run_.spend(1);
            }
        } else {
            is_ancestor = cursor.level == 0;
            cursor.level -= is_ancestor ? 0 : 1;
            node = node->parent;
        }
        if (node == nullptr) {
            cursor.exhausted = true;
            return nullptr;
        }
        run_.spend(1);
        if (!is_ancestor && run_.matches_any(*cursor.taken, *cursor.test, node)) {
            cursor.current = node;
            return node;
        }
    }
}

// --- any expression
// -------------------------------------------------------------------------------

node_source::node_source(evaluator &run, std::uint32_t index, const context_node &at) {
    const expression &whole = run.at_index(index);
    if (whole.kind == expression_kind::path && whole.memory == k_no_memory) {
        stream_.emplace(run, run.code().paths[whole.first], at);
    } else {
        set_ = run.nodes(index, at);
    }
}

xmlNodePtr node_source::next() {
    if (stream_.has_value()) {
        return stream_->next();
    }
    return next_ < set_.size ? set_.members[next_++] : nullptr;
}

} // namespace pkg_dbe_xml::paths
