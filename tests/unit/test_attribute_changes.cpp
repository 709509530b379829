// Setting attributes, putting attribute nodes on elements, taking them off, attribute casts.
#include "changing.hpp"

namespace {

using sql::call;

const sql::raw k_short_value{{1, 2, 3}};

sql::handle unknown() {
    sql::handle made{};
    made.bytes[0] = 77;
    made.bytes[12] = 1;
    return made;
}

class attribute_changes : public changing {
  protected:
    // The map of an element handle's attributes.
    static sql::handle map_of(const sql::handle &element) {
        return call(xml_dom_get_attributes, call(xml_dom_makenode, element).handle()).handle();
    }
};

// --- by name ------------------------------------------------------------------------------------

TEST_F(attribute_changes, set_makes_and_replaces) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "x", "1").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "y", "2").is_null());
    EXPECT_EQ(written(top), "<a x=\"1\" y=\"2\"/>");
    call(xml_dom_set_attribute, top, "x", "a longer value, a < b & \"c\"");
    EXPECT_EQ(call(xml_dom_get_attribute, top, "x").text(), "a longer value, a < b & \"c\"");
    EXPECT_EQ(call(xml_dom_get_length, map_of(top)).integer(), 2);
}

TEST_F(attribute_changes, set_takes_null_for_the_empty_value) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "x", sql::null).is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "y", sql::null).is_null());
    EXPECT_EQ(written(top), "<a x=\"\" y=\"\"/>");
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "x", "2").is_null());
    EXPECT_EQ(written(top), "<a x=\"2\" y=\"\"/>");
}

TEST_F(attribute_changes, set_does_nothing_for_null_handle_or_name) {
    const sql::handle tree = document("<a/>");
    EXPECT_TRUE(call(xml_dom_set_attribute, sql::null, "x", "1").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute, k_short_value, sql::null, "1").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute, root(tree), sql::null, "1").is_null());
    EXPECT_EQ(written_root(tree), "<a/>");
}

TEST_F(attribute_changes, set_checks_its_handle) {
    const sql::handle tree = document("<a><b/></a>");
    const sql::handle top = root(tree);
    EXPECT_REPORT(call(xml_dom_set_attribute, k_short_value, "x", "1"), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_set_attribute, unknown(), "x", "1"), reports::handle_not_found);
    const sql::handle list = call(xml_dom_get_child_nodes, top).handle();
    for (const sql::handle &wrong : {tree, first(top), list, map_of(top)}) {
        if (is_null(wrong) || node(wrong) == nullptr) {
            EXPECT_TRUE(call(xml_dom_set_attribute, wrong, "x", "1").is_null());
            continue;
        }
        EXPECT_REPORT(call(xml_dom_set_attribute, wrong, "x", "1"), reports::unsupported_kind);
        EXPECT_REPORT(call(xml_dom_set_attribute_ns, wrong, "x", "1", "u"),
                      reports::unsupported_kind);
    }
    call(xml_dom_free_element, top);
    EXPECT_TRUE(call(xml_dom_set_attribute, top, "x", "1").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, top, "x", "1", "u").is_null());
    EXPECT_EQ(written_root(tree), "<a><b/></a>");
}

TEST_F(attribute_changes, set_on_an_element_handle_of_a_comment_does_nothing) {
    const sql::handle tree = document("<a><!--c--></a>");
    const sql::handle comment = call(xml_dom_make_element, first(root(tree))).handle();
    EXPECT_TRUE(call(xml_dom_set_attribute, comment, "x", "1").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, comment, "x", "1", "u").is_null());
    EXPECT_EQ(written_root(tree), "<a><!--c--></a>");
}

TEST_F(attribute_changes, set_among_many) {
    std::string xml = "<a xmlns:p='urn:p' xmlns:q='urn:q'";
    for (int number = 0; number < 40; ++number) { // some parsed, some set
        xml += " n" + std::to_string(number) + "='0' p:n" + std::to_string(number) + "='0'";
    }
    const sql::handle top = root(document(xml + "/>"));
    for (int round = 0; round < 3; ++round) {
        for (int number = 0; number < 80; ++number) {
            const std::string name = "n" + std::to_string(number);
            const std::string number_text = std::to_string(number + round);
            call(xml_dom_set_attribute, top, name, number_text);
            call(xml_dom_set_attribute, top, "p:" + name, "p" + number_text);
            call(xml_dom_set_attribute, top, "q:" + name, "q" + number_text);
        }
    }
    EXPECT_EQ(call(xml_dom_get_length, map_of(top)).integer(), 240);
    for (int number = 0; number < 80; ++number) {
        const std::string name = "n" + std::to_string(number);
        const std::string expected = std::to_string(number + 2);
        EXPECT_EQ(call(xml_dom_get_attribute_ns, top, name, "urn:p").text(), "p" + expected);
        EXPECT_EQ(call(xml_dom_get_attribute_ns, top, name, "urn:q").text(), "q" + expected);
        EXPECT_NE(written(top).find(" " + name + "=\"" + expected + "\""), std::string::npos);
    }
}

TEST_F(attribute_changes, set_follows_declared_prefixes) {
    const sql::handle tree = document("<a xmlns:p='urn:p' p:x='1' x='2'/>");
    const sql::handle top = root(tree);
    call(xml_dom_set_attribute, top, "p:x", "3");
    call(xml_dom_set_attribute, top, "p:y", "4");
    call(xml_dom_set_attribute, top, "q:y", "5");
    call(xml_dom_set_attribute, top, "xml:lang", "en");
    EXPECT_EQ(written(top),
              "<a xmlns:p=\"urn:p\" p:x=\"3\" x=\"2\" p:y=\"4\" q:y=\"5\" xml:lang=\"en\"/>");
    EXPECT_EQ(call(xml_dom_get_attribute_ns, top, "y", "urn:p").text(), "4");
    EXPECT_TRUE(call(xml_dom_get_attribute_ns, top, "q:y", "urn:p").is_null());
}

TEST_F(attribute_changes, set_converts_from_the_database_encoding) {
    use_database_encoding("LATIN1");
    const sql::handle tree = document("<a/>");
    call(xml_dom_set_attribute, root(tree), "\xE9", "\xFC");
    const xmlAttr *attribute = node(root(tree))->properties;
    EXPECT_STREQ(reinterpret_cast<const char *>(attribute->name), "\xC3\xA9");
    EXPECT_STREQ(reinterpret_cast<const char *>(attribute->children->content), "\xC3\xBC");
}

TEST_F(attribute_changes, set_overrides_a_default_and_leaves_the_declaration_alone) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a x CDATA 'default'>]><a/>");
    const sql::handle top = root(tree);
    const sql::handle other = element(tree, "a"); // made without the default
    EXPECT_EQ(call(xml_dom_get_attribute, other, "x").text(), "default");
    call(xml_dom_set_attribute, other, "x", "own");
    EXPECT_EQ(call(xml_dom_get_attribute, other, "x").text(), "own");
    const sql::handle third = element(tree, "a");
    EXPECT_EQ(call(xml_dom_get_attribute, third, "x").text(), "default");
    EXPECT_EQ(written(top), "<a/>");
}

TEST_F(attribute_changes, set_of_an_attribute_of_type_id) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a (b*)><!ELEMENT b EMPTY><!ATTLIST b id ID #IMPLIED>]>"
                 "<a><b id='one'/><b id='two'/></a>");
    const sql::handle one = call(xml_dom_make_element, first(root(tree))).handle();
    for (const char *id : {"two", "three", "one", "a much longer identifier"}) {
        call(xml_dom_set_attribute, one, "id", id);
        EXPECT_EQ(call(xml_dom_get_attribute, one, "id").text(), id);
    }
    const sql::handle held = attribute_of(one, "id");
    append(one, attribute(tree, "id", "four"));
    EXPECT_FALSE(is_known(held));
    const sql::handle taken = attribute_of(one, "id");
    EXPECT_EQ(value(call(xml_dom_remove_attribute_node, one, taken).handle()), "four");
    EXPECT_EQ(written_root(tree), "<a><b/><b id=\"two\"/></a>");
}

// --- in a namespace -----------------------------------------------------------------------------

TEST_F(attribute_changes, set_ns_adds_no_declaration) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, top, "x", "1", "urn:p").is_null());
    EXPECT_EQ(written(top), "<a x=\"1\"/>");
    EXPECT_EQ(node(top)->nsDef, nullptr);
    EXPECT_EQ(call(xml_dom_get_attribute_ns, top, "x", "urn:p").text(), "1");
    EXPECT_TRUE(call(xml_dom_get_attribute_ns, top, "x", "urn:q").is_null());
    call(xml_dom_set_attribute_ns, top, "x", "2", "urn:p");
    call(xml_dom_set_attribute_ns, top, "x", "3", "urn:q");
    EXPECT_EQ(written(top), "<a x=\"2\" x=\"3\"/>");
    call(xml_dom_set_attribute_ns, top, "x", sql::null, "urn:q");
    EXPECT_EQ(written(top), "<a x=\"2\" x=\"\"/>");
}

TEST_F(attribute_changes, set_ns_of_an_attribute_with_a_prefix_takes_the_prefix_away) {
    const sql::handle tree = document("<a xmlns:p='urn:p' p:x='1'/>");
    call(xml_dom_set_attribute_ns, root(tree), "x", "2", "urn:p");
    EXPECT_EQ(written_root(tree), "<a xmlns:p=\"urn:p\" x=\"2\"/>");
}

TEST_F(attribute_changes, set_ns_null_rules) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, sql::null, "x", "1", "u").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, k_short_value, sql::null, "1", "u").is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, k_short_value, "x", "1", sql::null).is_null());
    EXPECT_REPORT(call(xml_dom_set_attribute_ns, k_short_value, "x", "1", "u"),
                  reports::handle_not_found);
    EXPECT_TRUE(call(xml_dom_set_attribute_ns, top, sql::null, "1", "u").is_null());
    EXPECT_EQ(written(top), "<a/>");
}

TEST_F(attribute_changes, namespace_records_are_shared_behind_that_of_xml) {
    const sql::handle tree = document("<a/>");
    const sql::handle top = root(tree);
    for (int round = 0; round < 10; ++round) {
        call(xml_dom_set_attribute_ns, top, "x" + std::to_string(round), "1", "urn:p");
        call(xml_dom_set_attribute_ns, top, "y" + std::to_string(round), "1", "urn:q");
    }
    call(xml_dom_set_attribute, top, "xml:space", "preserve");
    std::size_t records = 0;
    const xmlNs *first_record = reinterpret_cast<xmlDocPtr>(node(tree))->oldNs;
    for (const xmlNs *record = first_record; record != nullptr; record = record->next) {
        ++records;
    }
    EXPECT_EQ(records, 3U);
    EXPECT_STREQ(reinterpret_cast<const char *>(first_record->prefix), "xml");
    EXPECT_EQ(call(xml_dom_get_attribute_ns, top, "y7", "urn:q").text(), "1");
    EXPECT_EQ(
        call(xml_dom_get_attribute_ns, top, "space", "http://www.w3.org/XML/1998/namespace").text(),
        "preserve");
}

// --- attribute nodes ----------------------------------------------------------------------------

TEST_F(attribute_changes, set_node_replaces_an_attribute_of_that_name) {
    const sql::handle tree = document("<a x='1' y='2'/>");
    const sql::handle top = root(tree);
    const sql::handle old = attribute_of(top, "x");
    const sql::handle made = attribute(tree, "x", "new");
    EXPECT_EQ(call(xml_dom_set_attribute_node, top, made).handle(), made);
    EXPECT_EQ(written(top), "<a y=\"2\" x=\"new\"/>");
    EXPECT_EQ(value(old), "1"); // replaced, detached, still named
    EXPECT_EQ(node(old)->parent, nullptr);
    EXPECT_EQ(call(xml_dom_set_attribute_node, top, made).handle(), made); // again
    EXPECT_EQ(written(top), "<a y=\"2\" x=\"new\"/>");
}

TEST_F(attribute_changes, set_node_result_is_the_long_form_of_the_very_handle) {
    const sql::handle tree = document("<a x='1'/>");
    sql::handle made = attribute(tree, "x", "2");
    made.header = sql::handle::header_form::short_form;
    EXPECT_EQ(call(xml_dom_set_attribute_node, root(tree), made).stored_bytes().size(), 17U);
}

TEST_F(attribute_changes, set_node_never_adds) {
    const sql::handle tree = document("<a xmlns:p='urn:p' p:z='1'/>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_set_attribute_node, top, attribute(tree, "x", "1")).is_null());
    EXPECT_TRUE(call(xml_dom_set_attribute_node, top, attribute(tree, "z", "1")).is_null());
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" p:z=\"1\"/>");
}

TEST_F(attribute_changes, set_node_counts_a_default_as_an_attribute) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a x CDATA 'default'>]><a/>");
    const sql::handle bare = element(tree, "a");
    const sql::handle made = attribute(tree, "x", "own");
    EXPECT_EQ(call(xml_dom_set_attribute_node, bare, made).handle(), made);
    EXPECT_EQ(written(bare), "<a x=\"own\"/>");
    EXPECT_EQ(call(xml_dom_get_attribute, element(tree, "a"), "x").text(), "default");
}

TEST_F(attribute_changes, set_node_moves_an_attribute_of_another_element) {
    const sql::handle tree = document("<a x='1'><b x='2' y='3'/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = call(xml_dom_make_element, first(top)).handle();
    const sql::handle moved = attribute_of(inner, "x");
    EXPECT_EQ(call(xml_dom_set_attribute_node, top, moved).handle(), moved);
    EXPECT_EQ(written(top), "<a x=\"2\"><b y=\"3\"/></a>");
    call(xml_dom_free_document, tree);
    EXPECT_EQ(libxml2_bytes(), 0);
}

TEST_F(attribute_changes, set_node_checks_in_order) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    const sql::handle made = attribute(tree, "x", "2");
    EXPECT_REPORT(call(xml_dom_set_attribute_node, sql::null, sql::null), reports::null_handle);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, k_short_value, sql::null), reports::null_handle);
    EXPECT_TRUE(call(xml_dom_set_attribute_node, sql::null, k_short_value).is_null());
    EXPECT_REPORT(call(xml_dom_set_attribute_node, k_short_value, made), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, unknown(), made), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, k_short_value), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, unknown()), reports::handle_not_found);
    const sql::handle gone = attribute(tree, "x", "3");
    call(xml_dom_free_node, gone);
    EXPECT_TRUE(call(xml_dom_set_attribute_node, top, gone).is_null());
    const sql::handle top_again = root(tree);
    call(xml_dom_free_element, top_again);
    EXPECT_TRUE(call(xml_dom_set_attribute_node, top_again, k_short_value).is_null());
    EXPECT_EQ(written(top), "<a x=\"1\"/>");
}

TEST_F(attribute_changes, set_node_refuses_what_is_no_attribute_of_the_document) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a d CDATA 'v'>]><a x='1'><x/></a>");
    const sql::handle top = root(tree);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, first(top)), reports::not_allowed);
    const sql::handle foreign = document("<f x='9'/>");
    const sql::handle foreign_attribute = attribute_of(root(foreign), "x");
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, foreign_attribute), reports::not_allowed);
    const sql::handle declaration = attribute_of(element(tree, "a"), "d");
    ASSERT_EQ(node(declaration)->type, XML_ATTRIBUTE_DECL);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, declaration), reports::not_allowed);
    EXPECT_TRUE(call(xml_dom_set_attribute_node, first(top), foreign_attribute).is_null());
    EXPECT_REPORT(call(xml_dom_set_attribute_node, map_of(top), attribute_of(top, "x")),
                  reports::inconsistent_types);
    EXPECT_REPORT(call(xml_dom_set_attribute_node, top, map_of(top)), reports::inconsistent_types);
    EXPECT_EQ(written_root(foreign), "<f x=\"9\"/>");
    EXPECT_EQ(written(top), "<a x=\"1\"><x/></a>");
}

TEST_F(attribute_changes, set_node_takes_the_bytes_of_a_handle_in_every_encoding) {
    use_database_encoding("EUC_JP");
    for (int round = 0; round < 3; ++round) { // node ids with bytes from 0x80 on
        const sql::handle tree = document("<a x='1'/>");
        sql::handle made = attribute(tree, "x", "2");
        while (made.node_id() < 0xA5) {
            made = attribute(tree, "x", "2");
        }
        EXPECT_EQ(call(xml_dom_set_attribute_node, root(tree), made).handle(), made);
        call(xml_dom_free_document, tree);
    }
}

TEST_F(attribute_changes, remove_gives_a_copy_and_leaves_the_node_named) {
    const sql::handle tree = document("<a x='1 &amp; 2' y='3'/>");
    const sql::handle top = root(tree);
    const sql::handle taken = attribute_of(top, "x");
    const sql::handle copy = call(xml_dom_remove_attribute_node, top, taken).handle();
    EXPECT_EQ(written(top), "<a y=\"3\"/>");
    EXPECT_NE(copy, taken);
    EXPECT_EQ(entry(copy)->kind, pkg_dbe_xml::XMLDomNodeType::attribute);
    EXPECT_NE(node(copy), node(taken));
    for (const sql::handle &attribute : {copy, taken}) {
        EXPECT_EQ(node(attribute)->parent, nullptr);
        EXPECT_EQ(name(attribute), "x");
        EXPECT_EQ(value(attribute), "1 & 2");
    }
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, taken).is_null());
    append(top, copy);
    EXPECT_EQ(written(top), "<a y=\"3\" x=\"1 &amp; 2\"/>");
}

TEST_F(attribute_changes, remove_takes_the_node_it_is_given_from_wherever_it_stands) {
    const sql::handle tree = document("<a x='1' xmlns:p='urn:p' p:x='3'><b x='2'/></a>");
    const sql::handle top = root(tree);
    const sql::handle inner = call(xml_dom_make_element, first(top)).handle();
    EXPECT_EQ(value(call(xml_dom_remove_attribute_node, top, attribute_of(inner, "x")).handle()),
              "2");
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" x=\"1\" p:x=\"3\"><b/></a>");
    const sql::handle spaced = call(xml_dom_get_attribute_node, top, "x", "urn:p").handle();
    const sql::handle copy = call(xml_dom_remove_attribute_node, top, spaced).handle();
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" x=\"1\"><b/></a>");
    ASSERT_NE(node(copy)->ns, nullptr);
    EXPECT_STREQ(reinterpret_cast<const char *>(node(copy)->ns->href), "urn:p");
    EXPECT_STREQ(reinterpret_cast<const char *>(node(copy)->ns->prefix), "p");
}

TEST_F(attribute_changes, remove_needs_a_plain_attribute_of_that_name) {
    const sql::handle tree = document("<a xmlns:p='urn:p' p:x='1'><b x='2'/></a>");
    const sql::handle top = root(tree);
    const sql::handle spaced = call(xml_dom_get_attribute_node, top, "x", "urn:p").handle();
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, spaced).is_null());
    const sql::handle inner = attribute_of(call(xml_dom_make_element, first(top)).handle(), "x");
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, inner).is_null());
    EXPECT_EQ(written(top), "<a xmlns:p=\"urn:p\" p:x=\"1\"><b x=\"2\"/></a>");
}

TEST_F(attribute_changes, remove_checks_in_order) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle top = root(tree);
    const sql::handle held = attribute_of(top, "x");
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, sql::null, sql::null), reports::null_handle);
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, sql::null, k_short_value),
                  reports::handle_not_found);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, sql::null, unknown()).is_null());
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, k_short_value, unknown()),
                  reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, top, unknown()), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, unknown(), held), reports::handle_not_found);
    const sql::handle gone = attribute(tree, "x", "3");
    call(xml_dom_free_node, gone);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, unknown(), gone).is_null());
    const sql::handle top_again = root(tree);
    call(xml_dom_free_element, top_again);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top_again, held).is_null());
    EXPECT_REPORT(call(xml_dom_remove_attribute_node, top, map_of(top)),
                  reports::inconsistent_types);
    EXPECT_EQ(written(top), "<a x=\"1\"/>");
}

TEST_F(attribute_changes, remove_leaves_alone_what_is_no_attribute_of_the_document) {
    const sql::handle tree =
        document("<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a d CDATA 'v'>]><a x='1'><x/></a>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, first(top)).is_null());
    const sql::handle foreign = document("<f x='9'/>");
    EXPECT_TRUE(
        call(xml_dom_remove_attribute_node, top, attribute_of(root(foreign), "x")).is_null());
    const sql::handle declaration = attribute_of(element(tree, "a"), "d");
    EXPECT_TRUE(call(xml_dom_remove_attribute_node, top, declaration).is_null());
    EXPECT_EQ(written(top), "<a x=\"1\"><x/></a>");
    EXPECT_EQ(written_root(foreign), "<f x=\"9\"/>");
}

// --- casts --------------------------------------------------------------------------------------

TEST_F(attribute_changes, make_attr_names_the_same_node_once_more) {
    const sql::handle tree = document("<a x='1'/>");
    const sql::handle held = attribute_of(root(tree), "x");
    const sql::handle as_node = call(xml_dom_makenode, held).handle();
    const sql::handle made = call(xml_dom_make_attr, as_node).handle();
    EXPECT_NE(made, as_node);
    EXPECT_EQ(node(made), node(as_node));
    EXPECT_EQ(entry(made)->kind, pkg_dbe_xml::XMLDomNodeType::attribute);
    EXPECT_EQ(made.serial(), as_node.serial());
}

TEST_F(attribute_changes, make_attr_reports) {
    const sql::handle tree = document("<a x='1'>t<!--c--><?p i?><![CDATA[d]]></a>");
    const sql::handle top = root(tree);
    EXPECT_TRUE(call(xml_dom_make_attr, sql::null).is_null());
    EXPECT_REPORT(call(xml_dom_make_attr, k_short_value), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_make_attr, unknown()), reports::handle_not_found);
    EXPECT_REPORT(call(xml_dom_make_attr, tree), reports::cannot_convert, "document");
    EXPECT_REPORT(call(xml_dom_make_attr, top), reports::cannot_convert, "element");
    sql::handle child = first(top);
    EXPECT_REPORT(call(xml_dom_make_attr, child), reports::cannot_convert, "textnode");
    for (int step = 0; step < 3; ++step) {
        child = next(child);
        EXPECT_REPORT(call(xml_dom_make_attr, child), reports::cannot_convert, "");
    }
    EXPECT_REPORT(call(xml_dom_make_attr, map_of(top)), reports::inconsistent_types);
    EXPECT_REPORT(call(xml_dom_make_attr, call(xml_dom_get_child_nodes, top).handle()),
                  reports::inconsistent_types);
    const sql::handle gone = attribute_of(top, "x");
    call(xml_dom_free_node, gone);
    EXPECT_REPORT(call(xml_dom_make_attr, gone), reports::node_gone);
}

} // namespace
