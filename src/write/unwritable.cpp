// Nodes that cannot be written. See unwritable.hpp.

#include "write/unwritable.hpp"

#include "text/text_output.hpp"
#include "tree/node_path.hpp"
#include "tree/node_words.hpp"
#include "tree/text_compare.hpp"

#include <cstddef>

namespace pkg_dbe_xml {

void refuse_to_write(const xmlNode *node, std::string_view reason, const report_row &row) {
    constexpr std::size_t k_longest_path = 400;
    text_output path(k_longest_path);
    if (has_path(node)) {
        path.append("path ");
        append_path(node, path);
    }
    const std::string_view context =
        path.size() == 0 || path.overflowed() ? std::string_view() : path.c_str();
    report(row, {node_words(node), reason}, {}, context);
}

const xmlEntity *entity_to_write(const xmlNode *reference) {
    const xmlEntity *const entity = xmlGetDocEntity(reference->doc, reference->name);
    if (entity == nullptr || entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY) {
        refuse_to_write(reference, "the document declares no such entity");
    }
    return entity;
}

bool is_text_only(const xmlEntity *entity) noexcept {
    return entity->etype == XML_INTERNAL_PREDEFINED_ENTITY ||
           (entity->etype == XML_INTERNAL_GENERAL_ENTITY &&
            view_of(entity->content).find_first_of("<&") == std::string_view::npos);
}

// Where a name with a colon has a namespace, or something declares its prefix now, it would be read
// otherwise. A default namespace is none of its own.
const char *name_fault(const xmlNode *node, known_names &names, written_scope &scope) {
    const xmlNs *const record = namespace_of(node);
    if (!names.is_name(node->name)) {
        return "its name is no name in XML";
    }
    if (record != nullptr && record->prefix != nullptr) {
        if (!scope.agrees(record, is_attribute(node))) {
            return "no declaration in front of it gives it its namespace";
        }
        return names.is_plain_name(record->prefix) ? nullptr : "its prefix is no name in XML";
    }
    const std::string_view name = view_of(node->name);
    const std::size_t colon =
        names.is_plain_name(node->name) ? std::string_view::npos : name.find(':');
    if (colon != std::string_view::npos) {
        if (uri_of(record) != nullptr || scope.meaning(name.substr(0, colon)) != nullptr) {
            return "its name would be read as one with a prefix";
        }
    } else if (!scope.agrees(record, is_attribute(node))) {
        return "no declaration in front of it gives it its namespace";
    }
    if (is_attribute(node) && name.substr(0, 5) == "xmlns" &&
        (name.size() == 5 || name[5] == ':')) {
        return "it would be read as a namespace declaration";
    }
    return nullptr;
}

const char *declaration_fault(const xmlChar *prefix, const xmlChar *uri,
                              known_names &names) noexcept {
    if (prefix != nullptr) {
        if (!names.is_plain_name(prefix) || view_of(prefix) == "xml" ||
            view_of(prefix) == "xmlns") {
            return "it declares a prefix that cannot be declared";
        }
        if (uri == nullptr || *uri == 0) {
            return "it takes a prefix back, which XML 1.0 does not have";
        }
    }
    if (same_text(uri, k_xml_uri) || same_text(uri, k_xmlns_uri)) {
        return "it declares a namespace that xml or xmlns alone stands for";
    }
    return nullptr;
}

const char *comment_fault(std::string_view content) noexcept {
    return content.find("--") != std::string_view::npos ||
                   (!content.empty() && content.back() == '-')
               ? "\"--\" would end it"
               : nullptr;
}

const char *instruction_fault(const xmlNode *instruction, known_names &names) noexcept {
    const std::string_view text = view_of(instruction->content);
    if (!names.is_name(instruction->name) || xmlStrcasecmp(instruction->name, as_xml("xml")) == 0) {
        return "its target is none in XML";
    }
    if (text.find("?>") != std::string_view::npos) {
        return "\"?>\" would end it";
    }
    if (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '\n')) {
        return "blanks at its beginning would not be read";
    }
    return nullptr;
}

} // namespace pkg_dbe_xml
