// Names that elements and attributes choose from. See name_classes.hpp.
#include "name_classes.hpp"

#include "complaints.hpp"
#include "tree_walk.hpp"

#include <libxml/parser.h>
#include <libxml/uri.h>

#include <climits>
#include <memory>

namespace pkg_dbe_xml::validation {

namespace {

struct tree_owner {
    void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};

bool is_pattern(const xmlNode *node) noexcept {
    return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
           xmlStrEqual(node->ns->href, BAD_CAST "http://relaxng.org/ns/structure/1.0") != 0;
}
bool is_called(const xmlNode *node, const char *name) noexcept {
    return is_pattern(node) && xmlStrEqual(node->name, BAD_CAST name) != 0;
}

bool stands_first(const xmlNode *node) noexcept {
    for (node = node->prev; node != nullptr; node = node->prev) {
        if (is_pattern(node)) {
            return false;
        }
    }
    return true;
}

// Whether the outermost of the choices that a choice stands in is one of names.
bool chooses_names(const xmlNode *choice) noexcept {
    while (is_called(choice->parent, "choice")) {
        choice = choice->parent;
    }
    const xmlNode *const owner = choice->parent;
    if (is_called(owner, "except")) {
        return is_called(owner->parent, "anyName") || is_called(owner->parent, "nsName");
    }
    return (is_called(owner, "element") || is_called(owner, "attribute")) && stands_first(choice) &&
           xmlHasProp(const_cast<xmlNodePtr>(owner), BAD_CAST "name") == nullptr;
}

bool is_nested(const xmlNode *node) noexcept {
    return is_called(node, "choice") && is_called(node->parent, "choice") && !stands_first(node) &&
           chooses_names(node);
}

void note_reference(const xmlNode *node, std::set<std::string, std::less<>> &known,
                    std::vector<std::string> &waiting) {
    using text = std::unique_ptr<xmlChar, tree_owner>;
    auto *const element = const_cast<xmlNodePtr>(node);
    const text reference(xmlGetProp(element, BAD_CAST "href"));
    const text base(xmlNodeGetBase(element->doc, element));
    const text location(xmlBuildURI(reference.get(), base.get()));
    if (location != nullptr) {
        std::string name(reinterpret_cast<const char *>(location.get()));
        if (known.insert(name).second) {
            waiting.push_back(std::move(name));
        }
    }
}

} // namespace

long look_at_name_classes(std::string_view location, std::string_view text,
                          std::set<std::string, std::less<>> &known,
                          std::vector<std::string> &waiting) {
    if (text.size() > INT_MAX) {
        return 0;
    }
    const std::string url(location);
    const std::unique_ptr<xmlDoc, tree_owner> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), url.c_str(), nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    const xmlNode *const root =
        document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
    for (const xmlNode *node = root; node != nullptr; node = next_in_order(node, root)) {
        if (is_nested(node)) {
            return line_of(node);
        }
        if (is_called(node, "include") || is_called(node, "externalRef")) {
            note_reference(node, known, waiting);
        }
    }
    return 0;
}

} // namespace pkg_dbe_xml::validation
