// Documents written and read again.
#include "support_reading_back.hpp"

#include "tree_equality.hpp"
#include "trees.hpp"

namespace fuzz {
namespace {

sql::result written(const sql::handle &document) {
    return sql::call_with(xmldom_to_text, {document, sql::null, sql::null});
}

sql::result parsed(const std::string &text) {
    return sql::call_with(xmldom_parse_text, {text, sql::null});
}

std::string description_of(const sql::handle &document) {
    return trees::description::of(trees::node_of(document));
}

// What the first text gives, again: parsed trees are written as they are, and are equal.
std::string second_time(const sql::handle &first) {
    const sql::result text = written(first);
    if (text.failed()) {
        return "what was parsed is not written: " + text.error().message;
    }
    const sql::result again = parsed(text.text());
    if (again.failed()) {
        return "the second text is not read: " + again.error().message + "\n" + text.text();
    }
    if (!sql::call(xmldom_is_equal_node, first, again.handle()).boolean()) {
        return "the second tree is another one: " + text.text();
    }
    const sql::result third = written(again.handle());
    return !third.failed() && third.text() == text.text()
               ? ""
               : "the third text is another one: " + text.text();
}

std::string fault_of(const sql::handle &document, bool packages_only) {
    const sql::result text = written(document);
    if (text.failed()) {
        // Entities that a file declares which is not loaded are known for as long as the document
        // type names the file.
        const bool is_expected =
            !packages_only ||
            xmlDocGetRootElement(reinterpret_cast<xmlDocPtr>(trees::node_of(document))) ==
                nullptr ||
            text.error().message.find("declares no such entity") != std::string::npos;
        return text.error().sqlstate == "2200N" && is_expected
                   ? ""
                   : "not written: " + text.error().sqlstate + " " + text.error().message;
    }
    const sql::result again = parsed(text.text());
    if (again.failed()) {
        return "what was written is not read: " + again.error().message + "; " +
               again.error().context + "\n" + text.text();
    }
    const std::string expected = description_of(document);
    // References to entities are read as what they stand for.
    const bool has_references = expected.starts_with("reference ") ||
                                expected.find("\nreference ") != std::string::npos ||
                                expected.find("=&") != std::string::npos ||
                                text.text().find("<!ENTITY") != std::string::npos;
    if (!has_references && description_of(again.handle()) != expected) {
        return "read as another tree: " + text.text() + "\nwas\n" + expected + "is\n" +
               description_of(again.handle());
    }
    return second_time(again.handle());
}

} // namespace

std::string reading_back_fault(std::span<const sql::handle> documents, bool packages_only) {
    for (const sql::handle &document : documents) {
        const xmlNode *const node = trees::node_of(document);
        if (node == nullptr || node->type != XML_DOCUMENT_NODE) {
            continue;
        }
        if (std::string fault = fault_of(document, packages_only); !fault.empty()) {
            return fault;
        }
    }
    return "";
}

} // namespace fuzz
