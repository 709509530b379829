// Names and prefixes that are being written. See name_checks.hpp.

#include "write/name_checks.hpp"
#include "tree/text_compare.hpp"

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] std::size_t place_of(const void *pointer, std::size_t places) noexcept {
    return (reinterpret_cast<std::uintptr_t>(pointer) >> 3U) % places;
}

} // namespace

bool known_names::is_name(const xmlChar *name) noexcept {
    const xmlChar *&known = names_[place_of(name, k_places)];
    if (name != nullptr && known != name && xmlValidateName(name, 0) == 0) {
        known = name;
    }
    return name != nullptr && known == name;
}

bool known_names::is_plain_name(const xmlChar *name) noexcept {
    const xmlChar *&known = plain_names_[place_of(name, k_places)];
    if (name != nullptr && known != name && xmlValidateNCName(name, 0) == 0) {
        known = name;
    }
    return name != nullptr && known == name;
}

void written_scope::declare(const xmlChar *prefix, const xmlChar *uri) {
    bindings_.push(prefix, null_if_empty(uri), nullptr);
    ++version_;
}

void written_scope::take_back(std::size_t count) noexcept {
    bindings_.pop_to(bindings_.size() - count);
    version_ += count;
}

const xmlChar *written_scope::meaning(const xmlChar *prefix) const noexcept {
    const namespace_binding *const found = bindings_.find(prefix);
    return found != nullptr ? found->uri : same_text(prefix, "xml") ? as_xml(k_xml_uri) : nullptr;
}

const xmlChar *written_scope::meaning(std::string_view prefix) const noexcept {
    const namespace_binding *const found = bindings_.find(prefix);
    return found != nullptr ? found->uri : prefix == "xml" ? as_xml(k_xml_uri) : nullptr;
}

bool written_scope::agrees(const xmlNs *record, bool is_attribute) noexcept {
    answer &known = answers_[place_of(record, k_places)];
    if (known.record == record && known.version == version_ && known.is_attribute == is_attribute)
        [[likely]] {
        return true;
    }
    if (!finds(record, is_attribute)) {
        return false;
    }
    known = {record, version_, is_attribute};
    return true;
}

bool written_scope::finds(const xmlNs *record, bool is_attribute) const noexcept {
    const xmlChar *const uri = uri_of(record);
    const xmlChar *const prefix = record == nullptr ? nullptr : record->prefix;
    if (prefix == nullptr && is_attribute) {
        return uri == nullptr; // a default namespace is not for attributes
    }
    return same_or_absent(meaning(prefix), uri) && (uri != nullptr || prefix == nullptr);
}

} // namespace pkg_dbe_xml
