// What the packages add to the functions: entries that give a handle, steps for sets, the picture
// of a tree, scopes.
#include "support/faults.hpp"
#include "support/sql.hpp"
#include "trees.hpp"

#include <string>

namespace {

class package : public sql::session_test {
  protected:
    static sql::handle parsed(const std::string &text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
    static sql::handle root_of(const sql::handle &document) {
        return sql::call(xml_dom_get_document_element, document).handle();
    }
    static int handles() { return sql::call(xml_dom_get_session_tree_num).integer(); }
    static std::string name_of(const sql::handle &node) {
        return sql::call(xml_dom_get_node_name, node).text();
    }
    static std::string written(const sql::handle &node) {
        return sql::call(xml_dom_write_to_buffer_node, node).text();
    }
};

// --- entries that give a handle -----------------------------------------------------------------

TEST_F(package, giving_up_gives_null) {
    const sql::handle document = parsed("<a/>");
    const sql::handle root = root_of(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    EXPECT_TRUE(sql::call(xml_dom_free_nodelist_returning, list).is_null());
    EXPECT_TRUE(sql::call(xml_dom_is_null, list).boolean());
    EXPECT_REPORT(sql::call(xml_dom_free_nodelist_returning, list), reports::node_gone);
    EXPECT_TRUE(sql::call(xml_dom_free_node_returning, root).is_null());
    EXPECT_TRUE(sql::call(xml_dom_is_null, root).boolean());
    EXPECT_TRUE(sql::call(xmldom_free_document, document).is_null());
    EXPECT_EQ(handles(), 0);
}

TEST_F(package, parsers_chain) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    EXPECT_EQ(sql::call(xmlparser_set_validation_mode_returning, parser, false).handle(), parser);
    EXPECT_FALSE(sql::call(xmlparser_get_validation_mode, parser).boolean());
    EXPECT_EQ(sql::call(xmlparser_parse_clob_returning, parser, "<a/>").handle(), parser);
    EXPECT_EQ(name_of(root_of(sql::call(xmlparser_get_doc, parser).handle())), "a");
    EXPECT_TRUE(sql::call(xmlparser_free_parser_returning, parser).is_null());
    EXPECT_REPORT(sql::call(xmlparser_get_doc, parser), reports::parser_not_found);
}

// --- steps --------------------------------------------------------------------------------------

TEST_F(package, first_node_of_a_document_may_stand_before_its_root) {
    const sql::handle document = parsed("<?p?><a/>");
    const sql::handle first = sql::call(xml_dom_first_node, document).handle();
    EXPECT_EQ(name_of(first), "p");
    EXPECT_EQ(name_of(sql::call(xml_dom_get_next_sibling, first).handle()), "a");
    EXPECT_TRUE(sql::call(xml_dom_first_node, root_of(document)).is_null());
}

TEST_F(package, attributes_one_after_the_other) {
    const sql::handle root = root_of(parsed("<a b='1' c='2'>text</a>"));
    const sql::handle first = sql::call(xml_dom_first_attribute, root).handle();
    const sql::handle second = sql::call(xml_dom_next_attribute, first).handle();
    EXPECT_EQ(name_of(first) + name_of(second), "bc");
    EXPECT_TRUE(sql::call(xml_dom_next_attribute, second).is_null());
    EXPECT_TRUE(sql::call(xml_dom_next_attribute, root).is_null());
    EXPECT_TRUE(
        sql::call(xml_dom_first_attribute, sql::call(xml_dom_first_node, root).handle()).is_null());
}

TEST_F(package, elements_by_name_below_a_node) {
    const sql::handle document = parsed("<a><b i='1'><b i='2'/><c/></b>text<b i='3'/></a>");
    const sql::handle root = root_of(document);
    std::string found;
    sql::result step = sql::call(xml_dom_next_element, root, root, "b");
    const sql::handle outer = step.handle();
    while (!step.is_null()) {
        found += sql::call(xml_dom_get_attribute, step.handle(), "i").text();
        step = sql::call(xml_dom_next_element, step.handle(), root, "b");
    }
    EXPECT_EQ(found, "123");
    const sql::handle inner = sql::call(xml_dom_next_element, outer, outer, "b").handle();
    EXPECT_TRUE(sql::call(xml_dom_next_element, inner, outer, "b").is_null());
    const sql::handle any = sql::call(xml_dom_next_element, inner, outer, "*").handle();
    EXPECT_EQ(name_of(any), "c");
    EXPECT_TRUE(sql::call(xml_dom_next_element, root, sql::null, "b").is_null());
    EXPECT_TRUE(sql::call(xml_dom_next_element, root, root, sql::null).is_null());
    // Whatever stands for the top, the walk ends.
    EXPECT_TRUE(sql::call(xml_dom_next_element, any, inner, "none").is_null());
}

// --- the picture --------------------------------------------------------------------------------

TEST_F(package, outline_of_every_type_of_node) {
    const sql::handle document =
        trees::parsed("<!DOCTYPE a [<!ENTITY e 'x'><!ELEMENT a ANY>]><!--c--><a xmlns='u' "
                      "xmlns:p='v' p:b='1'><p:b>x\ny</p:b>&e;<?p q?><?r?><![CDATA[d]]>t<i/></a>");
    EXPECT_EQ(sql::call(xml_dom_outline, document).text(),
              "#document\n"
              "  <!DOCTYPE a>\n"
              "  <!--c-->\n"
              "  a xmlns=\"u\" xmlns:p=\"v\" p:b=\"1\"\n"
              "    p:b \"x\\ny\"\n"
              "    &e;\n"
              "    <?p q?>\n"
              "    <?r?>\n"
              "    <![CDATA[d]]>\n"
              "    \"t\"\n"
              "    i");
    const sql::handle type = sql::call(xml_dom_first_node, document).handle();
    EXPECT_EQ(sql::call(xml_dom_outline, type).text(), "<!DOCTYPE a>");
    const sql::handle declaration = sql::call(xml_dom_first_node, type).handle();
    EXPECT_EQ(sql::call(xml_dom_outline, declaration).text(), "<!e>");
}

TEST_F(package, outline_shows_breaks_as_letters_and_the_beginning_of_a_long_text) {
    const std::string beginning = std::string(59, 'x') + "\u00e4"; // 60 characters
    const sql::handle root =
        root_of(parsed("<a><b>one\ntwo\tthree&#13;</b><c>" + beginning + "y</c></a>"));
    EXPECT_EQ(sql::call(xml_dom_outline, root).text(),
              "a\n  b \"one\\ntwo\\tthree\\r\"\n  c \"" + beginning + "...\"");
}

TEST_F(package, outline_of_a_large_tree_has_all_its_lines) {
    std::string text = "<a>";
    std::string outline = "a";
    for (int i = 0; i < 10'000; ++i) {
        text += "<b/>";
        outline += "\n  b";
    }
    EXPECT_EQ(sql::call(xml_dom_outline, root_of(parsed(text + "</a>"))).text(), outline);
}

TEST_F(package, outline_of_a_part_ends_with_it) {
    const sql::handle root = root_of(parsed("<a><b><c/><c/></b><d/></a>"));
    const sql::handle child = sql::call(xml_dom_first_node, root).handle();
    EXPECT_EQ(sql::call(xml_dom_outline, child).text(), "b\n  c\n  c");
    EXPECT_TRUE(sql::call(xml_dom_outline, sql::null).is_null());
    const sql::handle list = sql::call(xml_dom_get_child_nodes, root).handle();
    EXPECT_REPORT(sql::call(xml_dom_outline, list), reports::inconsistent_types);
    sql::call(xml_dom_free_node, child);
    EXPECT_TRUE(sql::call(xml_dom_outline, child).is_null());
}

TEST_F(package, outline_of_what_was_made_and_stands_nowhere) {
    const sql::handle document = sql::call(xml_dom_new_document_empty).handle();
    EXPECT_EQ(sql::call(xml_dom_outline, document).text(), "#document");
    const sql::handle text = sql::call(xml_dom_create_text_node, document, sql::null).handle();
    EXPECT_EQ(sql::call(xml_dom_outline, text).text(), "\"\"");
    const sql::handle attribute = sql::call(xml_dom_create_attribute, document, "b").handle();
    EXPECT_EQ(sql::call(xml_dom_outline, attribute).text(), "b=\"\"");
}

// --- scopes -------------------------------------------------------------------------------------

TEST_F(package, a_scope_takes_what_was_made_since) {
    const sql::handle before = parsed("<a/>");
    const sql::handle old_parser = sql::call(xmlparser_new_parser).handle();
    const sql::result scope = sql::call(xml_dom_mark_scope);
    const sql::handle after = parsed("<b/>");
    const sql::handle root = root_of(after);
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    sql::call(xmlparser_parse_clob, parser, "<c/>");
    sql::call(xmlparser_parse_clob, old_parser, "<d/>");
    const sql::handle given = sql::call(xmlparser_get_doc, old_parser).handle();
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope.handle()).integer(), 3);
    EXPECT_REPORT(sql::call(xml_dom_get_node_name, root), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xml_dom_get_node_name, given), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xmlparser_get_doc, parser), reports::parser_not_found);
    EXPECT_TRUE(sql::call(xmlparser_get_doc, old_parser).is_null());
    EXPECT_EQ(name_of(root_of(before)), "a");
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope.handle()).integer(), 0);
}

TEST_F(package, numbers_that_are_used_again_do_not_confuse_scopes) {
    const sql::handle first = parsed("<a/>");
    const sql::handle scope = sql::call(xml_dom_mark_scope).handle();
    sql::call(xml_dom_free_document, first);
    const sql::handle second = parsed("<b/>");
    EXPECT_EQ(second.document_id(), first.document_id());
    const sql::handle later_scope = sql::call(xml_dom_mark_scope).handle();
    EXPECT_EQ(sql::call(xml_dom_release_scope, later_scope).integer(), 0);
    EXPECT_EQ(name_of(root_of(second)), "b");
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope).integer(), 1);
    EXPECT_EQ(handles(), 0);
}

TEST_F(package, a_document_in_two_hands_ends_with_the_last) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    sql::call(xmlparser_parse_clob, parser, "<a/>");
    const sql::handle first = sql::call(xmlparser_get_doc, parser).handle();
    const sql::handle scope = sql::call(xml_dom_mark_scope).handle();
    const sql::handle second = sql::call(xmlparser_get_doc, parser).handle();
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope).integer(), 1);
    EXPECT_EQ(name_of(root_of(first)), "a");
    EXPECT_REPORT(sql::call(xml_dom_get_node_name, second), reports::handle_not_found);
}

TEST_F(package, released_document_ids_with_handles_left_go_too) {
    const sql::handle scope = sql::call(xml_dom_mark_scope).handle();
    const sql::handle document = parsed("<a/>");
    const sql::handle root = root_of(document);
    sql::call(xml_dom_free_node, document); // its handles stay registered and name nothing
    EXPECT_EQ(handles(), 2);
    EXPECT_TRUE(sql::call(xml_dom_is_null, root).boolean());
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope).integer(), 1);
    EXPECT_EQ(handles(), 0);
}

TEST_F(package, only_scopes_are_scopes) {
    const sql::handle document = parsed("<a/>");
    EXPECT_REPORT(sql::call(xml_dom_release_scope, document), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xml_dom_release_scope, sql::raw{{1, 2, 3}}), reports::handle_not_found);
    EXPECT_TRUE(sql::call(xml_dom_release_scope, sql::null).is_null());
    const sql::handle scope = sql::call(xml_dom_mark_scope).handle();
    EXPECT_REPORT(sql::call(xml_dom_get_node_name, scope), reports::handle_not_found);
    EXPECT_EQ(handles(), 1);
}

TEST_F(package, free_all_frees_all_and_goes_on_counting) {
    EXPECT_EQ(sql::call(xml_dom_free_all).integer(), 0); // of a session that made nothing
    const sql::handle document = parsed("<a/>");
    const sql::handle root = root_of(document);
    sql::call(xml_dom_import_node, document, parsed("<b/>"), true);
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    sql::call(xmlparser_parse_clob, parser, "<c/>");
    EXPECT_EQ(sql::call(xml_dom_free_all).integer(), 3);
    EXPECT_EQ(handles(), 0);
    // Handles made afterwards are never taken for those of before.
    for (int i = 0; i < 10; ++i) {
        root_of(parsed("<d/>"));
    }
    EXPECT_REPORT(sql::call(xml_dom_get_node_name, root), reports::handle_not_found);
    EXPECT_REPORT(sql::call(xmlparser_get_doc, parser), reports::parser_not_found);
    EXPECT_EQ(sql::call(xml_dom_free_all).integer(), 10);
}

TEST_F(package, many_documents_go_in_one_call) {
    const sql::handle scope = sql::call(xml_dom_mark_scope).handle();
    for (int i = 0; i < 3000; ++i) {
        parsed("<a><b/></a>");
    }
    EXPECT_EQ(sql::call(xml_dom_release_scope, scope).integer(), 3000);
    EXPECT_EQ(handles(), 0);
}

TEST_F(package, failed_allocations_leave_all_as_it_was) {
    sql::handle scope, document;
    sql::scenario played;
    played.name = "release of a scope with many documents";
    played.prepare = [&] {
        document = parsed("<a/>");
        scope = sql::call(xml_dom_mark_scope).handle();
        for (int i = 0; i < 100; ++i) {
            parsed("<b/>");
        }
    };
    played.run = [&] { return sql::call(xml_dom_release_scope, scope); };
    played.state = [&] { return std::to_string(handles()); };
    played.shown = [](const sql::result &outcome) { return std::to_string(outcome.integer()); };
    played.all_or_nothing = false; // documents go one by one
    EXPECT_GT(sql::sweep_allocation_failures(played).reported, 0);
}

TEST_F(package, failed_allocations_while_a_picture_is_drawn) {
    sql::handle document;
    sql::scenario played;
    played.name = "outline";
    played.prepare = [&] {
        std::string rows;
        for (int i = 0; i < 300; ++i) {
            rows += "<row i='" + std::to_string(i) + "'>some text<!-- c --></row>";
        }
        document = parsed("<a>" + rows + "</a>");
    };
    played.run = [&] { return sql::call(xml_dom_outline, document); };
    played.state = [&] { return std::to_string(handles()); };
    played.shown = [](const sql::result &outcome) { return outcome.text(); };
    EXPECT_GT(sql::sweep_allocation_failures(played).reported, 0);
}

} // namespace
