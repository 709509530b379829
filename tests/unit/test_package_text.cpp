// Text in and out with the package xmldom: what was read is written as it was, and what was written
// is read as the same tree; what cannot be written is refused.
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#define PACKAGE_ENTRY(name) extern "C" host::datum name(host::call_record *record)
PACKAGE_ENTRY(xmldom_parse_text);
PACKAGE_ENTRY(xmldom_parse_bytes);
PACKAGE_ENTRY(xmldom_to_text);
PACKAGE_ENTRY(xmldom_to_bytea);
PACKAGE_ENTRY(xmldom_to_xml);
PACKAGE_ENTRY(xmldom_is_equal_node);
PACKAGE_ENTRY(xmldom_get_document_element);
PACKAGE_ENTRY(xmldom_get_first_child);
PACKAGE_ENTRY(xmldom_get_attribute_node);
PACKAGE_ENTRY(xmldom_get_doctype);
PACKAGE_ENTRY(xmldom_get_text_content);
PACKAGE_ENTRY(xmldom_get_xml_encoding);
#undef PACKAGE_ENTRY

namespace {

using sql::call;

class package_text : public sql::session_test {
  protected:
    static sql::handle parsed(std::string_view text) {
        return call(xmldom_parse_text, text).handle();
    }
    static sql::handle root(const sql::handle &document) {
        return call(xmldom_get_document_element, document).handle();
    }
    static sql::handle first(const sql::handle &node) {
        return call(xmldom_get_first_child, node).handle();
    }
    static std::string text_of(const sql::handle &node) {
        return call(xmldom_to_text, node).text();
    }
    static std::string round(std::string_view text) { return text_of(parsed(text)); }
    // The report of a node that cannot be written.
    static std::string refusal(const sql::handle &node) {
        const sql::result result = call(xmldom_to_text, node);
        if (!result.failed()) {
            return "written: " + result.text();
        }
        EXPECT_EQ(result.error_->sqlstate, "2200N");
        const std::string &message = result.error_->message;
        return message.substr(message.find(": ") + 2) + " at " + result.error_->context;
    }
    void TearDown() override {
        EXPECT_TRUE(sql::check_invariants());
        sql::session_test::TearDown();
    }
};

// --- as it went in ------------------------------------------------------------------------------

TEST_F(package_text, comes_out_as_it_went_in) {
    for (const char *const text :
         {"<a/>", "<a></a>", "<p><b>Hello</b> <i>world</i></p>", "<a>\n  <b/>\n</a>",
          "<?xml version=\"1.0\"?>\n<a/>",
          "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"no\"?>\n<a/>",
          "<!--c-->\n<?p i?>\n<a/>\n<!--d-->\n<?q?>", "<a><![CDATA[<&>]]></a>",
          "<a><![CDATA[]]></a>",
          "<a x=\"&lt;&amp;&quot;'&gt;&#9;&#10;&#13;\">&lt;&amp;&gt;\"'&#13;</a>",
          "<a xmlns=\"d\" xmlns:p=\"u\" p:x=\"1\"><p:b/><c xmlns=\"\"/></a>",
          "<a xml:lang=\"de\">gr\xC3\xB6\xC3\x9F"
          "e \xF0\x9F\x98\x80</a>",
          "<a><!----></a>", "<!DOCTYPE a SYSTEM \"s\">\n<a/>",
          "<!DOCTYPE a [\n<!ENTITY e \"v\">\n]>\n<a/>",
          // in a document type without declarations too
          "<!DOCTYPE a [\n<!--c-->\n]>\n<a/>",
          "<!DOCTYPE a SYSTEM \"s\" [\n<?p d?>\n<!--c-->\n]>\n<a/>", "<p:a/>", "<a p:x=\"1\"/>"}) {
        const std::string expected =
            std::string_view(text) == "<a></a>" ? std::string("<a/>") : std::string(text);
        EXPECT_EQ(round(text), expected);
        EXPECT_TRUE(call(xmldom_is_equal_node, parsed(text), parsed(round(text))).boolean())
            << text;
    }
}

TEST_F(package_text, sections_that_end_within_are_split_and_read_as_one) {
    const sql::handle document = parsed("<a><![CDATA[x]]]]><![CDATA[>y]]></a>");
    EXPECT_EQ(text_of(document), "<a><![CDATA[x]]]]><![CDATA[>y]]></a>");
    EXPECT_EQ(call(xmldom_get_text_content, root(document)).text(), "x]]>y");
}

TEST_F(package_text, blanks_are_kept_or_dropped) {
    const char *const text = "<a> <b>x</b> </a>";
    EXPECT_EQ(round(text), text);
    EXPECT_EQ(text_of(call(xmldom_parse_text, text, "keep").handle()), text);
    EXPECT_EQ(text_of(call(xmldom_parse_text, text, "drop").handle()), "<a><b>x</b></a>");
    EXPECT_EQ(text_of(call(xmldom_parse_text, text, sql::null).handle()), text);
    EXPECT_EQ(call(xmldom_parse_text, text, "none").error_->sqlstate, "22023");
    EXPECT_EQ(call(xmldom_parse_text, sql::null).error_->sqlstate, "22004");
}

TEST_F(package_text, what_is_no_document) {
    for (const char *const text : {"", "text", "<a>", "<a/><b/>", "<a/>text", "<a>\x01</a>"}) {
        EXPECT_EQ(call(xmldom_parse_text, text).error_->sqlstate, "2200M") << text;
    }
}

TEST_F(package_text, options_of_writing) {
    const sql::handle document =
        parsed("<a><b><c/></b><d>t<e/></d><f xml:space='preserve'><g/></f></a>");
    EXPECT_EQ(call(xmldom_to_text, document, 2).text(),
              "<a>\n  <b>\n    <c/>\n  </b>\n  <d>t<e/></d>\n"
              "  <f xml:space=\"preserve\"><g/></f>\n</a>");
    EXPECT_EQ(call(xmldom_to_text, document, 0, true).text().substr(0, 24),
              "<?xml version=\"1.0\"?>\n<a");
    EXPECT_EQ(call(xmldom_to_text, document, -1).text(), text_of(document));
    EXPECT_EQ(call(xmldom_to_text, document, sql::null, sql::null).text(), text_of(document));
    const sql::handle declared = parsed("<?xml version='1.0' encoding='UTF-8'?><a/>");
    EXPECT_EQ(call(xmldom_to_text, declared, 0, false).text(), "<a/>");
    EXPECT_EQ(call(xmldom_to_xml, declared).text(), "<?xml version=\"1.0\"?>\n<a/>");
    EXPECT_TRUE(call(xmldom_to_xml, sql::null).is_null());
    EXPECT_EQ(call(xmldom_to_text, sql::null).error_->sqlstate, "22004");
    EXPECT_EQ(call(xmldom_to_text, root(declared), 0, true).text(),
              "<?xml version=\"1.0\"?>\n<a/>");
}

TEST_F(package_text, nodes_by_themselves) {
    const sql::handle r =
        root(parsed("<r xmlns='d' xmlns:p='u' xmlns:q='v'><p:a xmlns:q='w' p:x='1&lt;'/></r>"));
    const sql::handle a = first(r);
    EXPECT_EQ(text_of(a), "<p:a xmlns:q=\"w\" xmlns=\"d\" xmlns:p=\"u\" p:x=\"1&lt;\"/>");
    EXPECT_TRUE(call(xmldom_is_equal_node, a, root(parsed(text_of(a)))).boolean());
    EXPECT_EQ(text_of(call(xmldom_get_attribute_node, a, "p:x").handle()), "p:x=\"1&lt;\"");
    EXPECT_EQ(text_of(first(root(parsed("<r>a&lt;b</r>")))), "a&lt;b");
    EXPECT_EQ(text_of(first(root(parsed("<r><!--c--></r>")))), "<!--c-->");
    EXPECT_EQ(text_of(first(root(parsed("<r><?p i?></r>")))), "<?p i?>");
    EXPECT_EQ(text_of(call(xmldom_get_doctype, parsed("<!DOCTYPE r><r/>")).handle()),
              "<!DOCTYPE r>");
}

// --- what cannot be written ---------------------------------------------------------------------

TEST_F(package_text, documents_without_a_root) {
    EXPECT_EQ(refusal(call(xml_dom_new_document_empty).handle()),
              "it has no root element at path /");
}

// What only functions with long names make.
class unusual_trees : public package_text {
  protected:
    struct made {
        sql::handle document, r;
    };
    static made fresh() {
        const sql::handle document = parsed("<r xmlns:p='u'/>");
        return {document, root(document)};
    }
};

TEST_F(unusual_trees, have_names_that_would_be_read_otherwise) {
    {
        const made m = fresh();
        call(xml_dom_append_child, m.r,
             call(xml_dom_create_element, m.document, "not a name").handle());
        EXPECT_EQ(refusal(m.document), "its name is no name in XML at path /r/not a name");
        EXPECT_EQ(text_of(parsed("<r/>")), "<r/>");
    }
    {
        const made m = fresh();
        call(xml_dom_append_child, m.r, call(xml_dom_create_element, m.document, "p:x").handle());
        EXPECT_EQ(refusal(m.document), "its name would be read as one with a prefix at path /r/*");
    }
    {
        // In a namespace, a name with a colon and no prefix of its own.
        const made m = fresh();
        call(xml_dom_append_child, m.r,
             call(xml_dom_create_element_ns, m.document, "z:x", "urn:z").handle());
        EXPECT_EQ(refusal(m.document), "its name would be read as one with a prefix at path /r/*");
        // In none it is written as it was read, whatever the default namespace.
        constexpr std::string_view text = "<r xmlns=\"urn:r\"><z:x/></r>";
        EXPECT_EQ(text_of(parsed(text)), text);
    }
    {
        const made m = fresh();
        call(xml_dom_set_attribute, m.r, "xmlns:q", "v");
        EXPECT_EQ(refusal(m.document),
                  "it would be read as a namespace declaration at path /r/@xmlns:q");
    }
    {
        const made m = fresh();
        call(xml_dom_set_doctype, m.document, "no name", sql::null, sql::null);
        EXPECT_EQ(refusal(m.document), "its name is no name in XML at ");
    }
    {
        const made m = fresh();
        call(xml_dom_set_attribute_ns, m.r, "x", "1", "urn:none");
        EXPECT_NE(refusal(m.document).find("gives it its namespace"), std::string::npos);
    }
}

TEST_F(unusual_trees, have_characters_and_places_that_xml_does_not_have) {
    {
        const made m = fresh();
        call(xml_dom_set_attribute, m.r, "a", "\x01");
        EXPECT_EQ(refusal(m.document),
                  "its value holds a character that XML does not have at path /r/@a");
    }
    {
        const made m = fresh();
        call(xml_dom_append_child, m.r,
             call(xml_dom_create_text_node, m.document, "a\x02").handle());
        EXPECT_EQ(refusal(m.document),
                  "it holds a character that XML does not have at path /r/text()");
    }
    {
        const made m = fresh();
        call(xml_dom_append_child, m.document,
             call(xml_dom_create_element, m.document, "s").handle());
        EXPECT_EQ(refusal(m.document), "it stands behind the root element at path /s");
    }
    {
        const made m = fresh();
        call(xml_dom_append_child, m.document,
             call(xml_dom_create_text_node, m.document, "t").handle());
        EXPECT_EQ(refusal(m.document), "it stands outside of the root element at path /text()");
    }
    {
        const made m = fresh();
        const sql::handle instruction =
            call(xmldom_create_processing_instruction, m.document, "i", "j").handle();
        call(xml_dom_append_child, m.r, instruction);
        call(xml_dom_append_child, instruction,
             call(xml_dom_create_element, m.document, "s").handle());
        EXPECT_EQ(refusal(m.document), "nothing can stand below a node of the type above it at "
                                       "path /r/processing-instruction('i')/s");
    }
}

TEST_F(package_text, data_that_ends_its_own_markup) {
    const sql::handle document = parsed("<r><!--c--><?p i?><![CDATA[d]]></r>");
    sql::handle node = first(root(document));
    const auto set = [&node](std::string_view value) {
        EXPECT_FALSE(call(xml_dom_set_node_value, node, value).failed());
    };
    for (const char *const bad : {"a--b", "a-", "-", "--", "a\r"}) {
        set(bad);
        EXPECT_TRUE(call(xmldom_to_text, document).failed()) << bad;
    }
    set("- a -b");
    EXPECT_EQ(text_of(document), "<r><!--- a -b--><?p i?><![CDATA[d]]></r>");
    node = call(xml_dom_get_next_sibling, node).handle();
    for (const char *const bad : {"a?>b", " a", "\ta", "a\rb"}) {
        set(bad);
        EXPECT_TRUE(call(xmldom_to_text, document).failed()) << bad;
    }
    set("i ?");
    node = call(xml_dom_get_next_sibling, node).handle();
    set("a\rb");
    EXPECT_TRUE(call(xmldom_to_text, document).failed());
    set("]]>]]>");
    const std::string text = text_of(document);
    // Later versions of libxml2 keep the sections that it was divided into.
    const sql::handle again = parsed(text);
    EXPECT_EQ(call(xmldom_get_text_content, root(again)).text(), "]]>]]>");
    EXPECT_EQ(text_of(again), text);
}

// --- bytes --------------------------------------------------------------------------------------

TEST_F(package_text, bytes_say_how_they_are_encoded) {
    using namespace std::string_literals;
    const auto read = [](std::string_view bytes) {
        const sql::result document = call(xmldom_parse_bytes, bytes);
        return document.failed() ? document.error_->sqlstate
                                 : call(xmldom_get_text_content, root(document.handle())).text();
    };
    EXPECT_EQ(read("<a>\xC3\xB6</a>"), "\xC3\xB6");
    EXPECT_EQ(read("\xEF\xBB\xBF<a>\xC3\xB6</a>"), "\xC3\xB6");
    EXPECT_EQ(read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xF6</a>"), "\xC3\xB6");
    EXPECT_EQ(read("<?xml version=\"1.0\" encoding = \"utf-8\"?><a>\xC3\xB6</a>"), "\xC3\xB6");
    EXPECT_EQ(read("\xFF\xFE<\0a\0>\0\xF6\0<\0/\0a\0>\0"s), "\xC3\xB6");
    EXPECT_EQ(read("\xFE\xFF\0<\0a\0>\0\xF6\0<\0/\0a\0>"s), "\xC3\xB6");
    EXPECT_EQ(read("<\0a\0>\0\xF6\0<\0/\0a\0>\0"s), "\xC3\xB6");
    EXPECT_EQ(read("\0<\0a\0>\0\xF6\0<\0/\0a\0>"s), "\xC3\xB6");
    EXPECT_EQ(read("<?xml version='1.0' encoding='UTF-16'?><a>\xC3\xB6</a>"), "\xC3\xB6");
    EXPECT_EQ(read("<a>\xF6</a>"), "2200M");
    EXPECT_EQ(read("<?xml version='1.0' encoding='none'?><a/>"), "22021");
    EXPECT_EQ(read("<?xml version='1.0' encoding='ISO-8859-1//IGNORE'?><a/>"), "22021");
    EXPECT_EQ(read("<?xml version='1.0' encoding='US-ASCII'?><a>\xF6</a>"), "22021");
    EXPECT_EQ(read("\xFF\xFE<\0a\0>"s), "22021"); // half a character at the end
    EXPECT_EQ(read(""), "2200M");
    EXPECT_EQ(call(xmldom_parse_bytes, sql::null).error_->sqlstate, "22004");
}

// A byte that becomes three: libxml2 makes room for two at a time.
TEST_F(package_text, bytes_that_become_longer_are_read_whole) {
    const std::size_t count = 300000;
    const sql::result document =
        call(xmldom_parse_bytes, "<?xml version='1.0' encoding='windows-1252'?><a>" +
                                     std::string(count, '\x80') + "</a>");
    ASSERT_FALSE(document.failed()) << document.error().message;
    const std::string text = call(xmldom_get_text_content, root(document.handle())).text();
    EXPECT_EQ(text.size(), 3 * count);
    EXPECT_EQ(text.find_first_not_of("\xE2\x82\xAC"), std::string::npos);
}

TEST_F(package_text, bytes_come_back_in_every_encoding) {
    const std::string text = "<a x=\"\xE2\x82\xAC\">gr\xC3\xB6\xC3\x9F"
                             "e \xE2\x82\xAC</a>";
    const sql::handle document = parsed(text);
    for (const char *const encoding :
         {"UTF-8", "utf8", "UTF-16", "UTF-16LE", "UTF-16BE", "ISO-8859-1", "US-ASCII", "EUC-JP",
          "windows-1252", "UCS-4"}) {
        const sql::result bytes = call(xmldom_to_bytea, document, encoding);
        ASSERT_FALSE(bytes.failed()) << encoding;
        const sql::handle again = call(xmldom_parse_bytes, bytes.text()).handle();
        EXPECT_TRUE(call(xmldom_is_equal_node, document, again).boolean()) << encoding;
    }
    for (const char *const encoding : {"none", "HTML", "UTF-7", "/", ""}) {
        EXPECT_EQ(call(xmldom_to_bytea, document, encoding).error_->sqlstate, "22021") << encoding;
    }
    EXPECT_EQ(call(xmldom_to_bytea, document, sql::null).text(), text);
    EXPECT_EQ(
        call(xmldom_to_bytea, parsed("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xB6</a>"))
            .text(),
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a>\xF6</a>");
}

TEST_F(package_text, only_texts_and_values_can_have_references) {
    for (const char *const text :
         {"<\xE2\x82\xAC/>", "<a><!--\xE2\x82\xAC--></a>", "<a><?p \xE2\x82\xAC?></a>",
          "<a><![CDATA[\xE2\x82\xAC]]></a>", "<a \xE2\x82\xAC='1'/>",
          "<\xE2\x82\xAC:a xmlns:\xE2\x82\xAC='u'/>"}) {
        const sql::result document = call(xmldom_parse_text, text);
        if (document.failed()) {
            continue; // the sign cannot stand in a name
        }
        EXPECT_EQ(call(xmldom_to_bytea, document.handle(), "ISO-8859-1").error_->sqlstate, "2200N")
            << text;
    }
    const sql::handle named = parsed("<\xC5\x91/>");
    EXPECT_EQ(call(xmldom_to_bytea, named, "ISO-8859-1").error_->sqlstate, "2200N");
    EXPECT_FALSE(call(xmldom_to_bytea, named, "ISO-8859-2").failed());
    EXPECT_FALSE(
        call(xmldom_to_bytea, parsed("<a><!--&#1;\xC3\xB6--></a>"), "ISO-8859-1").failed());
}

TEST_F(package_text, long_texts_cross_the_pieces_of_the_converter) {
    std::string text = "<a>";
    for (int place = 0; place < 50000; ++place) {
        text += place % 3 == 0 ? "\xE2\x82\xAC" : place % 3 == 1 ? "\xC3\xB6" : "x";
    }
    const sql::handle document = parsed(text + "</a>");
    for (const char *const encoding : {"UTF-16", "ISO-8859-1", "windows-1252", "EUC-JP"}) {
        const sql::result bytes = call(xmldom_to_bytea, document, encoding);
        ASSERT_FALSE(bytes.failed()) << encoding;
        EXPECT_TRUE(
            call(xmldom_is_equal_node, document, call(xmldom_parse_bytes, bytes.text()).handle())
                .boolean())
            << encoding;
    }
}

// --- deep and wide ------------------------------------------------------------------------------

TEST_F(package_text, deep_trees_and_many_namespaces) {
    std::string text;
    for (int level = 0; level < 2000; ++level) {
        text += "<p:a xmlns:p=\"u" + std::to_string(level % 7) + "\">";
    }
    for (int level = 0; level < 2000; ++level) {
        text += "</p:a>";
    }
    const sql::handle document = parsed(text);
    const sql::handle again = parsed(text_of(document));
    EXPECT_TRUE(call(xmldom_is_equal_node, document, again).boolean());
}

// --- failures -----------------------------------------------------------------------------------

constexpr const char *k_document =
    "<!DOCTYPE r [<!ENTITY e 'v'>]><r xmlns:p='u' p:a='1&lt;'><p:b/>t\xC3\xB6<![CDATA[d]]><!--c-->"
    "<?p i?></r>";

TEST(package_text_failures, every_allocation_of_document_types) {
    struct failing_of_type {
        const char *name;
        std::function<sql::result(const sql::handle &document, const sql::handle &type)> run;
    };
    const failing_of_type calls_of_types[] = {
        {"to_text", [](const sql::handle &document,
                       const sql::handle &) { return call(xmldom_to_text, document); }},
        {"get_internal_subset",
         [](const sql::handle &, const sql::handle &type) {
             return call(xmldom_get_internal_subset, type);
         }},
        {"is_equal_node",
         [](const sql::handle &, const sql::handle &type) {
             return call(xmldom_is_equal_node, type, type);
         }},
    };
    // libxml2 writes the declarations: they are longer than its buffer.
    std::string typed = "<!DOCTYPE a [<!ELEMENT a ANY>";
    for (int number = 0; number < 200; ++number) {
        typed += "<!ENTITY e" + std::to_string(number) + " 'the text that it stands for'>";
    }
    typed += "]><a/>";
    sql::sweep_figures figures;
    for (const failing_of_type &each : calls_of_types) {
        auto document = std::make_shared<sql::handle>();
        auto type = std::make_shared<sql::handle>();
        sql::scenario played;
        played.name = std::string(each.name) + " of a document type";
        played.prepare = [document, type, &typed] {
            *document = call(xmldom_parse_text, typed).handle();
            *type = call(xmldom_get_doctype, *document).handle();
        };
        played.run = [document, type, &each] { return each.run(*document, *type); };
        played.libxml2_may_lose = 4096;
        figures += sql::sweep_allocation_failures(played);
    }
    EXPECT_GT(figures.reported, 50);
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported),
                static_cast<long long>(figures.harmless));
}

TEST(package_text_failures, every_allocation) {
    struct failing {
        const char *name;
        std::function<sql::result(const sql::handle &)> run;
    };
    const std::string latin = "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xF6</a>";
    const failing calls[] = {
        {"parse", [](const sql::handle &) { return call(xmldom_parse_text, k_document, "drop"); }},
        {"parse bytes", [&latin](const sql::handle &) { return call(xmldom_parse_bytes, latin); }},
        {"to_text", [](const sql::handle &document) { return call(xmldom_to_text, document, 1); }},
        {"to_bytea",
         [](const sql::handle &document) { return call(xmldom_to_bytea, document, "ISO-8859-1"); }},
        {"to_bytea in UTF-16",
         [](const sql::handle &document) { return call(xmldom_to_bytea, document, "UTF-16"); }},
    };
    sql::sweep_figures figures;
    for (const failing &each : calls) {
        auto document = std::make_shared<sql::handle>();
        sql::scenario played;
        played.name = each.name;
        played.prepare = [document] { *document = call(xmldom_parse_text, k_document).handle(); };
        played.run = [document, &each] { return each.run(*document); };
        played.state = [document] { return call(xml_dom_write_to_buffer_doc, *document).text(); };
        played.libxml2_may_lose = 4096;
        figures += sql::sweep_allocation_failures(played);
    }
    EXPECT_GT(figures.reported, 50);
    std::printf("             %lld injected, %lld reported, %lld harmless\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported),
                static_cast<long long>(figures.harmless));
}

} // namespace
