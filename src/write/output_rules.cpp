// Which rules hold for the libxml2 of this process.
//
// The rows were compared with libxml2 byte for byte, version by version: docs/testing.md says
// which. A newer version most likely writes as the newest of them does. Whether it does is asked of
// a sample that holds everything in which the rules differ, and whatever else is written in a way
// of its own.

#include "write/output_rules.hpp"

#include "error_reports.hpp"
#include "host/session.hpp"
#include "libxml/library_version.hpp"
#include "libxml/xml.hpp"
#include "write/tree_writer.hpp"
#include "xml_owner.hpp"

#include <cstdint>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

constexpr output_rules k_output_rules[] = {
    {20914, escape_rules::early, true, invalid_bytes::referred_to, false, true},
    {21300, escape_rules::early, true, invalid_bytes::replaced, true, true},
    {21400, escape_rules::late, false, invalid_bytes::replaced, true, true},
    {21500, escape_rules::late, false, invalid_bytes::replaced, true, false},
};
// From here on a version is asked.
constexpr int k_first_unknown = 21600;

// What a version that is none of the above was found to do.
struct finding {
    int number;
    bool writes_alike;
};
constinit PKG_DBE_XML_SESSION_STORAGE finding last_finding{};

[[nodiscard]] const xmlChar *xml(const char *text) noexcept {
    return reinterpret_cast<const xmlChar *>(text);
}

// Adds a node to an element; null is a failed allocation.
void add(xmlNodePtr parent, xmlNodePtr child) {
    if (child == nullptr || xmlAddChild(parent, child) == nullptr) {
        xmlFreeNode(child);
        report(reports::out_of_memory);
    }
}

xmlNodePtr add_element(xmlNodePtr parent, const char *name) {
    add(parent, xmlNewDocNode(parent->doc, nullptr, xml(name), nullptr));
    return parent->last;
}

// Elements below one another, to beyond the deepest indentation.
void add_depths(xmlNodePtr element) {
    for (int depth = 0; depth < 33; ++depth) {
        element = add_element(element, "deep");
    }
    add(element, xmlNewDocComment(element->doc, xml(" -\xC3\xA4 ")));
}

// Everything that stands within text.
void add_mixed(xmlNodePtr element) {
    const char section[] = "]]>]]\x01";
    const auto length = static_cast<int>(std::strlen(section));
    add(element, xmlNewDocText(element->doc, xml("\xC3\xA4\xE2\x82\xAC<>&\"'\r\n\t\x01\x7F")));
    add(element, xmlNewCDataBlock(element->doc, xml(section), length));
    add(element, xmlNewCDataBlock(element->doc, xml(""), 0));
    add(element, xmlNewReference(element->doc, xml("unknown")));
    add(element, xmlNewDocPI(element->doc, xml("target"), xml("\xC3\xA4?")));
    add_element(element, "empty");
}

void fill(xmlNodePtr root) {
    const xmlNsPtr space = xmlNewNs(root, xml("urn:\"it's\"<&>\xC3\xA4"), xml("p"));
    const xmlNsPtr plain = xmlNewNs(root, xml("urn:'plain'"), nullptr);
    const char value[] = "\xC3\xA4\xE2\x82\xAC<>&\"'\r\n\t\x01";
    if (space == nullptr || plain == nullptr ||
        xmlNewNsProp(root, space, xml("a"), xml(value)) == nullptr ||
        xmlNewProp(root, xml("b"), xml("")) == nullptr) {
        report(reports::out_of_memory);
    }
    root->ns = space;
    add(root, xmlNewDocPI(root->doc, xml("target"), nullptr));
    add(root, xmlNewDocComment(root->doc, xml("")));
    add_depths(add_element(root, "a"));
    add_mixed(add_element(root, "b"));
}

xml_doc_ptr make_sample() {
    xml_doc_ptr sample(xmlNewDoc(xml("1.\"0")));
    if (sample == nullptr) {
        report(reports::out_of_memory);
    }
    xmlNodePtr const root = xmlNewDocNode(sample.get(), nullptr, xml("root"), nullptr);
    if (root == nullptr) {
        report(reports::out_of_memory);
    }
    xmlDocSetRootElement(sample.get(), root);
    fill(root);
    sample->standalone = 1;
    return sample;
}

[[nodiscard]] bool are_equal(text_output &left, text_output &right) {
    return left.size() == right.size() &&
           std::memcmp(left.c_str(), right.c_str(), static_cast<std::size_t>(left.size())) == 0;
}

} // namespace

const output_rules *rules_of(int number) noexcept {
    const output_rules *found = nullptr;
    for (const output_rules &row : k_output_rules) {
        if (row.since <= number) {
            found = &row;
        }
    }
    return found;
}

bool writes_as_libxml2(const output_rules &rules) {
    constexpr std::int64_t k_longest = 65536;
    const host::xml_scope scope;
    const xml_doc_ptr sample = make_sample();
    text_output document(k_longest);
    text_output document_of_libxml2(k_longest);
    text_output node(k_longest);
    text_output node_of_libxml2(k_longest);
    write_document_with_libxml2(sample.get(), document_of_libxml2);
    write_node_with_libxml2(xmlDocGetRootElement(sample.get()), node_of_libxml2);
    return write_document_by(rules, sample.get(), document) &&
           write_node_by(rules, xmlDocGetRootElement(sample.get()), node) &&
           are_equal(document, document_of_libxml2) && are_equal(node, node_of_libxml2);
}

const output_rules *rules_in_force() {
    const int number = host::libxml2_number();
    const output_rules *const rules = rules_of(number);
    if (rules == nullptr || number < k_first_unknown) [[likely]] {
        return rules;
    }
    if (last_finding.number != number) {
        last_finding = {number, writes_as_libxml2(*rules)};
    }
    return last_finding.writes_alike ? rules : nullptr;
}

} // namespace pkg_dbe_xml
