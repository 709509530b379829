// What prefixes mean at a place of a tree. See namespace_scope.hpp.

#include "tree/namespace_scope.hpp"

#include "tree/text_compare.hpp"

#include <algorithm>

namespace pkg_dbe_xml {

namespace {

constexpr std::uint32_t k_none = UINT32_MAX;
// Bindings that are looked through one by one.
constexpr std::size_t k_few_bindings = 16;
// Bindings that are looked through for a URI.
constexpr std::size_t k_bindings_for_uri = 64;

} // namespace

std::size_t namespace_scope::bucket(std::string_view prefix) const noexcept {
    std::uint32_t hash = 2166136261U;
    for (const char byte : prefix) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
    }
    return hash & (heads_.size() - 1);
}

void namespace_scope::rebuild() {
    std::size_t buckets = heads_.size() == 0 ? 4 * k_few_bindings : 4 * heads_.size();
    heads_.reserve(buckets);
    while (heads_.size() < buckets) {
        heads_.push_back(k_none);
    }
    std::fill(heads_.begin(), heads_.end(), k_none);
    for (std::uint32_t index = 0; index < bindings_.size(); ++index) {
        std::uint32_t &head = heads_[bucket(view_of(bindings_[index].prefix))];
        bindings_[index].hidden = head;
        head = index;
    }
}

void namespace_scope::push(const xmlChar *prefix, const xmlChar *uri, xmlNsPtr record) {
    if (bindings_.size() >= k_few_bindings && bindings_.size() >= heads_.size()) {
        rebuild();
    }
    bindings_.push_back({prefix, uri, record, k_none});
    if (heads_.size() != 0) {
        const auto index = static_cast<std::uint32_t>(bindings_.size() - 1);
        std::uint32_t &head = heads_[bucket(view_of(prefix))];
        bindings_[index].hidden = head;
        head = index;
    }
}

void namespace_scope::pop_to(std::size_t size) noexcept {
    while (bindings_.size() > size) {
        if (heads_.size() != 0) {
            const namespace_binding &last = bindings_[bindings_.size() - 1];
            heads_[bucket(view_of(last.prefix))] = last.hidden;
        }
        bindings_.shrink(bindings_.size() - 1);
    }
}

// The nearest binding that `is` the one, of those that may be: all, or those of the bucket.
template <class Is>
const namespace_binding *namespace_scope::find_if(std::string_view prefix, Is is) const noexcept {
    if (heads_.size() == 0) {
        for (std::size_t index = bindings_.size(); index != 0; --index) {
            if (is(bindings_[index - 1].prefix)) {
                return &bindings_[index - 1];
            }
        }
        return nullptr;
    }
    std::uint32_t index = heads_[bucket(prefix)];
    while (index != k_none && !is(bindings_[index].prefix)) {
        index = bindings_[index].hidden;
    }
    return index == k_none ? nullptr : &bindings_[index];
}

const namespace_binding *namespace_scope::find(const xmlChar *prefix) const noexcept {
    return find_if(view_of(prefix), [prefix](const xmlChar *other) noexcept {
        return same_or_absent(other, prefix);
    });
}

const namespace_binding *namespace_scope::find(std::string_view prefix) const noexcept {
    return find_if(prefix, [prefix](const xmlChar *other) noexcept {
        return other != nullptr && view_of(other) == prefix;
    });
}

const namespace_binding *namespace_scope::find_before(const xmlChar *prefix,
                                                      std::size_t end) const noexcept {
    for (; end != 0; --end) {
        if (same_or_absent(bindings_[end - 1].prefix, prefix)) {
            return &bindings_[end - 1];
        }
    }
    return nullptr;
}

const namespace_binding *namespace_scope::find_uri(const xmlChar *uri) const noexcept {
    std::size_t looked_at = 0;
    for (std::size_t index = bindings_.size(); index != 0 && looked_at < k_bindings_for_uri;
         --index, ++looked_at) {
        const namespace_binding &bound = bindings_[index - 1];
        if (bound.prefix != nullptr && same_or_absent(bound.uri, uri) &&
            find(bound.prefix) == &bound) {
            return &bound;
        }
    }
    return nullptr;
}

} // namespace pkg_dbe_xml
