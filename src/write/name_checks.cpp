// Names and prefixes that are being written. See name_checks.hpp.

#include "write/name_checks.hpp"

#include <cstring>

namespace pkg_dbe_xml {

namespace {

constexpr const char *k_xml_uri = "http://www.w3.org/XML/1998/namespace";

[[nodiscard]] std::size_t place_of(const void *pointer, std::size_t places) noexcept {
    return (reinterpret_cast<std::uintptr_t>(pointer) >> 3U) % places;
}

[[nodiscard]] const xmlChar *or_null(const xmlChar *text) noexcept {
    return text == nullptr || *text == 0 ? nullptr : text;
}

[[nodiscard]] bool is_bytes(const xmlChar *text, const xmlChar *other, std::size_t size) noexcept {
    const auto *const bytes = reinterpret_cast<const char *>(text);
    return std::strncmp(bytes, reinterpret_cast<const char *>(other), size) == 0 &&
           bytes[size] == '\0';
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
    bindings_.push_back({prefix, or_null(uri)});
    ++version_;
}

void written_scope::take_back(std::size_t count) noexcept {
    for (; count > 0; --count) {
        bindings_.pop_back();
        ++version_;
    }
}

const xmlChar *written_scope::meaning(const xmlChar *prefix) const noexcept {
    if (prefix != nullptr) {
        return meaning(prefix, static_cast<std::size_t>(xmlStrlen(prefix)));
    }
    for (std::size_t place = bindings_.size(); place > 0; --place) {
        if (bindings_[place - 1].prefix == nullptr) {
            return bindings_[place - 1].uri;
        }
    }
    return nullptr;
}

const xmlChar *written_scope::meaning(const xmlChar *prefix, std::size_t size) const noexcept {
    for (std::size_t place = bindings_.size(); place > 0; --place) {
        const binding &each = bindings_[place - 1];
        if (each.prefix != nullptr && is_bytes(each.prefix, prefix, size)) {
            return each.uri;
        }
    }
    const bool is_xml = size == 3 && std::memcmp(prefix, "xml", 3) == 0;
    return is_xml ? reinterpret_cast<const xmlChar *>(k_xml_uri) : nullptr;
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
    const xmlChar *const uri = record == nullptr ? nullptr : or_null(record->href);
    const xmlChar *const prefix = record == nullptr ? nullptr : record->prefix;
    if (prefix == nullptr && is_attribute) {
        return uri == nullptr; // a default namespace is not for attributes
    }
    return xmlStrEqual(meaning(prefix), uri) != 0 && (uri != nullptr || prefix == nullptr);
}

} // namespace pkg_dbe_xml
