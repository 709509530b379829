// Writing trees for the packages. See markup_writer.hpp.

#include "write/markup_writer.hpp"

#include "error_reports.hpp"
#include "growing_array.hpp"
#include "libxml/xml.hpp"
#include "text/libxml2_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "write/markup_text.hpp"
#include "write/name_checks.hpp"
#include "write/unwritable.hpp"
#include "xml_owner.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] bool is_character_data(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE ||
           node->type == XML_ENTITY_REF_NODE;
}

// An attribute as it is compared with others: no element has two of one name.
struct attribute_id {
    std::string_view name;
    std::string_view uri;
    [[nodiscard]] auto operator<=>(const attribute_id &) const noexcept = default;
    [[nodiscard]] bool operator==(const attribute_id &) const noexcept = default;
};
[[nodiscard]] attribute_id id_of(const xmlAttr *attribute) noexcept {
    return {view_of(attribute->name), attribute->ns == nullptr ? "" : view_of(attribute->ns->href)};
}

class markup_writer {
  public:
    markup_writer(const markup_options &options, text_output &output) noexcept
        : options_(options), output_(output) {}

    void write_document(xmlDocPtr document);
    // A node that is not a document, with all below it.
    void write_tree(xmlNodePtr top);
    void write_attribute(const xmlAttr *attribute);
    // `document` is null for a node that is written for itself.
    void write_declaration(const xmlDoc *document);

  private:
    void write_document_type(xmlNodePtr type);
    [[nodiscard]] bool begin_element(xmlNodePtr element, bool is_top);
    void end_element(const xmlNode *element);
    void write_leaf(xmlNodePtr node);
    void write_verbatim(const xmlNode *node, std::string_view text);
    void write_comment(const xmlNode *comment);
    void write_instruction(const xmlNode *instruction);
    void write_section(const xmlNode *section);
    void write_reference(const xmlNode *reference);
    void write_name(const xmlNode *node);
    void check_name(const xmlNode *node);
    void check_attributes(const xmlNode *element);
    void write_namespaces(const xmlNode *element, bool is_top);
    void write_namespace(const xmlNode *element, const xmlChar *prefix, const xmlChar *uri);
    void write_value(const xmlNode *attribute);
    void check_bounds(const xmlNode *node, std::string_view text);
    void begin_line(std::size_t level);

    const markup_options &options_;
    text_output &output_;
    known_names names_;
    written_scope scope_;
    poll_counter poll_;
    std::size_t level_ = 0;
    const xmlNode *unindented_ = nullptr; // the outermost open element that holds text
    std::size_t declared_above_ = 0;      // namespaces that the topmost element brings
};

void markup_writer::check_bounds(const xmlNode *node, std::string_view text) {
    if (options_.bounds != nullptr && !options_.bounds->holds(text)) {
        refuse_to_write(node, "the encoding does not have all of its characters");
    }
}

void markup_writer::write_verbatim(const xmlNode *node, std::string_view text) {
    if (!append_markup(output_, text, markup_place::verbatim)) {
        refuse_to_write(node, "it holds a character that XML does not have, or a carriage return");
    }
    check_bounds(node, text);
    poll_.step_over(text.size());
}

void markup_writer::begin_line(std::size_t level) {
    constexpr std::string_view k_blanks = "                                ";
    output_.append("\n");
    std::size_t width = level * static_cast<std::size_t>(options_.indent);
    for (; width > k_blanks.size(); width -= k_blanks.size()) {
        output_.append(k_blanks);
    }
    output_.append(k_blanks.substr(0, width));
}

// --- names --------------------------------------------------------------------------------------

void markup_writer::check_name(const xmlNode *node) {
    if (const char *const reason = name_fault(node, names_, scope_); reason != nullptr) {
        refuse_to_write(node, reason);
    }
}

void markup_writer::write_name(const xmlNode *node) {
    const xmlNs *const record = namespace_of(node);
    if (record != nullptr && record->prefix != nullptr) {
        output_.append(view_of(record->prefix));
        output_.append(":");
        if (options_.bounds != nullptr) {
            check_bounds(node, view_of(record->prefix));
        }
    }
    output_.append(view_of(node->name));
    if (options_.bounds != nullptr) {
        check_bounds(node, view_of(node->name));
    }
}

void markup_writer::write_namespace(const xmlNode *element, const xmlChar *prefix,
                                    const xmlChar *uri) {
    if (const char *const reason = declaration_fault(prefix, uri, names_); reason != nullptr) {
        refuse_to_write(element, reason);
    }
    output_.append(prefix == nullptr ? std::string_view(" xmlns=\"") : " xmlns:");
    if (prefix != nullptr) {
        output_.append(view_of(prefix));
        check_bounds(element, view_of(prefix));
        output_.append("=\"");
    }
    if (!append_markup(output_, view_of(uri), markup_place::attribute)) {
        refuse_to_write(element, "it declares a namespace with a character that XML does not have");
    }
    output_.append("\"");
    scope_.declare(prefix, uri);
    poll_.step();
}

// The declarations of an element; the topmost one brings those that are in scope above it.
void markup_writer::write_namespaces(const xmlNode *element, bool is_top) {
    growing_array<const xmlChar *, 16> prefixes;
    for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
        prefixes.push_back(record->prefix);
        write_namespace(element, record->prefix, record->href);
    }
    const auto order = [](const xmlChar *left, const xmlChar *right) noexcept {
        return xmlStrcmp(left, right) < 0;
    };
    std::sort(prefixes.begin(), prefixes.end(), order);
    const auto alike = [](const xmlChar *left, const xmlChar *right) noexcept {
        return same_or_absent(left, right);
    };
    if (std::adjacent_find(prefixes.begin(), prefixes.end(), alike) != prefixes.end()) {
        refuse_to_write(element, "it declares a prefix twice");
    }
    const xmlNode *above = is_top ? element->parent : nullptr;
    for (; above != nullptr && above->type == XML_ELEMENT_NODE; above = above->parent) {
        poll_.step();
        for (const xmlNs *record = above->nsDef; record != nullptr; record = record->next) {
            const xmlChar **const place =
                std::lower_bound(prefixes.begin(), prefixes.end(), record->prefix, order);
            if (place != prefixes.end() && alike(*place, record->prefix)) {
                continue; // hidden by a nearer one
            }
            const auto index = static_cast<std::size_t>(place - prefixes.begin());
            prefixes.push_back(record->prefix);
            std::rotate(prefixes.begin() + index, prefixes.end() - 1, prefixes.end());
            if (record->href != nullptr && *record->href != 0) {
                write_namespace(element, record->prefix, record->href);
                ++declared_above_;
            }
        }
    }
}

// --- attributes ---------------------------------------------------------------------------------

// Reports two attributes of one name.
void markup_writer::check_attributes(const xmlNode *element) {
    const xmlAttr *const first = element->properties;
    if (first == nullptr || first->next == nullptr) {
        return;
    }
    growing_array<attribute_id, 16> ids;
    for (const xmlAttr *attribute = first; attribute != nullptr; attribute = attribute->next) {
        ids.push_back(id_of(attribute));
        poll_.step();
    }
    std::sort(ids.begin(), ids.end());
    if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
        refuse_to_write(element, "it has two attributes of one name");
    }
}

void markup_writer::write_value(const xmlNode *attribute) {
    for (xmlNodePtr child = attribute->children; child != nullptr; child = child->next) {
        if (child->type == XML_ENTITY_REF_NODE) {
            write_reference(child);
        } else if (!append_markup(output_, view_of(own_content(child)), markup_place::attribute)) {
            refuse_to_write(attribute, "its value holds a character that XML does not have");
        } else {
            poll_.step_over(view_of(own_content(child)).size());
        }
    }
}

void markup_writer::write_attribute(const xmlAttr *attribute) {
    const xmlNode *const node = as_node(const_cast<xmlAttrPtr>(attribute));
    write_name(node);
    output_.append("=\"");
    write_value(node);
    output_.append("\"");
}

// --- elements -----------------------------------------------------------------------------------

// Whether line breaks between the children would be read as text of the element.
[[nodiscard]] bool holds_text(const xmlNode *element, poll_counter &poll) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->ns != nullptr && view_of(attribute->ns->prefix) == "xml" &&
            view_of(attribute->name) == "space" && attribute->children != nullptr &&
            view_of(own_content(attribute->children)) == "preserve") {
            return true;
        }
    }
    for (const xmlNode *child = element->children; child != nullptr; child = child->next) {
        poll.step();
        if (is_character_data(child)) {
            return true;
        }
    }
    return false;
}

// The start tag, or all of an element without children; true when its children follow.
bool markup_writer::begin_element(xmlNodePtr element, bool is_top) {
    output_.append("<");
    write_name(element);
    if (is_top || element->nsDef != nullptr) {
        write_namespaces(element, is_top);
    }
    check_name(element);
    check_attributes(element);
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        check_name(as_node(const_cast<xmlAttrPtr>(attribute)));
        output_.append(" ");
        write_attribute(attribute);
    }
    if (element->children == nullptr) {
        output_.append("/>");
        return false;
    }
    output_.append(">");
    if (options_.indent > 0 && unindented_ == nullptr && holds_text(element, poll_)) {
        unindented_ = element;
    }
    return true;
}

void markup_writer::end_element(const xmlNode *element) {
    if (element->children != nullptr) {
        if (options_.indent > 0 && unindented_ == nullptr) {
            begin_line(level_);
        }
        output_.append("</");
        write_name(element);
        output_.append(">");
    }
    if (element == unindented_) {
        unindented_ = nullptr;
    }
    std::size_t declared = 0;
    for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
        ++declared;
    }
    scope_.take_back(declared);
}

void markup_writer::write_tree(xmlNodePtr top) {
    xmlNodePtr node = top;
    for (;;) {
        poll_.step();
        if (options_.indent > 0 && node != top && unindented_ == nullptr) {
            begin_line(level_);
        }
        if (node->type == XML_ELEMENT_NODE) {
            if (begin_element(node, node == top)) {
                node = node->children;
                ++level_;
                continue;
            }
            end_element(node);
        } else {
            write_leaf(node);
        }
        while (node != top && node->next == nullptr) {
            node = node->parent;
            --level_;
            end_element(node);
        }
        if (node == top) {
            scope_.take_back(declared_above_);
            declared_above_ = 0;
            return;
        }
        node = node->next;
    }
}

// --- everything else ----------------------------------------------------------------------------

void markup_writer::write_comment(const xmlNode *comment) {
    const std::string_view text = view_of(comment->content);
    if (const char *const reason = comment_fault(text); reason != nullptr) {
        refuse_to_write(comment, reason);
    }
    output_.append("<!--");
    write_verbatim(comment, text);
    output_.append("-->");
}

void markup_writer::write_instruction(const xmlNode *instruction) {
    const std::string_view text = view_of(instruction->content);
    if (const char *const reason = instruction_fault(instruction, names_); reason != nullptr) {
        refuse_to_write(instruction, reason);
    }
    output_.append("<?");
    write_name(instruction);
    if (!text.empty()) {
        output_.append(" ");
        write_verbatim(instruction, text);
    }
    output_.append("?>");
}

// A section ends before each "]]>" in the text, and another begins: they are read as one.
void markup_writer::write_section(const xmlNode *section) {
    std::string_view text = view_of(section->content);
    do {
        const std::size_t end = text.find("]]>");
        const std::size_t size = end == std::string_view::npos ? text.size() : end + 2;
        output_.append("<![CDATA[");
        write_verbatim(section, text.substr(0, size));
        output_.append("]]>");
        text.remove_prefix(size);
    } while (!text.empty());
}

// Where a document type goes on in a file, which is never loaded, an entity may be declared there:
// references to what is not known are read.
[[nodiscard]] bool may_be_declared_elsewhere(const xmlDoc *document) noexcept {
    const xmlDtd *const type = document->intSubset;
    return type != nullptr && document->standalone != 1 &&
           (type->SystemID != nullptr || type->ExternalID != nullptr);
}

void markup_writer::write_reference(const xmlNode *reference) {
    const xmlEntity *const entity = xmlGetDocEntity(reference->doc, reference->name);
    if (entity == nullptr ? !may_be_declared_elsewhere(reference->doc)
                          : entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY) {
        refuse_to_write(reference, "the document declares no such entity");
    }
    output_.append("&");
    write_name(reference);
    output_.append(";");
}

// The long-named functions put nodes below nodes that can have none in XML.
void markup_writer::write_leaf(xmlNodePtr node) {
    if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE &&
        node->type != XML_DTD_NODE) {
        refuse_to_write(node->children, "nothing can stand below a node of the type above it");
    }
    switch (node->type) {
    case XML_TEXT_NODE:
        if (!append_markup(output_, view_of(node->content), markup_place::text)) {
            refuse_to_write(node, "it holds a character that XML does not have");
        }
        poll_.step_over(view_of(node->content).size());
        break;
    case XML_CDATA_SECTION_NODE:
        write_section(node);
        break;
    case XML_COMMENT_NODE:
        write_comment(node);
        break;
    case XML_PI_NODE:
        write_instruction(node);
        break;
    case XML_ENTITY_REF_NODE:
        write_reference(node);
        break;
    case XML_DTD_NODE:
        write_document_type(node);
        break;
    default:
        refuse_to_write(node, "it stands in a document type or for one of its declarations");
    }
}

[[nodiscard]] bool is_public_id(std::string_view id) noexcept {
    constexpr std::string_view k_signs = " \n-'()+,./:=?;!*#@$_%";
    return std::all_of(id.begin(), id.end(), [k_signs](char byte) noexcept {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= '0' && byte <= '9') || k_signs.find(byte) != std::string_view::npos;
    });
}

// Whether libxml2 writes what stands between the brackets; it leaves out comments and processing
// instructions that stand there alone.
[[nodiscard]] bool has_declarations(const xmlDtd *subset) noexcept {
    return subset->notations != nullptr || subset->elements != nullptr ||
           subset->attributes != nullptr || subset->entities != nullptr ||
           subset->pentities != nullptr;
}

// libxml2 writes it; what the long-named functions can put into it is checked.
void markup_writer::write_document_type(xmlNodePtr type) {
    const auto *const subset = reinterpret_cast<const xmlDtd *>(type);
    const std::string_view system_id = view_of(subset->SystemID);
    if (!names_.is_name(subset->name)) {
        refuse_to_write(type, "its name is no name in XML");
    }
    if (subset->ExternalID != nullptr &&
        (subset->SystemID == nullptr || !is_public_id(view_of(subset->ExternalID)))) {
        refuse_to_write(type,
                        "its public identifier is none, or stands without a system identifier");
    }
    if (!has_only_characters(system_id) || (system_id.find('"') != std::string_view::npos &&
                                            system_id.find('\'') != std::string_view::npos)) {
        refuse_to_write(type, "its system identifier is none in XML");
    }
    text_output text(INT64_MAX);
    append_node_from_libxml2(text, type, false);
    if (type->children == nullptr || has_declarations(subset)) {
        check_bounds(type, text.view());
        output_.append(text.view());
        return;
    }
    text_output members(INT64_MAX);
    append_declarations(members, type);
    const std::string_view head = text.view();
    check_bounds(type, head);
    check_bounds(type, members.view());
    output_.append(head.substr(0, head.size() - 1)); // without its ">"
    output_.append(" [\n");
    output_.append(members.view());
    output_.append("]>");
}

void markup_writer::write_declaration(const xmlDoc *document) {
    output_.append("<?xml version=\"");
    const bool has_version = document != nullptr && document->version != nullptr;
    output_.append(has_version ? view_of(document->version) : "1.0");
    output_.append("\"");
    if (options_.encoding != nullptr) {
        output_.append(" encoding=\"");
        output_.append(options_.encoding);
        output_.append("\"");
    }
    if (document != nullptr && (document->standalone == 0 || document->standalone == 1)) {
        output_.append(document->standalone == 1 ? " standalone=\"yes\"" : " standalone=\"no\"");
    }
    output_.append("?>");
}

void markup_writer::write_document(xmlDocPtr document) {
    if (options_.declaration) {
        write_declaration(document);
    }
    bool is_first = !options_.declaration;
    bool has_root = false;
    for (xmlNodePtr child = document->children; child != nullptr; child = child->next) {
        if (!is_first) {
            output_.append("\n");
        }
        is_first = false;
        if (is_character_data(child)) {
            refuse_to_write(child, "it stands outside of the root element");
        }
        if (has_root && (child->type == XML_ELEMENT_NODE || child->type == XML_DTD_NODE)) {
            refuse_to_write(child, "it stands behind the root element");
        }
        has_root = has_root || child->type == XML_ELEMENT_NODE;
        write_tree(child);
    }
    if (!has_root) {
        refuse_to_write(as_node(document), "it has no root element");
    }
}

} // namespace

void write_markup(xmlNodePtr node, const markup_options &options, text_output &output) {
    markup_writer writer(options, output);
    switch (node->type) {
    case XML_DOCUMENT_NODE:
        writer.write_document(reinterpret_cast<xmlDocPtr>(node));
        break;
    case XML_DOCUMENT_FRAG_NODE:
        for (xmlNodePtr child = node->children; child != nullptr; child = child->next) {
            writer.write_tree(child);
        }
        break;
    case XML_ATTRIBUTE_NODE:
        writer.write_attribute(reinterpret_cast<const xmlAttr *>(node));
        break;
    case XML_ELEMENT_NODE:
        if (options.declaration) {
            writer.write_declaration(nullptr);
            output.append("\n");
        }
        writer.write_tree(node);
        break;
    default:
        writer.write_tree(node);
        break;
    }
}

} // namespace pkg_dbe_xml
