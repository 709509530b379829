// The tree writer against libxml2: the same bytes, for every kind of node, for documents of the
// machine the test runs on, and for trees made at random.
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "write/tree_writer.hpp"
#include "written_trees.hpp"
#include "xml_owner.hpp"

#include <libxml/parserInternals.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using pkg_dbe_xml::text_output;
using pkg_dbe_xml::xml_doc_ptr;
using namespace written_trees;

constexpr std::int64_t k_any_length = 0x7FFFFFFF;

std::string text_of(text_output &output) {
    return {output.c_str(), static_cast<std::size_t>(output.size())};
}

std::string document_by_libxml2(xmlDocPtr document) {
    const host::xml_scope scope;
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document, &text, &size, "UTF-8", 1);
    const pkg_dbe_xml::xml_text_ptr owner(text);
    return {reinterpret_cast<const char *>(text), static_cast<std::size_t>(size)};
}

std::string node_by_libxml2(xmlNodePtr node) {
    const host::xml_scope scope;
    const pkg_dbe_xml::xml_buffer_ptr buffer(xmlBufferCreate());
    const int size = xmlNodeDump(buffer.get(), node->doc, node, 0, 1);
    EXPECT_GE(size, 0);
    return {reinterpret_cast<const char *>(xmlBufferContent(buffer.get())),
            static_cast<std::size_t>(size)};
}

// Shows where two texts part.
::testing::AssertionResult same(const std::string &ours, const std::string &theirs) {
    if (ours == theirs) {
        return ::testing::AssertionSuccess();
    }
    const auto place = std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end()).first;
    const auto offset = static_cast<std::size_t>(place - ours.begin());
    const std::size_t from = offset < 60 ? 0 : offset - 60;
    return ::testing::AssertionFailure()
           << "at byte " << offset << " of " << ours.size() << " and " << theirs.size()
           << "\nours:   " << ::testing::PrintToString(ours.substr(from, 120))
           << "\ntheirs: " << ::testing::PrintToString(theirs.substr(from, 120));
}

::testing::AssertionResult same_document(xmlDocPtr document) {
    text_output output(k_any_length);
    if (!write_document_directly(document, output)) {
        return ::testing::AssertionFailure() << "the document was refused";
    }
    text_output way_out(k_any_length);
    write_document_with_libxml2(document, way_out);
    const std::string theirs = document_by_libxml2(document);
    const auto result = same(text_of(way_out), theirs);
    return result ? same(text_of(output), theirs) : result;
}

::testing::AssertionResult same_node(xmlNodePtr node) {
    text_output output(k_any_length);
    if (!write_node_directly(node, output)) {
        return ::testing::AssertionFailure() << "the node was refused";
    }
    text_output way_out(k_any_length);
    write_node_with_libxml2(node, way_out);
    const std::string theirs = node_by_libxml2(node);
    const auto result = same(text_of(way_out), theirs);
    return result ? same(text_of(output), theirs) : result;
}

xmlNodePtr next_node(xmlNodePtr node) {
    if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE &&
        node->type != XML_DTD_NODE) {
        return node->children;
    }
    while (node != nullptr && node->next == nullptr) {
        node = node->parent;
    }
    return node == nullptr ? nullptr : node->next;
}

// The document, and elements and texts in it, no more than some hundred.
void expect_same_everywhere(xmlDocPtr document, const std::string &name) {
    EXPECT_TRUE(same_document(document)) << name;
    EXPECT_TRUE(same_node(reinterpret_cast<xmlNodePtr>(document))) << name;
    std::vector<xmlNodePtr> nodes;
    for (xmlNodePtr node = document->children; node != nullptr; node = next_node(node)) {
        if (node->type == XML_ELEMENT_NODE || node->type == XML_TEXT_NODE) {
            nodes.push_back(node);
        }
    }
    const std::size_t step = nodes.size() / 200 + 1;
    for (std::size_t i = 0; i < nodes.size(); i += step) {
        const auto result = same_node(nodes[i]);
        EXPECT_TRUE(result) << name << ", node " << i;
        if (!result) {
            return;
        }
    }
}

class tree_writer : public sql::session_test {};

// --- documents by hand ------------------------------------------------------------------------

TEST_F(tree_writer, writes_documents_like_libxml2) {
    for (const char *text : k_documents) {
        for (const int options : k_option_sets) {
            const xml_doc_ptr document = parse(text, options);
            ASSERT_NE(document, nullptr) << text;
            expect_same_everywhere(document.get(), text);
        }
    }
}

TEST_F(tree_writer, writes_empty_documents_like_libxml2) {
    for (const int standalone : {-2, -1, 0, 1, 2}) {
        for (const char *version : {"1.0", "1.1", "a\"b", "a'b\"c", ""}) {
            const xml_doc_ptr document(xmlNewDoc(xml(version)));
            document->standalone = standalone;
            EXPECT_TRUE(same_document(document.get())) << version << standalone;
        }
    }
    const xml_doc_ptr document(xmlNewDoc(nullptr));
    xmlFree(const_cast<xmlChar *>(document->version));
    document->version = nullptr;
    EXPECT_TRUE(same_document(document.get()));
}

TEST_F(tree_writer, leaves_xhtml_to_libxml2) {
    constexpr const char *k_xhtml[] = {
        "<!DOCTYPE html PUBLIC '-//W3C//DTD XHTML 1.0 Strict//EN' "
        "'http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd'><html><br/><p></p></html>",
        "<!DOCTYPE html SYSTEM 'http://www.w3.org/TR/xhtml1/DTD/xhtml1-transitional.dtd'><html "
        "xmlns='http://www.w3.org/1999/xhtml'><head/><body><script/><hr/>x</body></html>"};
    for (const char *text : k_xhtml) {
        const xml_doc_ptr document = parse(text, 0);
        ASSERT_NE(document, nullptr);
        xmlNodePtr root = xmlDocGetRootElement(document.get());
        text_output output(k_any_length);
        EXPECT_FALSE(write_document_directly(document.get(), output));
        EXPECT_FALSE(write_node_directly(root, output));
        text_output whole(k_any_length);
        write_document(document.get(), whole);
        EXPECT_TRUE(same(text_of(whole), document_by_libxml2(document.get())));
        text_output part(k_any_length);
        write_node(root, part);
        EXPECT_TRUE(same(text_of(part), node_by_libxml2(root)));
    }
}

// --- nodes by hand ----------------------------------------------------------------------------

// A document with a root element, and room for odd things.
struct small_tree {
    xml_doc_ptr document{xmlNewDoc(xml("1.0"))};
    xmlNodePtr root = xmlNewDocNode(document.get(), nullptr, xml("root"), nullptr);
    small_tree() { xmlDocSetRootElement(document.get(), root); }
};

TEST_F(tree_writer, writes_texts_with_odd_bytes_like_libxml2) {
    // All single bytes, alone, at the beginning, in the middle and at the end.
    std::vector<std::string> texts = {
        "",          "a",         "]]>",       "\xE2\x82",  "\xF0\x9D\x84", "\xC0\x80x",
        "\xC0\x89x", "\xC0\x8Ax", "\xC0\x8Dx", "\xC0\x81x", "\xE0\x80\x8Dx"};
    for (int byte = 1; byte < 256; ++byte) {
        for (const std::string_view frame :
             {"*", "*x", "x*", "x*yz", "**", "*\x80", "*\x80\x80", "*\x80\x80\x80z",
              "aaaaaaaaaaaaaaa*bbbbbbbbbbbbbbbbb"}) {
            std::string text(frame);
            std::replace(text.begin(), text.end(), '*', static_cast<char>(byte));
            texts.push_back(text);
        }
    }
    for (const bool declared : {false, true}) {
        small_tree tree;
        if (declared) {
            tree.document->encoding = xmlStrdup(xml("ISO-8859-1"));
        }
        for (const std::string &text : texts) {
            const xmlNodePtr element =
                xmlNewDocNode(tree.document.get(), nullptr, xml("e"), nullptr);
            xmlAddChild(tree.root, element);
            xmlAddChild(element, xmlNewDocText(tree.document.get(), xml(text.c_str())));
            const xmlAttrPtr attribute = xmlNewProp(element, xml("a"), nullptr);
            attribute->children = xmlNewDocText(tree.document.get(), xml(text.c_str()));
            attribute->children->parent = reinterpret_cast<xmlNodePtr>(attribute);
            attribute->last = attribute->children;
            EXPECT_TRUE(same_node(element)) << ::testing::PrintToString(text);
            EXPECT_TRUE(same_node(element->children)) << ::testing::PrintToString(text);
        }
        EXPECT_TRUE(same_document(tree.document.get()));
    }
}

TEST_F(tree_writer, writes_nodes_without_content_like_libxml2) {
    small_tree tree;
    xmlDocPtr document = tree.document.get();
    xmlAddChild(tree.root, xmlNewDocText(document, nullptr));
    EXPECT_TRUE(same_document(document));
    EXPECT_TRUE(same_node(tree.root->children));
    for (const char *content : {static_cast<const char *>(nullptr), "", "x", "--", "?>", "]]>",
                                "a]]>", "]]>b", "]]>]]>", "a]]]>b"}) {
        small_tree other;
        document = other.document.get();
        xmlAddChild(other.root, xmlNewDocComment(document, xml(content)));
        xmlAddChild(other.root, xmlNewDocPI(document, xml("pi"), xml(content)));
        EXPECT_TRUE(same_document(document));
        const int size = content == nullptr ? 0 : static_cast<int>(std::string(content).size());
        xmlAddChild(other.root, xmlNewCDataBlock(document, xml(content), size));
        EXPECT_TRUE(same_document(document));
        EXPECT_TRUE(same_node(other.root));
    }
}

TEST_F(tree_writer, writes_text_that_is_not_to_be_escaped_like_libxml2) {
    small_tree tree;
    const xmlNodePtr text = xmlNewDocText(tree.document.get(), xml("<&>"));
    text->name = xmlStringTextNoenc;
    xmlAddChild(tree.root, text);
    EXPECT_TRUE(same_document(tree.document.get()));
    EXPECT_TRUE(same_node(text));
}

TEST_F(tree_writer, writes_entity_references_like_libxml2) {
    small_tree tree;
    xmlAddChild(tree.root, xmlNewReference(tree.document.get(), xml("unknown")));
    const xmlAttrPtr attribute =
        xmlNewDocProp(tree.document.get(), xml("a"), xml("x&y;z&amp;&#65;"));
    xmlAddChild(tree.root, reinterpret_cast<xmlNodePtr>(attribute));
    EXPECT_TRUE(same_document(tree.document.get()));
    EXPECT_TRUE(same_node(tree.root));
}

TEST_F(tree_writer, indents_deep_trees_like_libxml2) {
    small_tree tree;
    xmlNodePtr place = tree.root;
    for (int depth = 0; depth < 100; ++depth) {
        xmlNewChild(place, nullptr, xml("side"), nullptr);
        if (depth == 80) {
            xmlNewChild(place, nullptr, xml("text"), xml("x"));
        }
        place = xmlNewChild(place, nullptr, xml("down"), nullptr);
    }
    EXPECT_TRUE(same_document(tree.document.get()));
    EXPECT_TRUE(same_node(tree.root->last->last));
}

TEST_F(tree_writer, writes_trees_of_any_depth) {
    small_tree tree;
    xmlNodePtr place = tree.root;
    for (int depth = 0; depth < 200000; ++depth) {
        const xmlNodePtr child = xmlNewDocNode(tree.document.get(), nullptr, xml("d"), nullptr);
        child->parent = place;
        place->children = place->last = child;
        place = child;
    }
    EXPECT_TRUE(same_document(tree.document.get()));
}

TEST_F(tree_writer, writes_detached_nodes_like_libxml2) {
    small_tree tree;
    const pkg_dbe_xml::xml_node_ptr element(
        xmlNewDocNode(tree.document.get(), nullptr, xml("e"), xml("text")));
    EXPECT_TRUE(same_node(element.get()));
    const pkg_dbe_xml::xml_node_ptr nowhere(xmlNewNode(nullptr, xml("n")));
    xmlNewProp(nowhere.get(), xml("a"), xml("\xC3\xA4"));
    EXPECT_TRUE(same_node(nowhere.get()));
}

TEST_F(tree_writer, writes_a_text_whose_elements_have_text_siblings_later) {
    small_tree tree;
    const xmlNodePtr first = xmlNewChild(tree.root, nullptr, xml("b"), nullptr);
    xmlNewChild(first, nullptr, xml("c"), nullptr);
    xmlAddChild(tree.root, xmlNewDocText(tree.document.get(), xml("late")));
    EXPECT_TRUE(same_document(tree.document.get()));
    EXPECT_TRUE(same_node(first)) << "alone it is indented";
}

// What no parser makes is left to libxml2.
TEST_F(tree_writer, refuses_what_it_does_not_know) {
    for (const xmlElementType type : {XML_XINCLUDE_START, XML_XINCLUDE_END, XML_DOCUMENT_FRAG_NODE,
                                      XML_ENTITY_NODE, XML_HTML_DOCUMENT_NODE}) {
        small_tree tree;
        const xmlNodePtr odd = xmlNewDocNode(tree.document.get(), nullptr, xml("odd"), nullptr);
        xmlAddChild(tree.root, odd);
        odd->type = type;
        text_output output(k_any_length);
        EXPECT_FALSE(write_document_directly(tree.document.get(), output)) << type;
        odd->type = XML_ELEMENT_NODE;
    }
    small_tree tree;
    const xmlNodePtr child = xmlNewChild(tree.root, nullptr, xml("c"), nullptr);
    xmlNewChild(child, nullptr, xml("d"), nullptr);
    child->parent = nullptr;
    text_output output(k_any_length);
    EXPECT_FALSE(write_document_directly(tree.document.get(), output));
    child->parent = tree.root;
}

// --- the output -------------------------------------------------------------------------------

TEST_F(tree_writer, counts_what_it_does_not_keep) {
    const std::string text = "<a>" + std::string(100000, 'x') + "<b c='1&amp;2'/>&amp;</a>";
    const xml_doc_ptr document = parse(text, 0);
    const std::string whole = document_by_libxml2(document.get());
    const auto size = static_cast<std::int64_t>(whole.size());
    for (const std::int64_t longest :
         {std::int64_t{0}, std::int64_t{10}, std::int64_t{5000}, size - 1, size, size + 1}) {
        text_output output(longest);
        write_document(document.get(), output);
        EXPECT_EQ(output.size(), size);
        EXPECT_EQ(output.overflowed(), longest < size);
    }
}

TEST_F(tree_writer, keeps_no_more_than_it_was_told) {
    text_output output(50000);
    const std::string piece(1000, 'x');
    for (int i = 0; i < 10000; ++i) {
        output.append(piece);
    }
    EXPECT_EQ(output.size(), 10000000);
    EXPECT_TRUE(output.overflowed());
    output.append(std::string(3000000, 'y'));
    EXPECT_EQ(output.size(), 13000000);
    const auto use = host::standalone::memory_of(host::current_memory_context());
    EXPECT_LT(use.bytes, 200000U);
    output.clear();
    EXPECT_EQ(output.size(), 0);
    output.append("again");
    EXPECT_EQ(text_of(output), "again");
}

TEST_F(tree_writer, makes_values_of_short_and_long_texts) {
    for (const std::size_t size : {0U, 1U, 4091U, 4092U, 4093U, 32763U, 32764U, 32765U, 1000000U}) {
        text_output output(k_any_length);
        const std::string text(size, 'x');
        for (std::size_t place = 0; place < size; place += 1000) {
            output.append(std::string_view(text).substr(place, 1000));
        }
        host::varlena *const value = output.take_value();
        EXPECT_EQ(host::text_view(value), text);
        EXPECT_EQ(host::total_size(value), size + 4);
        EXPECT_EQ(output.size(), 0);
        output.append("next");
        EXPECT_EQ(text_of(output), "next");
    }
}

TEST_F(tree_writer, stops_when_the_statement_is_asked_to) {
    small_tree tree;
    for (int i = 0; i < 100000; ++i) {
        const xmlNodePtr child = xmlNewDocNode(tree.document.get(), nullptr, xml("c"), nullptr);
        child->parent = tree.root;
        child->prev = tree.root->last;
        (tree.root->last != nullptr ? tree.root->last->next : tree.root->children) = child;
        tree.root->last = child;
    }
    text_output output(k_any_length);
    const std::int64_t polls = host::standalone::poll_count();
    EXPECT_TRUE(write_document_directly(tree.document.get(), output));
    EXPECT_GE(host::standalone::poll_count() - polls, 20);
    host::standalone::cancel_after_polls(5);
    text_output stopped(k_any_length);
    EXPECT_ANY_THROW(static_cast<void>(write_document_directly(tree.document.get(), stopped)));
    EXPECT_LT(stopped.size(), output.size());
    host::standalone::forget_cancel();
}

TEST_F(tree_writer, has_libxml2_stop_when_the_statement_is_asked_to) {
    std::string text = "<!DOCTYPE html SYSTEM 'http://www.w3.org/TR/xhtml1/DTD/"
                       "xhtml1-transitional.dtd' [\n";
    for (int i = 0; i < 1000; ++i) {
        text += "<!NOTATION n" + std::to_string(i) + " SYSTEM 'n'>\n<!-- " + std::string(200, 'c') +
                " -->\n";
    }
    const xml_doc_ptr document = parse(text + "]><html/>", 0);
    ASSERT_NE(document, nullptr);
    const xmlNodePtr type = reinterpret_cast<xmlNodePtr>(document->intSubset);
    text_output whole(k_any_length);
    std::int64_t polls = host::standalone::poll_count();
    write_document(document.get(), whole);
    EXPECT_GE(host::standalone::poll_count() - polls, 20);
    text_output part(k_any_length);
    polls = host::standalone::poll_count();
    write_node(type, part);
    EXPECT_GE(host::standalone::poll_count() - polls, 20);
    for (int at = 1; at <= 20; at += 6) {
        host::standalone::cancel_after_polls(at);
        text_output stopped(k_any_length);
        EXPECT_ANY_THROW(write_document(document.get(), stopped)) << at;
        EXPECT_LT(stopped.size(), whole.size()) << at;
        host::standalone::cancel_after_polls(at);
        text_output stopped_part(k_any_length);
        EXPECT_ANY_THROW(write_node(type, stopped_part)) << at;
        EXPECT_LT(stopped_part.size(), part.size()) << at;
        host::standalone::forget_cancel();
    }
}

// --- documents of this machine ----------------------------------------------------------------

TEST_F(tree_writer, writes_the_documents_of_this_machine_like_libxml2) {
    std::size_t compared = 0;
    std::size_t left_to_libxml2 = 0;
    for (const std::filesystem::path &path : find_documents()) {
        const std::string text = read_file(path);
        for (const int options : {k_option_sets[0], k_option_sets[2]}) {
            const xml_doc_ptr document = parse(text, options);
            if (document == nullptr) {
                continue; // no document
            }
            const xmlDtdPtr subset = xmlGetIntSubset(document.get());
            if (subset != nullptr && xmlIsXHTML(subset->SystemID, subset->ExternalID) > 0) {
                ++left_to_libxml2;
                continue;
            }
            expect_same_everywhere(document.get(), path.string());
            ++compared;
        }
        if (HasFailure()) {
            break;
        }
    }
    std::printf("%zu trees compared, %zu are XHTML\n", compared, left_to_libxml2);
    EXPECT_GT(compared, 0U) << "no documents below /usr/share: is shared-mime-info installed?";
}

// --- trees at random --------------------------------------------------------------------------

TEST_F(tree_writer, writes_random_trees_like_libxml2) {
    for (unsigned seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
        const random_tree tree(seed);
        expect_same_everywhere(tree.document(), "seed " + std::to_string(seed));
        host::standalone::reset_caller_context();
    }
}

} // namespace
