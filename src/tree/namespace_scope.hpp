// What prefixes mean at a place of a tree, while a walk goes through it.
#pragma once

#include "growing_array.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml {

// A namespace that a prefix is bound to, from the element that declares it on.
struct namespace_binding {
    const xmlChar *prefix;
    const xmlChar *uri;   // null: none
    xmlNsPtr record;      // null: taken back without a record
    std::uint32_t hidden; // index of the one before it in its bucket, UINT32_MAX for none
};

// The bindings in scope, the last ones nearest.
class namespace_scope {
  public:
    [[nodiscard]] std::size_t size() const noexcept { return bindings_.size(); }
    // Throws when memory runs out.
    void push(const xmlChar *prefix, const xmlChar *uri, xmlNsPtr record);
    void pop_to(std::size_t size) noexcept;
    // The nearest of a prefix (null: the default namespace); null when there is none.
    [[nodiscard]] const namespace_binding *find(const xmlChar *prefix) const noexcept;
    // The same for a prefix of that many bytes.
    [[nodiscard]] const namespace_binding *find(std::string_view prefix) const noexcept;
    // A prefixed binding of this URI that is not hidden; null when none of the last ones is.
    [[nodiscard]] const namespace_binding *find_uri(const xmlChar *uri) const noexcept;
    // The nearest of those before a place in the order.
    [[nodiscard]] const namespace_binding *find_before(const xmlChar *prefix,
                                                       std::size_t end) const noexcept;
    [[nodiscard]] std::size_t index_of(const namespace_binding *found) const noexcept {
        return static_cast<std::size_t>(found - bindings_.begin());
    }

  private:
    void rebuild();
    template <class Is>
    [[nodiscard]] const namespace_binding *find_if(std::string_view prefix, Is is) const noexcept;
    [[nodiscard]] std::size_t bucket(std::string_view prefix) const noexcept;
    growing_array<namespace_binding, 16> bindings_;
    growing_array<std::uint32_t, 16> heads_; // of buckets; empty while the bindings are few
};

} // namespace pkg_dbe_xml
