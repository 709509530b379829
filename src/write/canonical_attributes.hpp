// The attributes of an element in canonical form: in their order, and for the topmost element with
// those that it has from elements above it.
#pragma once

#include "growing_array.hpp"
#include "tree/base_join.hpp"
#include "tree/poll_counter.hpp"
#include "write/canonical_writer.hpp"

#include <libxml/tree.h>

#include <string_view>

namespace pkg_dbe_xml {

class canonical_attributes {
  public:
    // Those of an element, in the order of their namespaces and names. Reports unwritable_node for
    // two of one name.
    void collect(const xmlNode *element, poll_counter &poll);
    // The same for the topmost element of what is written, in a form that is not exclusive.
    void collect_topmost(const xmlNode *element, canonical_form form, poll_counter &poll);

    [[nodiscard]] const xmlAttr *const *begin() const noexcept { return attributes_.begin(); }
    [[nodiscard]] const xmlAttr *const *end() const noexcept { return attributes_.end(); }
    // The value of an attribute that is not to be written with its own; null for all others.
    [[nodiscard]] const std::string_view *value_instead(const xmlAttr *attribute) const noexcept {
        return attribute == joined_attribute_ ? &joined_value_ : nullptr;
    }

  private:
    void take(const xmlNode *element, poll_counter &poll);
    void inherit(const xmlNode *element, canonical_form form, poll_counter &poll);
    void join_base(const xmlNode *element, poll_counter &poll);
    void sort(const xmlNode *element, poll_counter &poll);

    growing_array<const xmlAttr *, 32> attributes_;
    const xmlAttr *joined_attribute_ = nullptr;
    joined_base joined_;
    std::string_view joined_value_; // in joined_
};

} // namespace pkg_dbe_xml
