// The canonical form: its arguments, what it does when something fails or the statement is stopped,
// trees that are deep or wide, and large objects.
#include "canonical_reports.hpp"
#include "package_changing.hpp"
#include "standalone_faults.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/large_sizes.hpp"

#include <cstdio>
#include <memory>

namespace {

using sql::call;
namespace standalone = host::standalone;

sql::value texts(const std::vector<const char *> &members, std::size_t columns = 1) {
    return sql::value::of_datum(standalone::make_text_array(members, columns));
}

class canonical_bounds : public package_changing {};

// --- arguments ----------------------------------------------------------------------------------

TEST_F(canonical_bounds, nulls_are_defaults_but_for_the_node) {
    const sql::handle r = document("<r><!--c--></r>");
    EXPECT_EQ(call(xmldom_canonical, r).text(), "<r></r>");
    EXPECT_EQ(call(xmldom_canonical, r, sql::null, sql::null, sql::null, sql::null).text(),
              "<r></r>");
    EXPECT_EQ(call(xmldom_canonical, r, true, true, texts({})).text(), "<r><!--c--></r>");
    EXPECT_EQ(call(xmldom_canonical, r, false, false, texts({}), "1.0").text(), "<r></r>");
    EXPECT_REPORT(call(xmldom_canonical, sql::null), reports::null_package_argument, "node",
                  "xmldom.canonical");
    EXPECT_REPORT(call(xmldom_canonical_to_large_object, sql::null), reports::null_package_argument,
                  "node", "xmldom.canonical_to_large_object");
}

TEST_F(canonical_bounds, versions) {
    const sql::handle r = document("<r/>");
    for (const char *const version : {"", "1", "1.2", "1.0 ", "\xC3\xB6"}) {
        EXPECT_REPORT(call(xmldom_canonical, r, false, false, sql::null, version),
                      reports::canonical_version, version);
    }
    EXPECT_REPORT(call(xmldom_canonical, r, true, false, sql::null, "1.1"),
                  reports::canonical_exclusive_version);
    EXPECT_EQ(call(xmldom_canonical, r, true, false, sql::null, "1.0").text(), "<r></r>");
}

TEST_F(canonical_bounds, inclusive_prefixes) {
    const sql::handle r = document("<r xmlns:\xC3\xB6='urn:p'/>");
    EXPECT_EQ(
        call(xmldom_canonical, r, true, false, texts({"none", "\xC3\xB6", "\xC3\xB6"})).text(),
        "<r xmlns:\xC3\xB6=\"urn:p\"></r>");
    EXPECT_REPORT(call(xmldom_canonical, r, false, false, texts({"p"})),
                  reports::canonical_prefixes_unused);
    EXPECT_REPORT(call(xmldom_canonical, r, true, false, texts({"p", nullptr})),
                  reports::canonical_prefix_null);
    EXPECT_REPORT(call(xmldom_canonical, r, true, false, texts({"p", "q"}, 2)),
                  reports::canonical_prefixes_shape);
    for (const char *const none : {"", "p:q", "1", "#Default", " p"}) {
        EXPECT_REPORT(call(xmldom_canonical, r, true, false, texts({none})),
                      reports::canonical_prefix, none);
    }
}

// --- what cannot be written ---------------------------------------------------------------------

TEST_F(canonical_bounds, what_would_not_be_read_again) {
    const auto refused = [](const sql::handle &node, std::string_view reason) {
        const sql::result made = call(xmldom_canonical, node, false, true);
        ASSERT_TRUE(made.failed()) << reason;
        EXPECT_EQ(made.error().sqlstate, "2200N");
        EXPECT_NE(made.error().message.find(reason), std::string::npos) << made.error().message;
    };
    // `make` runs when the node that it is added to is there.
    const auto with = [](const sql::handle &added_to, const auto &make) {
        EXPECT_FALSE(call(xml_dom_append_child, added_to, make().handle()).failed());
    };
    {
        const sql::handle d = call(xml_dom_new_document_empty).handle();
        refused(d, "it has no root element");
        with(d, [&d] { return call(xml_dom_create_text_node, d, "t"); });
        refused(d, "it stands outside of the root element");
    }
    sql::handle d = document("<r xmlns:p='urn:p'/>");
    with(d, [&d] { return call(xml_dom_create_element, d, "s"); });
    refused(d, "it stands behind the root element");
    const auto fresh = [&d] {
        d = document("<r xmlns:p='urn:p'><!--c--><?i d?><a x='1'/></r>");
        return root(d);
    };
    const auto made = [&d](sql::function maker, std::string_view what) {
        return [&d, maker, what] { return call(maker, d, what); };
    };
    with(fresh(), made(xml_dom_create_element, "no name"));
    refused(d, "its name is no name in XML");
    with(fresh(), made(xml_dom_create_element, "p:x"));
    refused(d, "its name would be read as one with a prefix");
    call(xml_dom_set_attribute, fresh(), "xmlns:q", "v");
    refused(d, "it would be read as a namespace declaration");
    call(xml_dom_set_attribute, fresh(), "a", "\x01");
    refused(d, "its value holds a character that XML does not have");
    with(fresh(), made(xml_dom_create_text_node, "\x02"));
    refused(d, "it holds a character that XML does not have");
    with(fresh(), made(xml_dom_create_text_node, "a\xFF"));
    refused(d, "it holds a character that XML does not have");
    with(child(fresh(), {1}), made(xml_dom_create_element, "s"));
    refused(d, "nothing can stand below a node of the type above it");
    call(xml_dom_set_node_value, child(fresh(), {0}), "a--b");
    refused(d, "\"--\" would end it");
    call(xml_dom_set_node_value, child(fresh(), {1}), "a?>b");
    refused(d, "\"?>\" would end it");
    call(xml_dom_set_attribute_ns, fresh(), "x", "1", "urn:none");
    refused(d, "gives it its namespace");
    fresh();
    {
        const host::tree_scope scope;
        xmlNodePtr const top = node(root(d));
        top->nsDef->next = xmlNewNs(nullptr, trees::xml("urn:q"), trees::xml("p"));
    }
    refused(d, "it declares a prefix twice");
    refused(child(root(d), {2}), "it declares a prefix twice");
}

TEST_F(canonical_bounds, comments_that_are_left_out_are_not_looked_at) {
    const sql::handle d = document("<r><!--c--></r>");
    call(xml_dom_set_node_value, child(root(d), {0}), "a--b");
    EXPECT_EQ(call(xmldom_canonical, d).text(), "<r></r>");
}

TEST_F(canonical_bounds, entities_that_grow_without_end) {
    // References beyond the first come later: libxml2 has a limit of its own for parsed ones.
    const auto document_of = [](int references) {
        const sql::handle made =
            document("<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "<x/>'>]><r>&e;</r>");
        const host::tree_scope scope;
        xmlDocPtr const tree = trees::document_of(made);
        for (int each = 1; each < references; ++each) {
            xmlAddChild(xmlDocGetRootElement(tree), xmlNewReference(tree, trees::xml("e")));
        }
        return made;
    };
    EXPECT_EQ(call(xmldom_canonical, document_of(10)).text().size(), 10 * 100007U + 7U);
    const sql::result made = call(xmldom_canonical, document_of(700));
    ASSERT_TRUE(made.failed());
    EXPECT_NE(made.error().message.find("its entities are too large"), std::string::npos)
        << made.error().message;
}

// --- handles ------------------------------------------------------------------------------------

TEST_F(canonical_bounds, handles_that_name_nothing) {
    const sql::handle d = document("<r><a/></r>");
    const sql::handle a = child(root(d), {0});
    call(xmldom_free_document, d);
    for (const sql::function entry : {xmldom_canonical, xmldom_canonical_to_large_object}) {
        EXPECT_EQ(call(entry, a).error().sqlstate, "2200U");
        sql::handle forged = a;
        forged.bytes[5] ^= 0x55;
        EXPECT_EQ(call(entry, forged).error().sqlstate, "2200U");
        EXPECT_TRUE(call(entry, sql::raw{{1, 2, 3}}).failed());
    }
}

// --- large objects ------------------------------------------------------------------------------

TEST_F(canonical_bounds, large_objects_hold_the_same_bytes) {
    const sql::handle d = document("<r b='\xC3\xB6' a='1'>t\xE2\x82\xAC<!--c--></r>");
    const std::string expected = call(xmldom_canonical, d, false, true).text();
    for (std::int64_t piece = 1; piece <= static_cast<std::int64_t>(expected.size()) + 1; ++piece) {
        standalone::set_piece_size(piece);
        const sql::result made =
            call(xmldom_canonical_to_large_object, d, sql::null, false, true, sql::null, "1.1");
        ASSERT_FALSE(made.failed());
        EXPECT_EQ(standalone::bytes_of_object(static_cast<std::uint32_t>(made.datum())), expected);
    }
    const std::uint32_t number = standalone::make_numbered_object(std::string(5000, '#'));
    const sql::result made = call(xmldom_canonical_to_large_object, d, static_cast<int>(number),
                                  true, true, texts({"p"}));
    EXPECT_EQ(made.datum(), number);
    EXPECT_EQ(standalone::bytes_of_object(number), expected);
}

TEST_F(canonical_bounds, large_objects_are_in_utf_8_whatever_the_database_is_in) {
    use_database_encoding("LATIN1");
    const sql::handle d = call(xmldom_parse_text, "<r>\xF6&#8364;</r>").handle();
    const sql::result made = call(xmldom_canonical_to_large_object, d);
    ASSERT_FALSE(made.failed());
    EXPECT_EQ(standalone::bytes_of_object(static_cast<std::uint32_t>(made.datum())),
              "<r>\xC3\xB6\xE2\x82\xAC</r>");
}

// --- deep and wide ------------------------------------------------------------------------------

constexpr int k_many = trees::k_large;

// A document whose root has that many elements, each in the one before it or all beside each other.
sql::handle many_elements(bool is_deep) {
    const sql::handle made = trees::parsed("<r xmlns='urn:r'/>");
    const host::tree_scope scope;
    xmlDocPtr const tree = trees::document_of(made);
    xmlNodePtr const top = xmlDocGetRootElement(tree);
    xmlNodePtr above = top;
    for (int count = 0; count < k_many; ++count) {
        xmlNodePtr const next = xmlNewDocNode(tree, top->ns, trees::xml("e"), nullptr);
        xmlAddChild(above, next);
        above = is_deep ? next : top;
    }
    return made;
}

TEST_F(canonical_bounds, a_million_levels) {
    const sql::handle d = many_elements(true);
    for (const bool exclusive : {false, true}) {
        const std::string text = call(xmldom_canonical, d, exclusive).text();
        EXPECT_EQ(text.size(), 21U + 7U * k_many);
        EXPECT_EQ(text.substr(0, 26), "<r xmlns=\"urn:r\"><e><e><e>");
    }
    // The innermost element looks at everything above it.
    xmlNodePtr innermost = trees::node_of(trees::root(d));
    while (innermost->children != nullptr) {
        innermost = innermost->children;
    }
    const sql::handle inner = handle(d, innermost);
    EXPECT_EQ(call(xmldom_canonical, inner).text(), "<e xmlns=\"urn:r\"></e>");
    EXPECT_EQ(call(xmldom_canonical, inner, false, false, sql::null, "1.1").text(),
              "<e xmlns=\"urn:r\"></e>");
    EXPECT_EQ(call(xmldom_canonical, inner, true).text(), "<e xmlns=\"urn:r\"></e>");
}

TEST_F(canonical_bounds, a_million_beside_each_other) {
    const sql::handle d = many_elements(false);
    EXPECT_EQ(call(xmldom_canonical, d).text().size(), 21U + 7U * k_many);
    EXPECT_EQ(call(xmldom_canonical, d, true).text().size(), 21U + 7U * k_many);
}

TEST_F(canonical_bounds, many_attributes_and_declarations) {
    constexpr int k_members = 5000;
    std::string text = "<r";
    for (int member = k_members; member-- > 0;) {
        const std::string name = std::to_string(10000 + member);
        text += " xmlns:p" + name + "='urn:" + name + "' p" + name + ":a='" + name + "'";
    }
    const sql::handle d = document(text + "><a/></r>");
    const std::string inclusive = call(xmldom_canonical, d).text();
    EXPECT_EQ(inclusive.substr(0, 32), "<r xmlns:p10000=\"urn:10000\" xmln");
    EXPECT_NE(inclusive.find(" p10000:a=\"10000\" p10001:a=\"10001\" "), std::string::npos);
    EXPECT_EQ(call(xmldom_canonical, d, true).text(), inclusive);
}

// --- failures and requests to stop --------------------------------------------------------------

constexpr const char *k_document =
    "<!DOCTYPE r [<!ENTITY v 'v&#38;lt;'><!ENTITY e '&v;<x xmlns=\"urn:x\"/>'>]><r xmlns='urn:d' "
    "xmlns:p='urn:p' "
    "p:a='1&lt;' b='2' "
    "xml:base='a/'><p:b xml:base='b/' xmlns:q='urn:q' q:c='&v;'><c xml:base='d'/></p:b>t\xC3\xB6"
    "<![CDATA[d]]>&e;<!--c--><?p i?></r>";

struct failing {
    const char *name;
    sql::function entry;
    std::vector<int> path; // to the node, from the document on
    std::vector<sql::value> (*rest)();
};

const failing k_calls[] = {
    {"document",
     xmldom_canonical,
     {},
     [] {
         return std::vector<sql::value>{false, true};
     }},
    {"subtree 1.0", xmldom_canonical, {1}, [] { return std::vector<sql::value>{}; }},
    {"subtree 1.1",
     xmldom_canonical,
     {1, 0, 0},
     [] {
         return std::vector<sql::value>{false, false, sql::null, "1.1"};
     }},
    {"exclusive",
     xmldom_canonical,
     {1},
     [] {
         return std::vector<sql::value>{true, true, texts({"p", "#default"})};
     }},
    {"large object", xmldom_canonical_to_large_object, {}, [] {
         return std::vector<sql::value>{};
     }}};

// A call of one of them on a document that is made anew for each round.
sql::scenario scenario_of(const failing &each, const std::string &text) {
    auto arguments = std::make_shared<std::vector<sql::value>>();
    auto made = std::make_shared<sql::handle>();
    sql::scenario played;
    played.name = each.name;
    played.prepare = [made, arguments, &each, text] {
        *made = trees::parsed(text);
        xmlNodePtr node = trees::node_of(*made);
        for (int place : each.path) {
            node = node->children;
            for (; place > 0; --place) {
                node = node->next;
            }
        }
        *arguments = {trees::named(*made, node)};
        for (const sql::value &argument : each.rest()) {
            arguments->push_back(argument);
        }
    };
    played.run = [arguments, &each] { return sql::call_with(each.entry, *arguments); };
    played.state = [made] { return call(xml_dom_write_to_clob_doc, *made).text(); };
    return played;
}

// However long one node is, each megabyte of it is looked at several times whether to stop.
TEST_F(canonical_bounds, looks_within_one_long_node) {
    const std::string words(8U << 20U, 'x');
    for (const std::string &text :
         {"<a>" + words + "</a>", "<a><![CDATA[" + words + "]]></a>", "<a b='" + words + "'/>",
          "<a><!--" + words + "--></a>", "<a><?p " + words + "?></a>",
          "<a xmlns:p='urn:" + words + "'/>"}) {
        const sql::handle d = document(text);
        const std::int64_t before = standalone::poll_count();
        ASSERT_GT(call(xmldom_canonical, d, false, true).text().size(), words.size());
        EXPECT_GE(standalone::poll_count() - before, 32) << text.substr(0, 16);
    }
}

TEST(canonical_failures, every_allocation) {
    sql::sweep_figures figures;
    for (const failing &each : k_calls) {
        figures += sql::sweep_allocation_failures(scenario_of(each, k_document));
    }
    EXPECT_GE(figures.reported, 5);
    EXPECT_EQ(figures.harmless, 0);
    std::printf("             %lld injected, %lld reported\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported));
}

// With enough of everything that no list fits where it begins.
TEST(canonical_failures, every_allocation_of_lists) {
    std::string text = "<!DOCTYPE r><r";
    for (int member = 0; member < 40; ++member) {
        const std::string name = "n" + std::to_string(member);
        text += " xmlns:" + name + "='urn:" + name + "' " + name + ":a='&lt;'";
    }
    text += " xml:base='" + std::string(300, 'a') + "/'><b xml:base='" + std::string(300, 'b') +
            "/'><c xml:base='c'/></b></r>";
    sql::sweep_figures figures;
    for (const failing &each : k_calls) {
        figures += sql::sweep_allocation_failures(scenario_of(each, text));
    }
    EXPECT_GE(figures.reported, 30);
    EXPECT_EQ(figures.harmless, 0);
    std::printf("             %lld injected, %lld reported\n",
                static_cast<long long>(figures.rounds), static_cast<long long>(figures.reported));
}

// Many of everything that a form goes through.
std::string long_text(int count) {
    std::string text = "<!DOCTYPE r><r>";
    std::string end = "</r>";
    for (int each = 0; each < count; ++each) {
        text += "<e xmlns:p='urn:" + std::to_string(each % 3) + "' p:b='1' a='2'>";
        text += each % 7 == 0 ? "text" : "";
        end.insert(0, "</e>");
        text += "<w/><!--c-->";
    }
    return text + std::string(300000, 'x') + end;
}

TEST(canonical_failures, stopped_wherever_it_looks) {
    for (const failing &each : k_calls) {
        if (each.path.size() > 1) {
            continue; // nothing much stands there
        }
        const sql::sweep_figures figures =
            sql::sweep_failures(scenario_of(each, long_text(1200)), standalone::service::poll);
        EXPECT_GE(figures.reported, 3) << each.name;
        EXPECT_EQ(figures.harmless, 0) << each.name;
        std::printf("             %s: stopped at %lld places\n", each.name,
                    static_cast<long long>(figures.reported));
    }
}

} // namespace
