// Which attributes XML Schemas declare as identifiers. See identifier_attributes.hpp.
#include "identifier_attributes.hpp"

#include "tree_walk.hpp"

namespace pkg_dbe_xml::validation {

namespace {

std::string_view view_of(const xmlChar *text) noexcept {
    return text == nullptr ? std::string_view{} : reinterpret_cast<const char *>(text);
}

// The value of an attribute without a namespace, "" where there is none. Values in schemas are
// plain texts; one in several pieces is cut after the first.
std::string_view value_of(const xmlNode *element, std::string_view name) noexcept {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->ns == nullptr && view_of(attribute->name) == name) {
            return attribute->children == nullptr ? std::string_view{}
                                                  : view_of(attribute->children->content);
        }
    }
    return {};
}

bool is_called(const xmlNode *element, std::string_view name) noexcept {
    return view_of(element->name) == name;
}

// The attribute or type with a name that a declaration belongs to; null when there is none.
const xmlNode *owner_of(const xmlNode *element) noexcept {
    for (; element != nullptr && element->type == XML_ELEMENT_NODE; element = element->parent) {
        if ((is_called(element, "attribute") || is_called(element, "simpleType")) &&
            !value_of(element, "name").empty()) {
            return element;
        }
    }
    return nullptr;
}

// Notes each of the names, which are separated by blanks, without its prefix.
void note_bases(const xmlNode *element, std::string_view names,
                std::vector<derivation> &derivations) {
    constexpr std::string_view k_blanks = " \t\r\n";
    const xmlNode *const owner = names.empty() ? nullptr : owner_of(element);
    while (owner != nullptr && !names.empty()) {
        const std::size_t start = std::min(names.find_first_not_of(k_blanks), names.size());
        const std::size_t end = std::min(names.find_first_of(k_blanks, start), names.size());
        std::string_view name = names.substr(start, end - start);
        name.remove_prefix(name.find(':') == std::string_view::npos ? 0 : name.find(':') + 1);
        if (!name.empty()) {
            derivations.push_back({std::string(value_of(owner, "name")),
                                   is_called(owner, "attribute"), std::string(name)});
        }
        names.remove_prefix(end);
    }
}

} // namespace

void note_derivations(const xmlNode *schema, std::vector<derivation> &derivations) {
    for (const xmlNode *node = schema; node != nullptr; node = next_in_order(node, schema)) {
        if (node->type != XML_ELEMENT_NODE) {
            continue;
        }
        if (is_called(node, "attribute")) {
            note_bases(node, value_of(node, "type"), derivations);
        } else if (is_called(node, "restriction")) {
            note_bases(node, value_of(node, "base"), derivations);
        } else if (is_called(node, "union")) {
            note_bases(node, value_of(node, "memberTypes"), derivations);
        } else if (is_called(node, "list")) {
            note_bases(node, value_of(node, "itemType"), derivations);
        }
    }
}

void find_identifiers(const std::vector<derivation> &derivations, compiled_schema &result) {
    std::set<std::string, std::less<>> types{"ID"};
    for (bool grown = true; grown;) {
        grown = false;
        for (const derivation &one : derivations) {
            if (!one.is_attribute && types.contains(one.base)) {
                grown = types.insert(one.name).second || grown;
            }
        }
    }
    for (const derivation &one : derivations) {
        if (one.is_attribute && types.contains(one.base)) {
            result.identifiers.insert(one.name);
        }
        result.needs_tree = result.needs_tree || one.base == "ENTITY" || one.base == "ENTITIES";
    }
}

} // namespace pkg_dbe_xml::validation
