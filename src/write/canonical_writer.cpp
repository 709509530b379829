// Trees in canonical form. See canonical_writer.hpp.

#include "write/canonical_writer.hpp"

#include "canonical_reports.hpp"
#include "growing_array.hpp"
#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "write/canonical_attributes.hpp"
#include "write/canonical_text.hpp"
#include "write/name_checks.hpp"
#include "write/unwritable.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr const char *k_declared_twice = "it declares a prefix twice";
constexpr const char *k_no_character = "it holds a character that XML does not have";

// A namespace that a start tag declares.
struct declaration {
    const xmlChar *prefix;
    const xmlChar *uri; // null: the default namespace is taken back
};
// A namespace that is declared in the tree, and by which element.
struct declared {
    const xmlChar *prefix;
    const xmlChar *uri;
    const xmlNode *element;
    std::size_t distance; // above the topmost element
};
// An open element that declares something, and how much.
struct open_element {
    const xmlNode *element;
    std::size_t declared; // in the tree, and not above
    std::size_t written;  // in the exclusive form
};
// A reference whose entity is being written in place of it.
struct unfolding {
    const xmlNode *reference;
    const xmlEntity *entity;
};

[[nodiscard]] bool precedes(const xmlChar *left, const xmlChar *right) noexcept {
    return xmlStrcmp(left, right) < 0;
}

// Whether a URI begins with a scheme.
[[nodiscard]] bool is_absolute(std::string_view uri) noexcept {
    const auto is_letter = [](char byte) noexcept {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    };
    if (uri.empty() || !is_letter(uri.front())) {
        return false;
    }
    const char *const end =
        std::find_if_not(uri.begin(), uri.end(), [is_letter](char byte) noexcept {
            return is_letter(byte) || (byte >= '0' && byte <= '9') || byte == '+' || byte == '-' ||
                   byte == '.';
        });
    return end != uri.end() && *end == ':';
}

class canonical_writer {
  public:
    canonical_writer(const canonical_options &options, text_output &output) noexcept
        : options_(options), output_(output) {}

    void write_document(const xmlNode *document);
    // A node that is not a document, with all below it.
    void write_tree(const xmlNode *top);
    // The same of a comment or a processing instruction beside the root element, and its line feed.
    void write_beside_root(const xmlNode *node, bool is_behind);

  private:
    [[nodiscard]] bool is_exclusive() const noexcept {
        return options_.form == canonical_form::exclusive;
    }
    [[nodiscard]] bool is_listed(const xmlChar *prefix) const noexcept {
        return std::binary_search(options_.inclusive_prefixes.begin(),
                                  options_.inclusive_prefixes.end(), prefix, precedes);
    }
    [[nodiscard]] const xmlNode *next_of(const xmlNode *node, const xmlNode *top);
    [[nodiscard]] const xmlNode *write_begin(const xmlNode *node);
    void begin_element(const xmlNode *element);
    void end_element(const xmlNode *element);
    void write_leaf(const xmlNode *node);
    void write_comment(const xmlNode *comment);
    void write_instruction(const xmlNode *instruction);
    void write_content(const xmlNode *node, std::string_view text, canonical_place place);
    [[nodiscard]] const xmlNode *unfold(const xmlNode *reference, canonical_place place);
    void write_name(const xmlNode *node);
    void check_name(const xmlNode *node);
    void bring_namespaces(const xmlNode *top);
    void take_declarations(const xmlNode *element);
    void check_prefixes(const xmlNode *element);
    void check_declaration(const declared &made);
    void declare(const xmlChar *prefix, const xmlChar *uri);
    void render(const xmlChar *prefix, const xmlChar *uri);
    void render_used(const xmlNode *element);
    void write_declarations();
    void write_attributes();
    void write_value(const xmlAttr *attribute);

    const canonical_options &options_;
    text_output &output_;
    known_names names_;
    written_scope scope_;    // what prefixes mean in the tree
    written_scope rendered_; // and in what was written, in the exclusive form
    poll_counter poll_;
    canonical_attributes attributes_;             // of the element being begun
    growing_array<declaration, 16> declarations_; // of the same
    open_element opened_{};                       // the same
    growing_array<open_element, 16> open_;        // those that declare something
    growing_array<unfolding, 8> unfoldings_;
    std::size_t depth_ = 0;    // of open elements
    std::size_t unfolded_ = 0; // nodes and bytes written for references
};

// --- namespaces ---------------------------------------------------------------------------------

void canonical_writer::check_declaration(const declared &made) {
    const char *const reason = declaration_fault(made.prefix, made.uri, names_);
    if (reason != nullptr) {
        refuse_to_write(made.element, reason);
    }
    if (made.uri != nullptr && !is_absolute(view_of(made.uri))) {
        refuse_to_write(made.element, view_of(made.uri), reports::relative_namespace);
    }
}

void canonical_writer::declare(const xmlChar *prefix, const xmlChar *uri) {
    scope_.declare(prefix, uri);
    ++opened_.declared;
}

// Has the start tag declare a namespace.
void canonical_writer::render(const xmlChar *prefix, const xmlChar *uri) {
    declarations_.push_back({prefix, uri});
    if (is_exclusive()) {
        rendered_.declare(prefix, uri);
        ++opened_.written;
    }
}

// Declarations of the prefix xml say what everybody knows.
[[nodiscard]] bool declares_xml(const xmlNs *record) noexcept {
    return same_text(record->prefix, "xml") && same_text(record->href, k_xml_uri);
}

// What is in scope at the topmost element, in the order of the prefixes.
void canonical_writer::bring_namespaces(const xmlNode *top) {
    growing_array<declared, 16> found;
    std::size_t distance = 0;
    for (const xmlNode *each = top; each != nullptr && each->type == XML_ELEMENT_NODE;
         each = each->parent) {
        poll_.step();
        for (const xmlNs *record = each->nsDef; record != nullptr; record = record->next) {
            poll_.step();
            if (!declares_xml(record)) {
                found.push_back({record->prefix, uri_of(record), each, distance});
            }
        }
        ++distance;
    }
    std::sort(found.begin(), found.end(), [this](const declared &left, const declared &right) {
        poll_.step();
        const int order = xmlStrcmp(left.prefix, right.prefix);
        return order != 0 ? order < 0 : left.distance < right.distance;
    });
    const declared *nearest = nullptr;
    for (const declared &each : found) {
        poll_.step();
        if (nearest != nullptr && same_or_absent(nearest->prefix, each.prefix)) {
            if (nearest->distance == each.distance) {
                refuse_to_write(each.element, k_declared_twice);
            }
            continue; // hidden by it
        }
        nearest = &each;
        check_declaration(each);
        if (each.uri != nullptr) {
            declare(each.prefix, each.uri);
            if (!is_exclusive() || is_listed(each.prefix)) {
                render(each.prefix, each.uri);
            }
        }
    }
}

// Refuses an element that declares a prefix twice.
void canonical_writer::check_prefixes(const xmlNode *element) {
    if (element->nsDef == nullptr || element->nsDef->next == nullptr) {
        return;
    }
    growing_array<const xmlChar *, 16> prefixes;
    for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
        prefixes.push_back(record->prefix);
    }
    std::sort(prefixes.begin(), prefixes.end(), [this](const xmlChar *left, const xmlChar *right) {
        poll_.step();
        return precedes(left, right);
    });
    if (std::adjacent_find(prefixes.begin(), prefixes.end(), same_or_absent) != prefixes.end()) {
        refuse_to_write(element, k_declared_twice);
    }
}

// What an element declares and does not mean the same above it.
void canonical_writer::take_declarations(const xmlNode *element) {
    for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
        poll_.step();
        const xmlChar *const prefix = record->prefix;
        const xmlChar *const uri = uri_of(record);
        if (declares_xml(record) || (same_or_absent(scope_.meaning(prefix), uri) &&
                                     (uri != nullptr || prefix == nullptr))) {
            continue;
        }
        check_declaration({prefix, uri, element, 0});
        declare(prefix, uri);
        if (!is_exclusive() ||
            (is_listed(prefix) && !same_or_absent(rendered_.meaning(prefix), uri))) {
            render(prefix, uri);
        }
    }
}

// In the exclusive form: what the names of an element and of its attributes use.
void canonical_writer::render_used(const xmlNode *element) {
    const xmlNs *const own = element->ns;
    if (!rendered_.agrees(own, false)) {
        render(own == nullptr ? nullptr : own->prefix, uri_of(own));
    }
    for (const xmlAttr *attribute : attributes_) {
        if (attribute->ns != nullptr && !rendered_.agrees(attribute->ns, true)) {
            render(attribute->ns->prefix, uri_of(attribute->ns));
        }
    }
}

void canonical_writer::write_declarations() {
    std::sort(declarations_.begin(), declarations_.end(),
              [this](const declaration &left, const declaration &right) {
                  poll_.step();
                  return precedes(left.prefix, right.prefix);
              });
    for (const declaration &each : declarations_) {
        output_.append(each.prefix == nullptr ? " xmlns" : " xmlns:");
        output_.append(view_of(each.prefix));
        output_.append("=\"");
        if (!append_canonical(output_, view_of(each.uri), canonical_place::attribute, poll_)) {
            refuse_to_write(opened_.element,
                            "it declares a namespace with a character that XML does not have");
        }
        output_.append("\"");
    }
}

// --- elements -----------------------------------------------------------------------------------

void canonical_writer::check_name(const xmlNode *node) {
    if (const char *const reason = name_fault(node, names_, scope_); reason != nullptr) {
        refuse_to_write(node, reason);
    }
}

void canonical_writer::write_name(const xmlNode *node) {
    const xmlNs *const record = node->ns;
    if (record != nullptr && record->prefix != nullptr) {
        output_.append(view_of(record->prefix));
        output_.append(":");
    }
    output_.append(view_of(node->name));
}

// The value of an attribute, entities unfolded.
void canonical_writer::write_value(const xmlAttr *attribute) {
    const auto *const node = reinterpret_cast<const xmlNode *>(attribute);
    const std::size_t around = unfoldings_.size();
    const xmlNode *child = attribute->children;
    while (child != nullptr) {
        const xmlNode *inner = nullptr;
        if (child->type == XML_ENTITY_REF_NODE) {
            inner = unfold(child, canonical_place::attribute);
        } else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
            write_content(node, view_of(child->content), canonical_place::attribute);
        } else {
            refuse_to_write(node, "its value holds more than text");
        }
        if (inner != nullptr) {
            child = inner;
            continue;
        }
        while (unfoldings_.size() > around && child == unfoldings_.back().entity->last) {
            child = unfoldings_.back().reference;
            unfoldings_.pop_back();
        }
        child = child->next;
    }
}

void canonical_writer::write_attributes() {
    for (const xmlAttr *attribute : attributes_) {
        const auto *const node = reinterpret_cast<const xmlNode *>(attribute);
        output_.append(" ");
        write_name(node);
        output_.append("=\"");
        if (const std::string_view *const value = attributes_.value_instead(attribute)) {
            write_content(node, *value, canonical_place::attribute);
        } else {
            write_value(attribute);
        }
        output_.append("\"");
    }
}

// The start tag.
void canonical_writer::begin_element(const xmlNode *element) {
    const bool is_top = depth_ == 0;
    ++depth_;
    opened_ = {element, 0, 0};
    declarations_.clear();
    if (is_top) {
        bring_namespaces(element);
    } else {
        check_prefixes(element);
        take_declarations(element);
    }
    check_name(element);
    if (is_top && !is_exclusive()) {
        attributes_.collect_topmost(element, options_.form, poll_);
    } else {
        attributes_.collect(element, poll_);
    }
    for (const xmlAttr *attribute : attributes_) {
        check_name(reinterpret_cast<const xmlNode *>(attribute));
    }
    output_.append("<");
    write_name(element);
    if (is_exclusive()) {
        render_used(element);
    }
    write_declarations();
    write_attributes();
    output_.append(">");
    if (opened_.declared != 0 || opened_.written != 0) {
        open_.push_back(opened_);
    }
}

void canonical_writer::end_element(const xmlNode *element) {
    --depth_;
    output_.append("</");
    write_name(element);
    output_.append(">");
    if (!open_.empty() && open_.back().element == element) {
        scope_.take_back(open_.back().declared);
        rendered_.take_back(open_.back().written);
        open_.pop_back();
    }
}

// --- everything else ----------------------------------------------------------------------------

void canonical_writer::write_content(const xmlNode *node, std::string_view text,
                                     canonical_place place) {
    if (!unfoldings_.empty()) {
        unfolded_ += text.size();
    }
    if (!append_canonical(output_, text, place, poll_)) {
        refuse_to_write(node, is_attribute(node)
                                  ? "its value holds a character that XML does not have"
                                  : k_no_character);
    }
}

// What stands for a reference: its first node, or null when all of it has been written.
const xmlNode *canonical_writer::unfold(const xmlNode *reference, canonical_place place) {
    const xmlEntity *const entity = entity_to_write(reference);
    const xmlNode *const first = entity->children;
    if (first == nullptr || first->parent != reinterpret_cast<const xmlNode *>(entity)) {
        if (!is_text_only(entity)) {
            refuse_to_write(reference, "its entity has not been read");
        }
        write_content(reference, view_of(entity->content), place);
        return nullptr;
    }
    const auto is_same = [entity](const unfolding &each) noexcept { return each.entity == entity; };
    if (unfoldings_.size() == k_deepest_unfolding ||
        std::any_of(unfoldings_.begin(), unfoldings_.end(), is_same)) {
        refuse_to_write(reference, "entities stand in themselves, or too deep in each other");
    }
    if (unfolded_ > k_largest_unfolding) {
        refuse_to_write(reference, "its entities are too large");
    }
    unfoldings_.push_back({reference, entity});
    return first;
}

void canonical_writer::write_comment(const xmlNode *comment) {
    const std::string_view text = view_of(comment->content);
    if (const char *const reason = comment_fault(text); reason != nullptr) {
        refuse_to_write(comment, reason);
    }
    output_.append("<!--");
    write_content(comment, text, canonical_place::verbatim);
    output_.append("-->");
}

void canonical_writer::write_instruction(const xmlNode *instruction) {
    const std::string_view text = view_of(instruction->content);
    if (const char *const reason = instruction_fault(instruction, names_); reason != nullptr) {
        refuse_to_write(instruction, reason);
    }
    output_.append("<?");
    output_.append(view_of(instruction->name));
    if (!text.empty()) {
        output_.append(" ");
        write_content(instruction, text, canonical_place::verbatim);
    }
    output_.append("?>");
}

// The long-named functions put nodes below nodes that can have none in XML.
void canonical_writer::write_leaf(const xmlNode *node) {
    if (node->children != nullptr) {
        refuse_to_write(node->children, "nothing can stand below a node of the type above it");
    }
    switch (node->type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
        write_content(node, view_of(node->content), canonical_place::text);
        break;
    case XML_COMMENT_NODE:
        if (options_.with_comments) {
            write_comment(node);
        }
        break;
    case XML_PI_NODE:
        write_instruction(node);
        break;
    default:
        refuse_to_write(node, "it stands in a document type or for one of its declarations");
    }
}

// Writes a node up to where its children, or what stands for it, begin; gives their first.
const xmlNode *canonical_writer::write_begin(const xmlNode *node) {
    poll_.step();
    if (!unfoldings_.empty()) {
        ++unfolded_;
    }
    if (node->type == XML_ELEMENT_NODE) {
        begin_element(node);
        if (node->children == nullptr) {
            end_element(node);
        }
        return node->children;
    }
    if (node->type == XML_ENTITY_REF_NODE) {
        return unfold(node, canonical_place::text);
    }
    write_leaf(node);
    return nullptr;
}

// The node behind one that has been written, in document order; null behind the last one. What
// ends between them is closed.
const xmlNode *canonical_writer::next_of(const xmlNode *node, const xmlNode *top) {
    while (node != top) {
        if (!unfoldings_.empty() && node == unfoldings_.back().entity->last) {
            node = unfoldings_.back().reference;
            unfoldings_.pop_back();
        } else if (node->next != nullptr) {
            return node->next;
        } else {
            node = node->parent;
            poll_.step();
            end_element(node);
        }
    }
    return nullptr;
}

void canonical_writer::write_tree(const xmlNode *top) {
    const xmlNode *node = top;
    while (node != nullptr) {
        const xmlNode *const inner = write_begin(node);
        node = inner != nullptr ? inner : next_of(node, top);
    }
}

void canonical_writer::write_beside_root(const xmlNode *node, bool is_behind) {
    if (node->type == XML_COMMENT_NODE && !options_.with_comments) {
        return;
    }
    if (is_behind) {
        output_.append("\n");
    }
    write_leaf(node);
    if (!is_behind) {
        output_.append("\n");
    }
}

[[nodiscard]] bool is_beside_root(const xmlNode *node) noexcept {
    return node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE;
}

void canonical_writer::write_document(const xmlNode *document) {
    bool has_root = false;
    for (const xmlNode *child = document->children; child != nullptr; child = child->next) {
        poll_.step();
        if (child->type == XML_ELEMENT_NODE) {
            if (has_root) {
                refuse_to_write(child, "it stands behind the root element");
            }
            has_root = true;
            write_tree(child);
        } else if (is_beside_root(child)) {
            write_beside_root(child, has_root);
        } else if (child->type != XML_DTD_NODE) {
            refuse_to_write(child, "it stands outside of the root element");
        }
    }
    if (!has_root) {
        refuse_to_write(document, "it has no root element");
    }
}

// Whether the root element stands in front of a node beside it.
[[nodiscard]] bool is_behind_root(const xmlNode *node) {
    poll_counter poll;
    for (; node != nullptr; node = node->prev) {
        poll.step();
        if (node->type == XML_ELEMENT_NODE) {
            return true;
        }
    }
    return false;
}

} // namespace

void write_canonical(xmlNodePtr node, const canonical_options &options, text_output &output) {
    canonical_writer writer(options, output);
    if (is_document(node)) {
        writer.write_document(node);
    } else if (node->type == XML_DOCUMENT_FRAG_NODE) {
        for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
            writer.write_tree(child);
        }
    } else if (is_beside_root(node) && node->parent != nullptr && is_document(node->parent)) {
        writer.write_beside_root(node, is_behind_root(node));
    } else {
        writer.write_tree(node);
    }
}

} // namespace pkg_dbe_xml
