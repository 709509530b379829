// The tree writer against libxml2: the same bytes, for every kind of node, for documents of the
// machine the test runs on, and for trees made at random.
#include "libxml/xml.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "write/tree_writer.hpp"
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

constexpr std::int64_t k_any_length = 0x7FFFFFFF;

const xmlChar *xml(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

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

constexpr int k_option_sets[] = {
    0, XML_PARSE_NOBLANKS, XML_PARSE_NOENT | XML_PARSE_NOBLANKS | XML_PARSE_HUGE,
    XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_HUGE, XML_PARSE_NOCDATA};

xml_doc_ptr parse(std::string_view text, int options) {
    const host::xml_scope scope;
    return xml_doc_ptr(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      options | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

class tree_writer : public sql::session_test {};

// --- documents by hand ------------------------------------------------------------------------

constexpr const char *k_documents[] = {
    "<a/>",
    "<a></a>",
    "<a>text</a>",
    "<a><b/></a>",
    "<a><b/>text<c/></a>",
    "<a><b><c><d/></c></b></a>",
    "<a><b><c>x<d><e/></d></c></b><f><g/></f></a>",
    "<a><b>x<c><d/></c></b><e><f/></e>y</a>",
    "<?xml version='1.0' standalone='yes'?><a/>",
    "<?xml version='1.0' standalone='no'?><a/>",
    "<?xml version='1.1'?><a/>",
    "<?xml version='1.0' encoding='UTF-8'?><a b='\xC3\xA4'>\xC3\xA4</a>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE4'>\xE4</a>",
    "<a b='\xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E'>\xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E</a>",
    "<a b='&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;'>&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;</a>",
    "<a xmlns='urn:one' xmlns:p='urn:two'><p:b p:c='1' d='2'/></a>",
    "<p:a xmlns:p='urn:&quot;one&quot;' xmlns:q='urn:it&apos;s' xmlns:r='&quot;&apos;'/>",
    "<a xmlns=''><b xmlns='urn:x'><c xmlns=''/></b></a>",
    "<a xml:lang='en' xml:space='preserve'> <b/> </a>",
    "<a><![CDATA[x]]></a>",
    "<a><![CDATA[]]></a>",
    "<a><![CDATA[a]]]]><![CDATA[>b]]></a>",
    "<a><!--c--><b/><!----></a>",
    "<!--before--><?go now?><a/><!--after--><?stop?>",
    "<a><?go?><?go  now ?><b/></a>",
    "<!DOCTYPE a><a/>",
    "<!DOCTYPE a SYSTEM 'a.dtd'><a/>",
    "<!DOCTYPE a PUBLIC '-//A//B' 'a.dtd'><a/>",
    "<!DOCTYPE a SYSTEM \"it's\"><a/>",
    "<!--x--><!DOCTYPE a [<!ELEMENT a ANY>]><!--y--><a><b/></a>",
    "<!DOCTYPE a [<!ELEMENT a (b*,(c|d)+,e?)><!ELEMENT b EMPTY><!ELEMENT c (#PCDATA|b)*>"
    "<!ATTLIST a x CDATA 'v&amp;w' y (p|q) #IMPLIED z ID #REQUIRED><!ATTLIST b n NMTOKENS #FIXED "
    "'1 2'><!NOTATION gif PUBLIC '-//GIF'><!NOTATION png SYSTEM 'png' ><!ENTITY e 'text &#38;#38; "
    "more'><!ENTITY pic SYSTEM 'p.gif' NDATA gif><!ENTITY ext PUBLIC '-//X' 'x.xml'><!ENTITY % p "
    "'<!--from p-->'>%p;<!--inside--><?within it?>]><a z='i'><b/><c>&e;</c></a>",
    "<!DOCTYPE a [<!ENTITY e '<b>x</b>y'><!ENTITY f 'f &e; f'>]><a p='1&#38;2'>&e;<c>&f;</c></a>",
    "<!DOCTYPE a [<!ENTITY e 'in attribute'>]><a p='x &e; y' q='&e;'><b r='&e;&e;'/></a>",
    "<!DOCTYPE a [<!ATTLIST a d CDATA 'default'><!ENTITY e SYSTEM 'nowhere'>]><a>&e;</a>",
    "<a>\r\n  <b/>\r\n</a>",
    "<a>  </a>",
    "<a>]]&gt;</a>",
};

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
    for (int i = 0; i < 20000; ++i) {
        text += "<!NOTATION n" + std::to_string(i) + " SYSTEM 'n'>\n<!-- " + std::string(40, 'c') +
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

bool is_xml_file(const std::filesystem::path &path) {
    static const std::string_view k_extensions[] = {".xml",  ".svg", ".xsl",
                                                    ".xslt", ".rng", ".xsd"};
    const std::string extension = path.extension().string();
    return std::find(std::begin(k_extensions), std::end(k_extensions), extension) !=
           std::end(k_extensions);
}

std::vector<std::filesystem::path> find_documents() {
    namespace files = std::filesystem;
    std::vector<files::path> found;
    for (const char *folder : {"/usr/share", "/etc/fonts", "/etc/dbus-1", "/etc/xml"}) {
        std::error_code error;
        for (auto file = files::recursive_directory_iterator(
                 folder, files::directory_options::skip_permission_denied, error);
             !error && file != files::recursive_directory_iterator(); file.increment(error)) {
            std::error_code status;
            if (is_xml_file(file->path()) && file->is_regular_file(status)) {
                found.push_back(file->path());
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string read_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

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

class random_tree {
  public:
    explicit random_tree(unsigned seed) : random_(seed), document_(xmlNewDoc(xml("1.0"))) {
        if (chance(2)) {
            document_->encoding = xmlStrdup(xml(chance(2) ? "UTF-8" : "ISO-8859-1"));
        }
        document_->standalone = static_cast<int>(pick(4)) - 2;
        if (chance(4)) {
            xmlCreateIntSubset(document_.get(), xml("root"), chance(2) ? xml("-//P//Q") : nullptr,
                               chance(2) ? xml("s.dtd") : nullptr);
            xmlAddDocEntity(document_.get(), xml("e"), XML_INTERNAL_GENERAL_ENTITY, nullptr,
                            nullptr, xml("entity <x/> text"));
        }
        if (chance(3)) {
            xmlAddChild(top(), xmlNewDocComment(document_.get(), xml(text().c_str())));
        }
        const xmlNodePtr root = element();
        xmlAddChild(top(), root);
        elements_.push_back(root);
        const std::size_t size = 1 + pick(80);
        for (std::size_t i = 0; i < size; ++i) {
            add();
        }
        if (chance(3)) {
            xmlAddChild(top(), xmlNewDocPI(document_.get(), xml("end"), nullptr));
        }
    }
    [[nodiscard]] xmlDocPtr document() const { return document_.get(); }

  private:
    std::size_t pick(std::size_t bound) { return random_() % bound; }
    bool chance(std::size_t in) { return pick(in) == 0; }
    xmlNodePtr top() { return reinterpret_cast<xmlNodePtr>(document_.get()); }

    std::string text() {
        static const std::string_view k_pieces[] = {"a",
                                                    "word ",
                                                    " ",
                                                    "\n",
                                                    "\r",
                                                    "\t",
                                                    "<",
                                                    ">",
                                                    "&",
                                                    "\"",
                                                    "'",
                                                    "]]>",
                                                    "\xC3\xA4",
                                                    "\xE2\x82\xAC",
                                                    "\x80",
                                                    "\xC3",
                                                    "\x01",
                                                    "--",
                                                    "?>",
                                                    "&amp;",
                                                    "&e;",
                                                    "\xFF",
                                                    "\xF0\x9D\x84",
                                                    "\xED\xA0\x80",
                                                    "0123456789abcdef"};
        std::string text;
        const std::size_t count = pick(chance(20) ? 400 : 6);
        for (std::size_t i = 0; i < count; ++i) {
            text += k_pieces[pick(std::size(k_pieces))];
        }
        return text;
    }

    xmlNodePtr element() {
        static const char *const k_names[] = {"a", "item", "a-rather-long-name-of-an-element",
                                              "\xC3\xA4"};
        const xmlNodePtr made =
            xmlNewDocNode(document_.get(), nullptr, xml(k_names[pick(4)]), nullptr);
        if (chance(4)) {
            static const char *const k_prefixes[] = {nullptr, "p", "prefix"};
            static const char *const k_uris[] = {"", "urn:x", "it's", "\"", "'\"<&"};
            const xmlNsPtr space = xmlNewNs(made, xml(k_uris[pick(5)]), xml(k_prefixes[pick(3)]));
            if (chance(2)) {
                xmlSetNs(made, space);
            }
        }
        for (std::size_t count = pick(3); count > 0; --count) {
            add_attribute(made);
        }
        return made;
    }

    void add_attribute(xmlNodePtr element) {
        const std::string name = "n" + std::to_string(pick(1000));
        const xmlAttrPtr made =
            xmlNewNsProp(element, chance(3) ? element->nsDef : nullptr, xml(name.c_str()), nullptr);
        for (std::size_t count = pick(3); count > 0; --count) {
            const xmlNodePtr part = chance(5) ? xmlNewReference(document_.get(), xml("e"))
                                              : xmlNewDocText(document_.get(), xml(text().c_str()));
            part->parent = reinterpret_cast<xmlNodePtr>(made);
            part->prev = made->last;
            (made->last != nullptr ? made->last->next : made->children) = part;
            made->last = part;
        }
    }

    void add() {
        const xmlNodePtr parent = elements_[pick(elements_.size())];
        const std::string content = text();
        switch (pick(chance(3) ? 9 : 3)) {
        case 0:
        case 1:
        case 2: {
            const xmlNodePtr made = element();
            xmlAddChild(parent, made);
            elements_.push_back(made);
            return;
        }
        case 3:
        case 4:
            xmlAddChild(parent, xmlNewDocText(document_.get(), xml(content.c_str())));
            return;
        case 5:
            xmlAddChild(parent, xmlNewCDataBlock(document_.get(), xml(content.c_str()),
                                                 static_cast<int>(content.size())));
            return;
        case 6:
            xmlAddChild(parent, xmlNewDocComment(document_.get(), xml(content.c_str())));
            return;
        case 7:
            xmlAddChild(parent, xmlNewDocPI(document_.get(), xml("pi"),
                                            chance(2) ? nullptr : xml(content.c_str())));
            return;
        default:
            xmlAddChild(parent, xmlNewReference(document_.get(), xml("e")));
            return;
        }
    }

    std::mt19937 random_;
    xml_doc_ptr document_;
    std::vector<xmlNodePtr> elements_;
};

TEST_F(tree_writer, writes_random_trees_like_libxml2) {
    for (unsigned seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
        const random_tree tree(seed);
        expect_same_everywhere(tree.document(), "seed " + std::to_string(seed));
        host::standalone::reset_caller_context();
    }
}

} // namespace
