// Paths that only step down by name, as rows and their columns mostly do: "/orders/order", "@id",
// "customer/name", ".". Such a path is read off the tree without an evaluation.
#pragma once

#include "growing_array.hpp"
#include "paths/path_code.hpp"
#include "tree/poll_counter.hpp"
#include "tree/typed_access.hpp"

#include <cstddef>

namespace pkg_dbe_xml::paths {

// Whether a path looks nowhere but at its context node and at what is below and before it: not at
// nodes behind it, nor at others that are not above it.
[[nodiscard]] bool looks_down(const path_code &code) noexcept;

class plain_steps {
  public:
    // The steps of a compiled path that starts there. False when it is of another form; it must
    // outlive this.
    [[nodiscard]] bool read(const path_code &code, path_start start = path_start::context) noexcept;
    // How many there are; none where the path is the context node itself.
    [[nodiscard]] std::size_t count() const noexcept { return count_; }
    [[nodiscard]] bool ends_in_attribute() const noexcept {
        return count_ != 0 && steps_[count_ - 1].attribute;
    }
    // Whether the steps lead to an element from `count` levels above it.
    [[nodiscard]] bool lead_to(const xmlNode *element) noexcept {
        for (std::size_t place = count_; place > 0; --place) {
            if (!matches(steps_[place - 1], element)) {
                return false;
            }
            element = element->parent;
        }
        return true;
    }

    // To be told before trees of another document are read.
    void forget_names() noexcept {
        for (std::size_t place = 0; place < count_; ++place) {
            steps_[place].same = steps_[place].other = nullptr;
        }
    }

    // Appends the nodes that the path gives from `context`, in document order. Throws when memory
    // runs out or the statement was asked to stop.
    template <std::size_t Room>
    void collect(xmlNodePtr context, growing_array<xmlNodePtr, Room> &found,
                 poll_counter &polls) noexcept(false) {
        if (count_ == 0) {
            found.push_back(context);
            return;
        }
        xmlNodePtr at[k_most_steps];
        std::size_t depth = 0;
        at[0] = first(0, context);
        for (;;) {
            xmlNodePtr const node = at[depth];
            if (node == nullptr) {
                if (depth == 0) {
                    return;
                }
                --depth;
                at[depth] = at[depth]->next;
                continue;
            }
            polls.step();
            if (!matches(steps_[depth], node)) {
                at[depth] = node->next;
            } else if (depth + 1 == count_) {
                found.push_back(node);
                at[depth] = node->next;
            } else {
                ++depth;
                at[depth] = first(depth, node);
            }
        }
    }

  private:
    static constexpr std::size_t k_most_steps = 8;

    // A name to step to. The same name has nearly always the same address: those found out last
    // are remembered, for a tree does not change while it is read.
    struct named_step {
        const char *name;
        bool attribute;
        const xmlChar *same;
        const xmlChar *other;
    };

    [[nodiscard]] xmlNodePtr first(std::size_t depth, xmlNodePtr node) const noexcept {
        return steps_[depth].attribute ? as_node(first_attribute(node)) : first_child(node);
    }
    [[nodiscard]] static bool matches(named_step &step, const xmlNode *node) noexcept {
        if (node->type != (step.attribute ? XML_ATTRIBUTE_NODE : XML_ELEMENT_NODE) ||
            node->name == step.other) {
            return false;
        }
        return (node->name == step.same || has_name(step, node)) && is_in_no_namespace(node);
    }
    [[nodiscard]] static bool has_name(named_step &step, const xmlNode *node) noexcept;
    [[nodiscard]] static bool is_in_no_namespace(const xmlNode *node) noexcept {
        return node->ns == nullptr || node->ns->href == nullptr || *node->ns->href == '\0';
    }

    named_step steps_[k_most_steps];
    std::size_t count_ = 0; // 0: the context node itself
};

} // namespace pkg_dbe_xml::paths
